#include "platform/process/DispatchQueue.h"

#include <gtest/gtest.h>

#include <barrier>
#include <latch>
#include <numeric>
#include <thread>
#include <vector>

namespace qvx::platform {

namespace {

TEST(DispatchQueue, BlocksRunOneAtATimeInTheOrderInWhichEachThreadHandedThemOver) {
    const DispatchQueue queue("test.order");
    constexpr int blockCount = 500;
    std::vector<std::vector<int>> seen(8); // touched by the queue's blocks only
    std::vector<std::thread> threads;
    for (std::vector<int>& blocks : seen) {
        threads.emplace_back([&] {
            for (int block = 0; block < blockCount; ++block) {
                if (block % 7 == 3)
                    queue.sync([&] { blocks.push_back(block); });
                else
                    queue.async([&, block] { blocks.push_back(block); });
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

TEST(GlobalQueue, SixtyFourBlocksMayWaitForEachOther) {
    constexpr ptrdiff_t count = 64;
    std::barrier<> all(count);
    std::latch done(count);
    for (ptrdiff_t block = 0; block < count; ++block) {
        dispatchGlobal([&] {
            all.arrive_and_wait();
            done.count_down();
        });
    }
    done.wait();
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
