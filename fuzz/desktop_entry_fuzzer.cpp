// Takes any bytes for a desktop file and for a list of applications.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "platform/desktop/DesktopEntry_linux.h"
#include "platform/text/String.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qvx::platform;
    const KeyFile file(Data::withBytes({reinterpret_cast<const char*>(data), size}));
    for (const std::string& id : file.list("Default Applications", "x-scheme-handler/quorvex"))
        require(isUTF8(id));
    if (const auto entry = DesktopEntry::describedBy(file, "/a.desktop")) {
        for (const std::string& word : entry->commandFor("quorvex://xcode?"))
            require(isUTF8(word) && word.find('\0') == std::string::npos);
    }
    return 0;
}
