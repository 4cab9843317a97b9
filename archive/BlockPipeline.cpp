#include "archive/BlockPipeline.h"

#include <libdeflate.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/process/Termination.h"

namespace qvx {
namespace {

// A thread holds about 1.8 MiB and a slot up to 1 MiB: 26 MiB at most.
constexpr unsigned mostThreads = 8;
constexpr size_t spareSlots = 4;

/// Bytes read, fewer than asked for only at the end of the file; -1 with errno set on failure.
ssize_t readAt(int fd, std::span<uint8_t> buffer, uint64_t offset) {
    size_t done = 0;
    while (done < buffer.size()) {
        const auto position = static_cast<off_t>(offset + done);
        const ssize_t got = ::pread(fd, buffer.data() + done, buffer.size() - done, position);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

} // namespace

std::unique_ptr<BlockPipeline> BlockPipeline::start() {
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, mostThreads);
    std::unique_ptr<BlockPipeline> pipeline(new BlockPipeline(threads + spareSlots));
    // The threads inherit it: signals are the owner's business.
    const platform::Termination::Deferral deferral;
    for (unsigned i = 0; i < threads; ++i) {
        auto worker = std::make_unique<Worker>();
        worker->pipeline = pipeline.get();
        worker->compressor = BlockCompressor::create();
        const auto run = [](void* argument) -> void* {
            auto* self = static_cast<Worker*>(argument);
            self->pipeline->work(*self);
            return nullptr;
        };
        if (!worker->compressor || ::pthread_create(&worker->thread, nullptr, run, worker.get()) != 0)
            // Fewer threads are slower, no more: a container may allow few.
            break;
        pipeline->workers_.push_back(std::move(worker));
    }
    return pipeline->workers_.empty() ? nullptr : std::move(pipeline);
}

BlockPipeline::~BlockPipeline() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    submittedSome_.notify_all();
    for (const auto& worker : workers_)
        ::pthread_join(worker->thread, nullptr);
}

void BlockPipeline::submit(std::shared_ptr<const Entry> entry, uint64_t offset, size_t length,
                           BlockPlace place) {
    Slot& slot = slots_[submitted_ % slots_.size()];
    slot.done = false;
    slot.block.entry = std::move(entry);
    slot.block.offset = offset;
    slot.block.length = length;
    slot.block.place = place;
    {
        const std::lock_guard lock(mutex_);
        ++submitted_;
    }
    submittedSome_.notify_one();
}

const Block& BlockPipeline::oldest() {
    Slot& slot = slots_[taken_ % slots_.size()];
    std::unique_lock lock(mutex_);
    oldestDone_.wait(lock, [&] { return slot.done; });
    return slot.block;
}

void BlockPipeline::release() {
    slots_[taken_ % slots_.size()].block.entry.reset();
    const std::lock_guard lock(mutex_);
    ++taken_;
}

void BlockPipeline::work(Worker& worker) {
    std::unique_lock lock(mutex_);
    for (;;) {
        submittedSome_.wait(lock, [&] { return stopping_ || claimed_ < submitted_; });
        if (stopping_)
            return;
        const uint64_t number = claimed_++;
        Slot& slot = slots_[number % slots_.size()];
        lock.unlock();
        process(worker, slot.block);
        lock.lock();
        slot.done = true;
        // Only the oldest is waited for, and the owner takes what is done behind it without sleeping.
        if (number == taken_)
            oldestDone_.notify_one();
    }
}

void BlockPipeline::process(Worker& worker, Block& block) {
    const Entry& entry = *block.entry;
    if (!entry.file) {
        block.result = Block::Result::Plain;
        block.bytes.reserve(entry.linkText.size());
        std::copy(entry.linkText.begin(), entry.linkText.end(), block.bytes.data());
        block.bytes.setSize(entry.linkText.size());
        block.crc = libdeflate_crc32(0, entry.linkText.data(), entry.linkText.size());
        return;
    }
    worker.input.resize(block.length);
    const ssize_t got = readAt(entry.file.get(), worker.input, block.offset);
    if (got != static_cast<ssize_t>(block.length)) {
        block.errorNumber = errno;
        block.result = got < 0 ? Block::Result::Failed : Block::Result::Shrunk;
        return;
    }
    block.crc = libdeflate_crc32(0, worker.input.data(), worker.input.size());
    block.result = worker.compressor->compress(worker.input, block.place, block.bytes)
                       ? Block::Result::Deflated
                       : Block::Result::Plain;
}

} // namespace qvx
