// Feeds any bytes to Mach-O reading, and stops the process when an answer is not one that it may give: the
// free functions on a buffer of exactly the input's size, the objects on a file in a dSYM bundle.

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/require.h"
#include "macho/LoadCommands.h"
#include "macho/QVXMachOFile.h"
#include "macho/QVXdSYM.h"
#include "macho/Sections.h"
#include "platform/text/String.h"

namespace {

using namespace qvx;
using Pairs = std::vector<std::pair<std::optional<std::string>, std::string>>;

// Requires that the range lies in the input, and reads its ends.
void requireReadable(std::string_view input, const void* start, uint64_t count) {
    const auto* begin = static_cast<const char*>(start);
    require(begin >= input.data() && begin <= input.data() + input.size());
    require(count <= static_cast<uint64_t>(input.data() + input.size() - begin));
    if (count > 0) {
        [[maybe_unused]] const volatile int ends = begin[0] + begin[count - 1];
    }
}

void decode(std::string_view input, const void* command) {
    if (const uint8_t* uuid = macho::QVXMachOGetUUID(command)) {
        requireReadable(input, uuid, 16);
        require(macho::QVXMachONormalizeUUID(uuid).size() == 32);
    }
    if (const auto path = macho::QVXMachOGetDylibPath(command))
        requireReadable(input, path->data(), path->size());
    static_cast<void>(macho::QVXMachOGetEncrypted(command));
    if (const auto version = macho::QVXMachOGetMinimumOSVersion(command))
        require(macho::QVXMachOFormatVersion(&*version).has_value());
    static_cast<void>(macho::QVXMachOGetLinkedSDKVersion(command));
}

void examineSlice(std::string_view input, macho::QVXMachOSlice slice) {
    requireReadable(input, slice.startAddress, slice.readableSize);
    require(slice.readableSize > 0);
    uint32_t commands = 0;
    const void* previous = nullptr;
    const auto visit = [&](uint32_t /*cmd*/, uint32_t cmdsize, const void* command) {
        require(++commands <= macho::maximumCommands);
        requireReadable(input, command, cmdsize);
        if (std::exchange(previous, command) != command)
            decode(input, command);
    };
    macho::QVXMachOSliceEnumerateLoadCommands(&slice, visit);
    for (const char* name : {"__eh_frame", "__unwind_info", "__text"}) {
        const void* data = &input;
        macho::QVXMachOSliceGetSectionByName(&slice, name, &data);
        if (data != nullptr)
            requireReadable(input, data, 0);
    }
}

Pairs examineImage(std::string_view input) {
    Pairs pairs;
    const auto visit = [&](const macho::QVXMachOSlice* record) {
        examineSlice(input, *record);
        const auto slice = QVXMachOSlice::initWithSlice(record);
        for (const std::string& name : slice->linkedDylibs())
            require(platform::isUTF8(name));
        pairs.emplace_back(slice->uuid(), slice->architectureName());
    };
    macho::QVXMachOEnumerateSlicesAtAddress(input.data(), visit, input.size());
    return pairs;
}

class DSYMFolder {
public:
    DSYMFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "macho-fuzzer-XXXXXX";
        require(::mkdtemp(pattern.data()) != nullptr);
        path_ = pattern;
        std::filesystem::create_directories(path_ / "Contents/Resources/DWARF");
    }
    ~DSYMFolder() { std::filesystem::remove_all(path_); }

    std::shared_ptr<QVXdSYM> withExecutable(std::string_view bytes) const {
        const std::filesystem::path executable = path_ / "Contents/Resources/DWARF/executable";
        // Some file systems write a file to the disk at once when it was cut and written anew.
        std::filesystem::remove(executable);
        std::FILE* file = std::fopen(executable.c_str(), "wb");
        require(file != nullptr);
        if (!bytes.empty())
            require(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
        require(std::fclose(file) == 0);
        return QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(path_.native()));
    }

private:
    std::filesystem::path path_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const DSYMFolder folder;
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto dSYM = folder.withExecutable(input);
    require(dSYM != nullptr && (dSYM->binary() != nullptr) == (size >= 16));
    if (size < 16)
        return 0;
    Pairs pairs;
    dSYM->enumerateUUIDs([&](const auto& uuid, const auto& name) { pairs.emplace_back(uuid, name); });
    require(pairs == examineImage(input));
    require(dSYM->binary()->instanceIdentifier().size() == 40);
    return 0;
}
