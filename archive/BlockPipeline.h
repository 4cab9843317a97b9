#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "archive/Entry.h"
#include "archive/deflate/BlockCompressor.h"

namespace qvx {

/// A part of an entry's content on its way through the pipeline.
struct Block {
    // What is to be done.
    std::shared_ptr<const Entry> entry; ///< keeps the file open until its last block is done
    uint64_t offset = 0;
    size_t length = 0;
    BlockPlace place = BlockPlace::Only;

    // What came of it.
    enum class Result { Plain, Deflated, Shrunk, Failed } result = Result::Plain;
    int errorNumber = 0; ///< when the result is Failed; Shrunk is a file that ended before its size
    uint32_t crc = 0;    ///< of the uncompressed bytes
    ByteBuffer bytes;
};

/// Reads and compresses blocks on several threads and gives them back in the order they came.
///
/// Holds a fixed number of blocks, whose buffers are used again and again. One thread, the owner, submits and
/// takes; destroying the pipeline waits only for the blocks that are being worked on.
class BlockPipeline {
public:
    /// Starts as many threads as the machine has cores, within what memory allows; fewer will do. Null when
    /// none can be started or memory is short.
    [[nodiscard]] static std::unique_ptr<BlockPipeline> start();
    ~BlockPipeline();
    BlockPipeline(const BlockPipeline&) = delete;
    BlockPipeline& operator=(const BlockPipeline&) = delete;

    [[nodiscard]] bool isFull() const { return submitted_ - taken_ == slots_.size(); }
    [[nodiscard]] bool isEmpty() const { return submitted_ == taken_; }
    /// Only when not full.
    void submit(std::shared_ptr<const Entry> entry, uint64_t offset, size_t length, BlockPlace place);
    /// Waits for the oldest block, which is the caller's until release(). Only when not empty.
    [[nodiscard]] const Block& oldest();
    /// Frees the oldest block's place.
    void release();

private:
    struct Slot {
        Block block;
        bool done = false;
    };
    struct Worker {
        BlockPipeline* pipeline = nullptr;
        std::unique_ptr<BlockCompressor> compressor;
        std::vector<uint8_t> input;
        pthread_t thread{};
    };

    explicit BlockPipeline(size_t slots) : slots_(slots) {}

    void work(Worker& worker);
    static void process(Worker& worker, Block& block);

    std::vector<Slot> slots_;
    std::vector<std::unique_ptr<Worker>> workers_;

    std::mutex mutex_; // guards the counters, `done` and stopping_
    std::condition_variable submittedSome_;
    std::condition_variable oldestDone_;
    // Running numbers of blocks; block n lives in slot n modulo their count.
    uint64_t submitted_ = 0;
    uint64_t claimed_ = 0;
    uint64_t taken_ = 0;
    bool stopping_ = false;
};

} // namespace qvx
