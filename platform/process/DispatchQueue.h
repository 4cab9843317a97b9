#pragma once

#include <functional>
#include <memory>
#include <string>

namespace qvx::platform {

/// A serial queue: blocks run one at a time, in the order in which they were handed over, each seeing the
/// effects of the ones before. Copies are the same queue; blocks already handed over run even when the last
/// copy is gone.
class DispatchQueue {
public:
    /// \param label also the name of the queue's worker threads, as far as the system allows
    explicit DispatchQueue(std::string label);

    /// Hands `block` over and returns at once; it runs on a worker thread.
    void async(std::function<void()> block) const;

    /// Runs `block` in its turn, on the calling thread, and returns when it has run. Entering a queue again
    /// from one of its own blocks stops the process with a message: it would wait on itself.
    void sync(const std::function<void()>& block) const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

/// Hands `block` to the pool of the global concurrent queue and returns at once. Up to 64 blocks may wait for
/// each other.
void dispatchGlobal(std::function<void()> block);

} // namespace qvx::platform
