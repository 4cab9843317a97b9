#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "archive/Entry.h"
#include "archive/OutputFile.h"
#include "platform/text/Error.h"

namespace qvx {

/// How an entry's content is held.
enum class ZipMethod : uint16_t { Stored = 0, Deflated = 8 };

/// Writes a zip archive (APPNOTE 6.3) with Unix modes, links as links, modification times in local DOS time
/// and as the extended timestamp, UTF-8 names flagged as such, and zip64 fields where a value needs them.
///
/// For each entry: begin(), append() as often as wanted, end(); then finish() once. Each returns the
/// error when the output fails.
class ZipWriter {
public:
    /// Borrows `output`, which must be empty.
    explicit ZipWriter(OutputFile& output) : output_(output) {}

    /// `entry.size` is what end() will see as the content's length.
    [[nodiscard]] std::optional<platform::Error> begin(const Entry& entry, ZipMethod method);
    /// Content as it is to stand in the archive: compressed already.
    [[nodiscard]] std::optional<platform::Error> append(std::span<const uint8_t> bytes) {
        return output_.append(bytes);
    }
    /// `crc` is that of the whole uncompressed content.
    [[nodiscard]] std::optional<platform::Error> end(const Entry& entry, uint32_t crc);
    [[nodiscard]] std::optional<platform::Error> finish();

private:
    ZipMethod method_ = ZipMethod::Stored;
    bool zip64Reserved_ = false;
    uint64_t headerOffset_ = 0;
    uint64_t contentOffset_ = 0;
    uint64_t count_ = 0;
    std::vector<uint8_t> directory_;
    OutputFile& output_;
};

} // namespace qvx
