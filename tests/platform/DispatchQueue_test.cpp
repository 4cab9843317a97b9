#include "platform/DispatchQueue.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

namespace qvx::platform {

namespace {

TEST(DispatchQueue, BlocksRunOneAtATimeInTheOrderInWhichEachThreadHandedThemOver) {
    const DispatchQueue queue("test.order");
    constexpr int threadCount = 8;
    constexpr int blockCount = 500;
    std::vector<std::vector<int>> seen(threadCount); // touched by the queue's blocks only
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int block = 0; block < blockCount; ++block) {
                if (block % 7 == 3)
                    queue.sync([&] { seen[thread].push_back(block); });
                else
                    queue.async([&, thread, block] { seen[thread].push_back(block); });
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    queue.sync([] {});
    std::vector<int> expected(blockCount);
    std::iota(expected.begin(), expected.end(), 0);
    for (const std::vector<int>& blocks : seen)
        EXPECT_EQ(blocks, expected);
}

TEST(DispatchQueue, SyncRunsOnTheCallersThreadAndBehindWhatWasHandedOver) {
    const DispatchQueue queue("test.threads");
    std::thread::id worker;
    std::thread::id caller;
    queue.async([&] { worker = std::this_thread::get_id(); });
    queue.sync([&] {
        caller = std::this_thread::get_id();
        EXPECT_TRUE(queue.isCurrent());
        EXPECT_NE(worker, std::thread::id());
    });
    EXPECT_EQ(caller, std::this_thread::get_id());
    EXPECT_NE(worker, caller);
    EXPECT_FALSE(queue.isCurrent());
}

TEST(DispatchQueueDeathTest, EnteringAgainFromAnOwnBlockStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const DispatchQueue queue("test.outer");
    const DispatchQueue other("test.inner");
    EXPECT_DEATH(queue.sync([&] { other.sync([&] { queue.sync([] {}); }); }),
                 "^queue test\\.outer was entered again from one of its own blocks[^\n]*\n$");
}

} // namespace

} // namespace qvx::platform
