#include "platform/process/RunLoop.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace qvx::platform::MainRunLoop {

namespace {

/// The blocks that wait for the loop. Never destroyed: threads may still hand blocks over while the process
/// exits.
struct Queue {
    std::mutex mutex;
    std::condition_variable handedOver;
    std::deque<std::function<void()>> blocks;
};

Queue& queue() {
    static auto* const instance = new Queue;
    return *instance;
}

/// Whether the innermost run was told to end; null when none runs. Touched by the loop's thread alone.
bool* innermostIsStopped = nullptr;

std::function<void()> takeNextBlock() {
    std::unique_lock lock(queue().mutex);
    queue().handedOver.wait(lock, [] { return !queue().blocks.empty(); });
    std::function<void()> block = std::move(queue().blocks.front());
    queue().blocks.pop_front();
    return block;
}

} // namespace

void perform(std::function<void()> block) {
    const std::lock_guard lock(queue().mutex);
    queue().blocks.push_back(std::move(block));
    queue().handedOver.notify_one();
}

void run() {
    bool isStopped = false;
    bool* const outer = std::exchange(innermostIsStopped, &isStopped);
    while (!isStopped)
        // Outside of the lock, and dropped before the next is taken.
        takeNextBlock()();
    innermostIsStopped = outer;
}

void stop() {
    // As a block of the loop, so that a stop that comes before the run is not lost.
    perform([] {
        if (innermostIsStopped)
            *innermostIsStopped = true;
    });
}

} // namespace qvx::platform::MainRunLoop
