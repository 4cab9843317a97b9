#include "archive/Archiver.h"
#include "archive/BlockPipeline.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int kUsageStatus = 64; // EX_USAGE

/// A path may hold line breaks, and the message is to be one line.
std::string oneLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    return text;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6 || std::strcmp(argv[1], "-c") != 0 || std::strcmp(argv[2], "-k") != 0 ||
        std::strcmp(argv[3], "--keepParent") != 0) {
        std::fputs("usage: ditto -c -k --keepParent SOURCE DESTINATION\n", stderr);
        return kUsageStatus;
    }
    std::string error;
    if (qvx::makeArchive(argv[4], argv[5], qvx::BlockPipeline::defaultThreads(), error))
        return 0;
    std::fprintf(stderr, "ditto: %s\n", oneLine(std::move(error)).c_str());
    return 1;
}
