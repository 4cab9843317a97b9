#include "archive/Archiver.h"

#include "archive/BlockPipeline.h"
#include "archive/OutputFile.h"
#include "archive/TreeWalker.h"
#include "archive/ZipWriter.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

namespace qvx {
namespace {

constexpr uint64_t kLateSize = 2 * kBlockSize;

class Archiver {
public:
    Archiver(const std::string& destination, TreeWalker& walker, BlockPipeline& pipeline, OutputFile& output,
             std::string& error)
        : destination_(destination), walker_(walker), pipeline_(pipeline), output_(output), zip_(output),
          error_(error) {}

    bool run() {
        while (std::optional<Entry> entry = walker_.next(error_)) {
            // The destination may lie in the folder that is packed.
            if (entry->file.isOpen() && output_.isSameFile(entry->file.get()))
                continue;
            if (!submit(std::make_shared<const Entry>(std::move(*entry))))
                return false;
        }
        while (error_.empty() && !pipeline_.isEmpty())
            if (!writeOldest())
                return false;
        return error_.empty() && (zip_.finish() || failOutput());
    }

private:
    bool submit(const std::shared_ptr<const Entry>& entry) {
        uint64_t offset = 0;
        do {
            const uint64_t rest = entry->size - offset;
            const size_t wanted = rest > kLateSize ? kBlockSize : kLateBlockSize;
            const auto length = static_cast<size_t>(std::min<uint64_t>(rest, wanted));
            const BlockPlace place = length < rest ? BlockPlace::Inner
                                     : offset > 0  ? BlockPlace::Last
                                                   : BlockPlace::Only;
            if (pipeline_.isFull() && !writeOldest())
                return false;
            pipeline_.submit(entry, offset, length, place);
            offset += length;
        } while (offset < entry->size);
        return true;
    }

    bool writeOldest() {
        const Block& block = pipeline_.oldest();
        const bool written = write(block);
        pipeline_.release();
        return written;
    }

    bool write(const Block& block) {
        const Entry& entry = *block.entry;
        if (block.result == Block::Result::Shrunk) {
            error_ = walker_.pathOf(entry.name) + ": Became shorter while it was read";
            return false;
        }
        if (block.result == Block::Result::Failed) {
            error_ = walker_.pathOf(entry.name) + ": " + std::strerror(block.errorNumber);
            return false;
        }
        const bool isDeflated = block.result == Block::Result::Deflated;
        const bool isFirst = block.offset == 0;
        const bool isLast = block.offset + block.length == entry.size;
        if (isFirst && !zip_.begin(entry, isDeflated ? ZipMethod::Deflated : ZipMethod::Stored))
            return failOutput();
        crc_ =
            isFirst
                ? block.crc
                : static_cast<uint32_t>(::crc32_combine(crc_, block.crc, static_cast<z_off_t>(block.length)));
        if (!zip_.append(block.bytes.bytes()) || (isLast && !zip_.end(entry, crc_)))
            return failOutput();
        return true;
    }

    bool failOutput() {
        error_ = destination_ + ": " + std::strerror(errno);
        return false;
    }

    const std::string& destination_;
    TreeWalker& walker_;
    BlockPipeline& pipeline_;
    OutputFile& output_;
    ZipWriter zip_;
    uint32_t crc_ = 0; // of the current entry so far
    std::string& error_;
};

} // namespace

bool makeArchive(const std::string& source, const std::string& destination, unsigned threads,
                 std::string& error) {
    const std::unique_ptr<TreeWalker> walker = TreeWalker::open(source, error);
    if (!walker)
        return false;
    const std::unique_ptr<OutputFile> output = OutputFile::create(destination, error);
    if (!output)
        return false;
    const std::unique_ptr<BlockPipeline> pipeline = BlockPipeline::start(threads);
    if (!pipeline) {
        error = source + ": No thread or memory to compress with";
        return false;
    }
    if (!Archiver(destination, *walker, *pipeline, *output, error).run())
        return false;
    if (output->publish())
        return true;
    error = destination + ": " + std::strerror(errno);
    return false;
}

} // namespace qvx
