#include "archive/ZipWriter.h"

#include <algorithm>
#include <ctime>
#include <limits>

#include "archive/deflate/BlockCompressor.h"
#include "platform/text/String.h"

namespace qvx {

using platform::Error;

namespace {

constexpr uint64_t most16 = 0xffff; // also the mark that a zip64 field holds the value
constexpr uint64_t most32 = 0xffffffff;

constexpr uint16_t madeByUnix = 3 << 8;
constexpr uint16_t versionDeflate = 20;
constexpr uint16_t versionZip64 = 45;
constexpr uint16_t utf8Flag = 1 << 11;
constexpr uint32_t dosFolder = 0x10;
constexpr size_t crcOffset = 14; // in a local header; the sizes follow
constexpr size_t localHeaderSize = 30;

class Record {
public:
    explicit Record(std::vector<uint8_t>& bytes) : bytes_(bytes) {}

    Record& put16(uint64_t value) { return put(value, 2); }
    Record& put32(uint64_t value) { return put(value, 4); }
    Record& put64(uint64_t value) { return put(value, 8); }
    Record& putBytes(std::span<const uint8_t> bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Record& putText(const std::string& text) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }

private:
    Record& put(uint64_t value, unsigned size) {
        for (; size > 0; --size, value >>= 8)
            bytes_.push_back(static_cast<uint8_t>(value));
        return *this;
    }

    std::vector<uint8_t>& bytes_;
};

uint16_t nameFlag(const std::string& name) {
    return platform::isUTF8(name) && !platform::isASCII(name) ? utf8Flag : 0;
}

/// Date in the upper half, time of day in the lower, within the years that the form can hold.
uint32_t dosTime(int64_t seconds) {
    const time_t time = seconds;
    struct tm local = {};
    // Local time, because the format has no zone: what other archivers write and unpackers expect.
    if (!::localtime_r(&time, &local) || local.tm_year < 80)
        return (1u << 5 | 1u) << 16;
    if (local.tm_year > 207)
        return ((127u << 9 | 12u << 5 | 31u) << 16) | (23u << 11 | 59u << 5 | 29u);
    const auto field = [](int value, unsigned shift) { return static_cast<uint32_t>(value) << shift; };
    return field(local.tm_year - 80, 25) | field(local.tm_mon + 1, 21) | field(local.tm_mday, 16) |
           field(local.tm_hour, 11) | field(local.tm_min, 5) | field(local.tm_sec / 2, 0);
}

/// The extended timestamp, left out for a time that its 32 bits cannot hold.
std::vector<uint8_t> timestampExtra(int64_t seconds) {
    std::vector<uint8_t> extra;
    if (seconds >= std::numeric_limits<int32_t>::min() && seconds <= std::numeric_limits<int32_t>::max()) {
        Record(extra).put16(0x5455).put16(5);
        extra.push_back(1); // only the modification time
        Record(extra).put32(static_cast<uint32_t>(seconds));
    }
    return extra;
}

/// What local and central header share, from the needed version to the DOS date.
void putCommon(Record record, const Entry& entry, ZipMethod method, bool zip64) {
    record.put16(zip64 ? versionZip64 : versionDeflate).put16(nameFlag(entry.name));
    record.put16(static_cast<uint16_t>(method)).put32(dosTime(entry.modified));
}

} // namespace

std::optional<Error> ZipWriter::begin(const Entry& entry, ZipMethod method) {
    method_ = method;
    // Room for both sizes must stand in the local header before the compressed one is known.
    zip64Reserved_ = largestDeflatedSize(entry.size) >= most32;
    headerOffset_ = output_.size();

    const std::vector<uint8_t> extra = timestampExtra(entry.modified);
    std::vector<uint8_t> header;
    Record record(header);
    record.put32(0x04034b50);
    putCommon(record, entry, method, zip64Reserved_);
    record.put32(0).put32(0).put32(0); // crc and sizes, known in end()
    record.put16(entry.name.size()).put16(extra.size() + (zip64Reserved_ ? 20 : 0)).putText(entry.name);
    if (zip64Reserved_)
        record.put16(0x0001).put16(16).put64(0).put64(0);
    record.putBytes(extra);
    contentOffset_ = headerOffset_ + header.size();
    return output_.append(header);
}

std::optional<Error> ZipWriter::end(const Entry& entry, uint32_t crc) {
    const uint64_t compressed = output_.size() - contentOffset_;

    std::vector<uint8_t> fields;
    if (zip64Reserved_) {
        Record(fields).put64(entry.size).put64(compressed);
        if (std::optional<Error> error =
                output_.patch(headerOffset_ + localHeaderSize + entry.name.size() + 4, fields))
            return error;
        fields.clear();
    }
    Record(fields).put32(crc);
    Record(fields).put32(zip64Reserved_ ? most32 : compressed).put32(zip64Reserved_ ? most32 : entry.size);
    if (std::optional<Error> error = output_.patch(headerOffset_ + crcOffset, fields))
        return error;

    std::vector<uint8_t> zip64;
    // Only those that do not fit, in this order, which is how readers tell them apart (APPNOTE 4.5.3).
    for (uint64_t value : {entry.size, compressed, headerOffset_})
        if (value >= most32)
            Record(zip64).put64(value);
    const std::vector<uint8_t> extra = timestampExtra(entry.modified);
    const bool needsZip64 = !zip64.empty();
    Record record(directory_);
    record.put32(0x02014b50).put16(madeByUnix | versionZip64);
    putCommon(record, entry, method_, needsZip64 || zip64Reserved_);
    record.put32(crc).put32(std::min(compressed, most32)).put32(std::min(entry.size, most32));
    record.put16(entry.name.size()).put16(extra.size() + (needsZip64 ? 4 + zip64.size() : 0));
    record.put16(0).put16(0).put16(0); // comment, disk, internal attributes
    record.put32(uint32_t{entry.mode} << 16 | (S_ISDIR(entry.mode) ? dosFolder : 0));
    record.put32(std::min(headerOffset_, most32)).putText(entry.name);
    if (needsZip64)
        record.put16(0x0001).put16(zip64.size()).putBytes(zip64);
    record.putBytes(extra);
    ++count_;
    return std::nullopt;
}

std::optional<Error> ZipWriter::finish() {
    const uint64_t start = output_.size();
    const uint64_t size = directory_.size();
    if (std::optional<Error> error = output_.append(directory_))
        return error;

    std::vector<uint8_t> end;
    Record record(end);
    if (count_ >= most16 || start >= most32 || size >= most32) {
        record.put32(0x06064b50).put64(44).put16(madeByUnix | versionZip64).put16(versionZip64);
        record.put32(0).put32(0).put64(count_).put64(count_).put64(size).put64(start);
        record.put32(0x07064b50).put32(0).put64(start + size).put32(1);
    }
    record.put32(0x06054b50).put16(0).put16(0);
    record.put16(std::min(count_, most16)).put16(std::min(count_, most16));
    record.put32(std::min(size, most32)).put32(std::min(start, most32)).put16(0);
    return output_.append(end);
}

} // namespace qvx
