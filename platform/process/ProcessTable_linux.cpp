#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>

#include "platform/process/ProcessTable.h"

namespace qvx::platform {

ProcessRecord processRecord(int identifier) {
    const ProcessRecord gone{identifier, 1, ""};
    const std::string path = "/proc/" + std::to_string(identifier) + "/stat";
    std::array<char, 1024> buffer{}; // more than a line of some fifty numbers takes
    // A failed open makes the read fail, which is looked at once, below.
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = ::read(file, buffer.data(), buffer.size());
    ::close(file);
    const std::string_view text(buffer.data(), length < 0 ? 0 : static_cast<size_t>(length));
    // `PID (NAME) STATE PPID ...`, proc(5); the name itself may hold blanks and brackets.
    const size_t open = text.find('(');
    const size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open ||
        close + 4 >= text.size())
        return gone;
    ProcessRecord record{identifier, 1, std::string(text.substr(open + 1, close - open - 1))};
    std::from_chars(text.data() + close + 4, text.data() + text.size(), record.parentIdentifier);
    return record;
}

} // namespace qvx::platform
