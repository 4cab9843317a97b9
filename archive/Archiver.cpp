#include "archive/Archiver.h"

#include <zlib.h>

#include <algorithm>

#include "archive/ArchiveError.h"
#include "archive/BlockPipeline.h"
#include "archive/OutputFile.h"
#include "archive/TreeWalker.h"
#include "archive/ZipWriter.h"

namespace qvx {

using platform::Error;
using platform::Result;

namespace {

/// What is left of a file when its blocks get smaller.
constexpr uint64_t lateSize = 4 * blockSize;

class Archiver {
public:
    Archiver(TreeWalker& walker, BlockPipeline& pipeline, OutputFile& output)
        : walker_(walker), pipeline_(pipeline), output_(output), zip_(output) {}

    std::optional<Error> run() {
        while (std::optional<Result<Entry>> entry = walker_.next()) {
            if (!*entry)
                return entry->error();
            // The destination may lie in the folder that is packed.
            if ((*entry)->file && output_.isSameFile((*entry)->file.get()))
                continue;
            if (std::optional<Error> error = submit(std::make_shared<const Entry>(std::move(**entry))))
                return error;
        }
        while (!pipeline_.isEmpty()) {
            if (std::optional<Error> error = writeOldest())
                return error;
        }
        return zip_.finish();
    }

private:
    std::optional<Error> submit(const std::shared_ptr<const Entry>& entry) {
        uint64_t offset = 0;
        do {
            // An empty file is one block of no bytes, so that it comes out in its turn.
            const uint64_t rest = entry->size - offset;
            const size_t wanted = rest > lateSize ? blockSize : lateBlockSize;
            const auto length = static_cast<size_t>(std::min<uint64_t>(rest, wanted));
            const BlockPlace place = length < rest ? BlockPlace::Inner
                                     : offset > 0  ? BlockPlace::Last
                                                   : BlockPlace::Only;
            if (pipeline_.isFull()) {
                if (std::optional<Error> error = writeOldest())
                    return error;
            }
            pipeline_.submit(entry, offset, length, place);
            offset += length;
        } while (offset < entry->size);
        return std::nullopt;
    }

    std::optional<Error> writeOldest() {
        std::optional<Error> error = write(pipeline_.oldest());
        pipeline_.release();
        return error;
    }

    std::optional<Error> write(const Block& block) {
        const Entry& entry = *block.entry;
        if (block.result == Block::Result::Shrunk)
            return archiveError(walker_.pathOf(entry.name), "Became shorter while it was read");
        if (block.result == Block::Result::Failed)
            return platform::posixError(block.errorNumber, walker_.pathOf(entry.name));
        if (block.offset == 0) {
            const bool isDeflated = block.result == Block::Result::Deflated;
            if (std::optional<Error> error =
                    zip_.begin(entry, isDeflated ? ZipMethod::Deflated : ZipMethod::Stored))
                return error;
            crc_ = block.crc;
        } else {
            crc_ =
                static_cast<uint32_t>(::crc32_combine(crc_, block.crc, static_cast<z_off_t>(block.length)));
        }
        if (std::optional<Error> error = zip_.append(block.bytes.bytes()))
            return error;
        const bool isLast = block.offset + block.length == entry.size;
        return isLast ? zip_.end(entry, crc_) : std::nullopt;
    }

    TreeWalker& walker_;
    BlockPipeline& pipeline_;
    OutputFile& output_;
    ZipWriter zip_;
    uint32_t crc_ = 0; // of the current entry so far
};

} // namespace

std::optional<Error> makeArchive(const std::string& source, const std::string& destination) {
    const Result<std::unique_ptr<TreeWalker>> walker = TreeWalker::open(source);
    if (!walker)
        return walker.error();
    const Result<std::unique_ptr<OutputFile>> output = OutputFile::create(destination);
    if (!output)
        return output.error();
    const std::unique_ptr<BlockPipeline> pipeline = BlockPipeline::start();
    if (!pipeline)
        return archiveError(source, "No thread or memory to compress with");
    if (std::optional<Error> error = Archiver(**walker, *pipeline, **output).run())
        return error;
    return (*output)->publish();
}

} // namespace qvx
