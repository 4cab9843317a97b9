#pragma once

#include <functional>

namespace qvx::platform::MainRunLoop {

/// Lets `block` run on the thread that runs the main run loop, behind those handed over earlier. May be
/// called from any thread; a process that never runs its loop never runs the block.
void perform(std::function<void()> block);

/// Runs the main run loop on the calling thread until `stop` is called.
void run();

/// Ends the innermost `run`. May be called from any thread.
void stop();

} // namespace qvx::platform::MainRunLoop
