#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "archive/Archiver.h"
#include "platform/process/Termination.h"

namespace {

namespace Termination = qvx::platform::Termination;

constexpr int usageStatus = 64; // EX_USAGE

/// A path may hold line breaks, and the message is to be one line.
std::string oneLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    return text;
}

[[noreturn]] void endForMemory() {
    Termination::cleanUp();
    constexpr char message[] = "ditto: Out of memory\n";
    static_cast<void>(!::write(STDERR_FILENO, message, sizeof message - 1));
    ::_exit(1);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6 || std::strcmp(argv[1], "-c") != 0 || std::strcmp(argv[2], "-k") != 0 ||
        std::strcmp(argv[3], "--keepParent") != 0) {
        std::fputs("usage: ditto -c -k --keepParent SOURCE DESTINATION\n", stderr);
        return usageStatus;
    }
    Termination::installHandlers("");
    std::set_new_handler(endForMemory);
    // A file size limit is then an error like a full disk.
    ::signal(SIGXFSZ, SIG_IGN);
    const auto error = qvx::makeArchive(argv[4], argv[5]);
    if (!error)
        return 0;
    std::fprintf(stderr, "ditto: %s\n", oneLine(error->text).c_str());
    return 1;
}
