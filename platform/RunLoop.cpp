#include "platform/RunLoop.h"

#include <glib.h>

#include <deque>
#include <memory>
#include <mutex>
#include <utility>

namespace qvx::platform::MainRunLoop {

namespace {

/// The blocks that wait for the loop. Never destroyed: threads may still hand blocks over while the process
/// exits.
struct Queue {
    std::mutex mutex;
    std::deque<std::function<void()>> blocks;
};

Queue& queue() {
    static auto* const instance = new Queue;
    return *instance;
}

/// Touched by the loop's thread alone.
GMainLoop* innermost = nullptr;

gboolean runNextBlock(gpointer) {
    std::function<void()> block;
    {
        const std::lock_guard lock(queue().mutex);
        block = std::move(queue().blocks.front());
        queue().blocks.pop_front();
    }
    block();
    return G_SOURCE_REMOVE;
}

} // namespace

void perform(std::function<void()> block) {
    {
        const std::lock_guard lock(queue().mutex);
        queue().blocks.push_back(std::move(block));
    }
    // One source a block, attached rather than invoked: invoking would run it on the calling thread when no
    // thread runs the loop.
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, runNextBlock, nullptr, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

void run() {
    const std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop(g_main_loop_new(nullptr, FALSE),
                                                                        g_main_loop_unref);
    GMainLoop* const outer = std::exchange(innermost, loop.get());
    g_main_loop_run(loop.get());
    innermost = outer;
}

void stop() {
    // As a block of the loop, so that a stop that comes before the run is not lost.
    perform([] {
        if (innermost)
            g_main_loop_quit(innermost);
    });
}

} // namespace qvx::platform::MainRunLoop
