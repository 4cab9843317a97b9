#include <unistd.h>

#include <charconv>
#include <fstream>
#include <iterator>

#include "platform/ProcessTable.h"

namespace qvx::platform {

int processIdentifier() {
    return ::getpid();
}

ProcessRecord processRecord(int identifier) {
    const ProcessRecord gone{identifier, 1, ""};
    std::ifstream file("/proc/" + std::to_string(identifier) + "/stat", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    // `PID (NAME) STATE PPID ...`, proc(5); the name itself may hold blanks and brackets.
    const size_t open = text.find('(');
    const size_t close = text.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open || close + 4 >= text.size())
        return gone;
    ProcessRecord record{identifier, 1, text.substr(open + 1, close - open - 1)};
    std::from_chars(text.data() + close + 4, text.data() + text.size(), record.parentIdentifier);
    return record;
}

} // namespace qvx::platform
