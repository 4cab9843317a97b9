#include "platform/process/DispatchQueue.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>

#include "platform/process/ProgressLine.h"
#include "platform/process/Thread.h"

namespace qvx::platform {

/// The queue belongs to one thread at a time, its worker's or that of a caller of `sync`, which passes it on
/// when it is done. Waiting callers stand in the same line as blocks, as entries without one.
// A worker is a thread for as long as there is something to run, not one that waits: the tool has a queue in
// every transaction, most of which never run a block asynchronously.
struct DispatchQueue::State : std::enable_shared_from_this<State> {
    struct Entry {
        std::function<void()> block;
        bool* turn = nullptr;
    };

    explicit State(std::string name) : label(std::move(name)) {}

    void passOn();
    void startWorker();
    void runBlocks();
    [[nodiscard]] bool ownedByCaller() const { return owned && owner == std::this_thread::get_id(); }

    const std::string label;
    std::mutex mutex;
    std::condition_variable turnGiven;
    std::deque<Entry> line;
    bool owned = false;
    std::thread::id owner;
};

/// To be called with the mutex held, by the owner that is done.
void DispatchQueue::State::passOn() {
    owner = {};
    if (line.empty()) {
        owned = false;
    } else if (line.front().turn) {
        // Ownership goes to the waiting caller by name. If it merely became free, a caller that comes by
        // could step in before those who stand in line. The flag is on the waiter's stack, which is safe: it
        // does not return before it has seen it.
        *line.front().turn = true;
        line.pop_front();
        turnGiven.notify_all();
    } else {
        startWorker();
    }
}

void DispatchQueue::State::startWorker() {
    owned = true;
    std::thread([self = shared_from_this()] {
        setCurrentThreadName(self->label);
        self->runBlocks();
    }).detach();
}

void DispatchQueue::State::runBlocks() {
    std::unique_lock lock(mutex);
    owner = std::this_thread::get_id();
    // Stops at a waiting caller as well: blocks of `sync` run on their caller's thread, which some of them
    // rely on.
    while (!line.empty() && !line.front().turn) {
        std::function<void()> block = std::move(line.front().block);
        line.pop_front();
        lock.unlock();
        block();
        block = nullptr; // what it holds may enter this queue when it goes
        lock.lock();
    }
    passOn();
}

DispatchQueue::DispatchQueue(std::string label) : state_(std::make_shared<State>(std::move(label))) {}

void DispatchQueue::async(std::function<void()> block) const {
    const std::lock_guard lock(state_->mutex);
    state_->line.push_back({std::move(block)});
    if (!state_->owned)
        state_->startWorker();
}

void DispatchQueue::sync(const std::function<void()>& block) const {
    // The block may drop the last copy of the queue.
    const std::shared_ptr<State> state = state_;
    std::unique_lock lock(state->mutex);
    if (state->ownedByCaller()) {
        // A message and an end: to wait for oneself would look like a slow server for as long as the build
        // server allows.
        ProgressLine::eraseAtEnd();
        std::fprintf(stderr,
                     "queue %s was entered again from one of its own blocks and would wait on itself\n",
                     state->label.c_str());
        std::abort();
    }
    if (state->owned) {
        bool turn = false;
        state->line.push_back({nullptr, &turn});
        state->turnGiven.wait(lock, [&] { return turn; });
    }
    state->owned = true;
    state->owner = std::this_thread::get_id();
    lock.unlock();
    block();
    lock.lock();
    state->passOn();
}

namespace {

struct GlobalQueue {
    std::mutex mutex;
    std::deque<std::function<void()>> blocks;
    unsigned workers = 0;
};

/// Never destroyed: its workers are not waited for when the process exits.
GlobalQueue& globalQueue() {
    static auto* const queue = new GlobalQueue;
    return *queue;
}

void runGlobalBlocks() {
    setCurrentThreadName("global-queue");
    GlobalQueue& queue = globalQueue();
    std::unique_lock lock(queue.mutex);
    while (!queue.blocks.empty()) {
        std::function<void()> block = std::move(queue.blocks.front());
        queue.blocks.pop_front();
        lock.unlock();
        block();
        block = nullptr;
        lock.lock();
    }
    queue.workers -= 1;
}

} // namespace

void dispatchGlobal(std::function<void()> block) {
    GlobalQueue& queue = globalQueue();
    const std::lock_guard lock(queue.mutex);
    queue.blocks.push_back(std::move(block));
    // Not as many as there are cores: blocks wait for each other's effects, and as many as fill the pool
    // would wait for ever.
    constexpr unsigned mostWorkers = 64;
    if (queue.workers < mostWorkers) {
        queue.workers += 1;
        std::thread(runGlobalBlocks).detach();
    }
}

} // namespace qvx::platform
