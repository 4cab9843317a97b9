// Feeds any bytes to Mach-O reading, and stops the process when an answer lies outside of them.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/require.h"
#include "macho/LoadCommands.h"
#include "macho/MachOHeaders.h"
#include "macho/QVXMachOBinary.h"
#include "macho/QVXMachOFile.h"
#include "macho/Sections.h"
#include "platform/text/String.h"

namespace {

using namespace qvx;

void requireInside(std::string_view input, const void* start, uint64_t count) {
    const auto* begin = static_cast<const char*>(start);
    require(begin >= input.data() && begin <= input.data() + input.size());
    require(count <= static_cast<uint64_t>(input.data() + input.size() - begin));
}

void examineSlice(std::string_view input, macho::QVXMachOSlice slice) {
    requireInside(input, slice.startAddress, slice.readableSize);
    require(slice.readableSize > 0);
    uint32_t commands = 0;
    const void* previous = nullptr; // a command of no size comes again and again
    const auto visit = [&](uint32_t /*cmd*/, uint32_t cmdsize, const void* command) {
        require(++commands <= macho::maximumCommands);
        if (std::exchange(previous, command) == command)
            return;
        requireInside(input, command, cmdsize);
        if (const uint8_t* uuid = macho::QVXMachOGetUUID(command))
            requireInside(input, uuid, 16);
        if (const auto path = macho::QVXMachOGetDylibPath(command))
            requireInside(input, path->data(), path->size());
        static_cast<void>(macho::QVXMachOGetEncrypted(command));
    };
    macho::QVXMachOSliceEnumerateLoadCommands(&slice, visit);
    for (const char* name : {"__eh_frame", "__unwind_info", "__text"}) {
        const void* data = nullptr;
        macho::QVXMachOSliceGetSectionByName(&slice, name, &data);
        if (data != nullptr)
            requireInside(input, data, 0);
    }
}

// What is read of a file without a mapping; the file has no name of its own.
void examineHeaders(std::string_view input) {
    static const int file = ::fileno(std::tmpfile());
    // In this order its blocks stay its own, which is many times faster than to have new ones each time.
    require(::pwrite(file, input.data(), input.size(), 0) == static_cast<ssize_t>(input.size()) &&
            ::ftruncate(file, static_cast<off_t>(input.size())) == 0);
    const auto headers = macho::readMachOHeaders("/dev/fd/" + std::to_string(file));
    require(static_cast<bool>(headers));
    for (const macho::SliceHeader& slice : headers->slices)
        require(slice.architecture != nullptr && (!slice.uuid || slice.uuid->size() == 32));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (size < 16) // which no file is opened with
        return 0;
    const auto visit = [&](const macho::QVXMachOSlice* record) {
        examineSlice(input, *record);
        const auto slice = QVXMachOSlice::initWithSlice(record);
        require(!slice->uuid() || slice->uuid()->size() == 32);
        for (const std::string& name : slice->linkedDylibs())
            require(platform::isUTF8(name));
    };
    macho::QVXMachOEnumerateSlicesAtAddress(data, visit, size);
    examineHeaders(input);
    return 0;
}
