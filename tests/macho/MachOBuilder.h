#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Makes the bytes of Mach-O images, right or wrong ones.
namespace qvx::test {

constexpr uint32_t magic32 = 0xfeedface;
constexpr uint32_t magic64 = 0xfeedfacf;
constexpr int32_t i386 = 7;
constexpr int32_t x86_64 = 0x01000007;
constexpr int32_t arm = 12;
constexpr int32_t arm64 = 0x0100000c;

inline std::string word(uint32_t value) {
    return {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
            static_cast<char>(value >> 24)};
}

inline std::string bigEndian(uint32_t value) {
    return word(__builtin_bswap32(value));
}

inline std::string words(const std::vector<uint32_t>& values) {
    std::string bytes;
    for (const uint32_t value : values)
        bytes += word(value);
    return bytes;
}

/// A command whose size says what it holds, unless told otherwise.
inline std::string command(uint32_t cmd, const std::string& body, std::optional<uint32_t> cmdsize = {}) {
    return words({cmd, cmdsize.value_or(static_cast<uint32_t>(8 + body.size()))}) + body;
}

inline std::string uuid(char byte) {
    return command(0x1b, std::string(16, byte));
}

inline std::string dylib(const std::string& name, uint32_t cmd = 0xc) {
    return command(cmd, words({24, 0, 0, 0}) + name + '\0');
}

/// A name field of 16 bytes.
inline std::string field(std::string_view name) {
    std::string bytes(name);
    bytes.resize(16);
    return bytes;
}

struct Section {
    std::string name;
    uint32_t offset;
    uint32_t size;
    std::string segment = "__TEXT";
};

inline std::string segment(bool is64Bit, std::string_view name, const std::vector<Section>& sections) {
    const auto count = static_cast<uint32_t>(sections.size());
    std::string body = field(name) + std::string(is64Bit ? 40 : 24, '\0') + words({count, 0});
    for (const Section& section : sections) {
        body += field(section.name) + field(section.segment);
        body += is64Bit ? words({0, 0, section.size, 0}) : words({0, section.size});
        body += words({section.offset, 0, 0, 0, 0, 0, 0}) + std::string(is64Bit ? 4 : 0, '\0');
    }
    return command(is64Bit ? 0x19 : 1, body);
}

struct Thin {
    uint32_t magic = magic64;
    int32_t cputype = x86_64;
    int32_t cpusubtype = 3;
    std::vector<std::string> commands = {};
    std::optional<uint32_t> ncmds = {};

    [[nodiscard]] std::string bytes() const {
        std::string image = words({magic, static_cast<uint32_t>(cputype), static_cast<uint32_t>(cpusubtype),
                                   2, ncmds.value_or(static_cast<uint32_t>(commands.size())), 0, 0});
        if (magic == magic64 || magic == 0xcffaedfe)
            image += word(0);
        for (const std::string& bytes : commands)
            image += bytes;
        return image;
    }
};

struct FatEntry {
    int32_t cputype;
    int32_t cpusubtype;
    uint32_t offset;
    uint32_t size;
};

inline std::string fatHeader(const std::vector<FatEntry>& entries, std::optional<uint32_t> count = {}) {
    std::string bytes =
        bigEndian(0xcafebabe) + bigEndian(count.value_or(static_cast<uint32_t>(entries.size())));
    for (const FatEntry& entry : entries)
        bytes += bigEndian(static_cast<uint32_t>(entry.cputype)) +
                 bigEndian(static_cast<uint32_t>(entry.cpusubtype)) + bigEndian(entry.offset) +
                 bigEndian(entry.size) + bigEndian(0);
    return bytes;
}

/// A well-formed fat file.
inline std::string fat(const std::vector<Thin>& slices) {
    std::vector<FatEntry> entries;
    std::string images;
    for (const Thin& slice : slices) {
        const std::string image = slice.bytes();
        entries.push_back({slice.cputype, slice.cpusubtype,
                           static_cast<uint32_t>(8 + 20 * slices.size() + images.size()),
                           static_cast<uint32_t>(image.size())});
        images += image;
    }
    return fatHeader(entries) + images;
}

} // namespace qvx::test
