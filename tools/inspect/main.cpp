// Prints what Mach-O files and dSYM bundles hold, or which symbols an app lacks.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/process/Terminal.h"
#include "tools/inspect/Arguments.h"
#include "tools/inspect/BinaryReport.h"
#include "tools/inspect/DisplayText.h"
#include "tools/inspect/MatchReport.h"

namespace qvx::inspector {

namespace {

constexpr int usageStatus = 64;
constexpr int missingStatus = 1;
constexpr int errorStatus = 2;

constexpr char usage[] = R"(usage: inspect PATH...
       inspect --match [--json] APP [SYMBOLS...]

inspect PATH... prints a line of JSON for each path: the slices, UUIDs, versions
and libraries of a Mach-O file, or those of a dSYM bundle. The exit status is 1
when one could not be opened.

inspect --match lists each slice of each executable, dynamic library and bundle
in APP with the dSYM that holds its UUID. APP is an app bundle, an archive
(.xcarchive, whose Products are looked at), a folder of products or one
executable. SYMBOLS are folders and dSYMs to search; without any these are the
folder that holds APP, but for other archives in it, and what APP holds itself.
Files are known by their content. Paths are told from APP.

  found            the dSYM holds the slice's UUID
  another build    the dSYM has the right name, but another UUID
  empty            the dSYM holds no debug information, or is cut off
  missing          there is none
  matches nothing  a dSYM that belongs to nothing in APP

  --json   the same as lines of JSON
  --help   this text
  --       all that follows are paths

The exit status of --match is 0 when every slice has its symbols, 1 when one has
not, and 2 when APP, something in it or one of SYMBOLS cannot be read, when APP
holds no code, when the output cannot be written, or for wrong options.
NO_COLOR=1 turns colours off.
)";

int fail(std::string_view what) {
    std::fprintf(stderr, "inspect: %s\n", displayed(what).c_str());
    return errorStatus;
}

int describe(const std::vector<std::string>& paths) {
    bool opened = true;
    for (const std::string& path : paths) {
        const BinaryReport report = describeBinary(path);
        std::puts(report.json.c_str());
        opened &= report.opened;
    }
    return opened ? 0 : 1;
}

int match(const Arguments& arguments) {
    const Findings findings =
        search(arguments.paths.front(), {arguments.paths.begin() + 1, arguments.paths.end()});
    const Matches matches = inspector::match(findings);
    const std::string text = arguments.json
                                 ? matchJSON(findings, matches)
                                 : matchTable(findings, matches, platform::standardOutputTakesColours());
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        return fail(std::string("the output cannot be written: ") + std::strerror(errno));
    if (matches.slices.empty() || std::ranges::any_of(findings.problems, &Problem::serious))
        return errorStatus;
    return std::ranges::all_of(matches.slices,
                               [](const SliceMatch& slice) { return slice.symbols == Symbols::found; })
               ? 0
               : missingStatus;
}

} // namespace

} // namespace qvx::inspector

int main(int count, char** words) {
    using namespace qvx::inspector;
    const Arguments arguments = parseArguments(count, words);
    if (!arguments.error.empty())
        return fail(arguments.error);
    if (arguments.help) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (arguments.match)
        return match(arguments);
    if (arguments.paths.empty()) {
        std::fputs("usage: inspect PATH...\n       inspect --match [--json] APP [SYMBOLS...]\n", stderr);
        return usageStatus;
    }
    return describe(arguments.paths);
}
