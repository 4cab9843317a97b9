#include "tools/inspect/SymbolSearch.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "macho/MachOFormat.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderWalk.h"
#include "platform/text/String.h"

namespace qvx::inspector {

namespace {

using platform::FileManager::isDirectoryAtPath;

constexpr std::string_view bundleSuffix = ".dSYM";
constexpr std::string_view insideBundle = "/Contents/Resources/DWARF/";

// None is not the current folder.
std::string absolute(const std::string& path) {
    if (path.empty() || path.starts_with('/'))
        return path;
    return platform::stringByAppendingPathComponent(platform::FileManager::currentDirectoryPath(), path);
}

std::string resolved(const std::string& path) {
    return platform::FileManager::stringByResolvingSymlinksInPath(absolute(path));
}

std::string folderOf(const std::string& path) {
    return path.substr(0, std::max<size_t>(path.rfind('/'), 1));
}

// The folder in which the app is named, which is another one when that name is a link.
std::string folderHolding(const std::string& app) {
    std::string path = absolute(app);
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path.ends_with("/.") || path.ends_with("/..") ? folderOf(resolved(path))
                                                         : resolved(folderOf(path));
}

bool isArchive(std::string_view path) {
    return path.ends_with(".xcarchive");
}

bool isCode(const macho::SliceHeader& slice) {
    return slice.filetype == macho::MH_EXECUTE || slice.filetype == macho::MH_DYLIB ||
           slice.filetype == macho::MH_BUNDLE;
}

bool isDWARF(std::string_view path, const macho::SliceHeader& slice) {
    return slice.filetype == macho::MH_DSYM || path.find(insideBundle) != std::string_view::npos;
}

// The bundle that the DWARF file lies in, or the file itself.
std::string_view bundleOf(std::string_view path) {
    const size_t inside = path.rfind(insideBundle);
    if (inside != std::string_view::npos)
        return path.substr(0, inside);
    const size_t suffix = path.rfind(std::string(bundleSuffix) + '/');
    return path.substr(0, suffix == std::string_view::npos ? suffix : suffix + bundleSuffix.size());
}

class Search {
public:
    // The app's code, and the dSYMs in it when they are wanted.
    void searchApp(const std::string& given, const std::string& path, bool withSymbols) {
        platform::FolderWalk apart;
        (withSymbols ? walk_ : apart).enumerate(path, [&](const Entry& entry) {
            visit(entry, {.given = entry.path == path ? given : "", .code = true, .symbols = withSymbols});
            return true;
        });
    }

    void searchSymbols(const std::string& given, const std::string& path) {
        walk_.enumerate(path, [&](const Entry& entry) {
            visit(entry, {.given = entry.path == path ? given : ""});
            return true;
        });
    }

    // What the folder holds besides the app that was searched before. Links may lead far away from it.
    void searchBeside(const std::string& app, const std::string& folder) {
        walk_.enumerate(folder, [&](const Entry& entry) {
            const bool wanted = entry.kind == Kind::link     ? entry.path.ends_with(bundleSuffix)
                                : entry.kind == Kind::folder ? entry.path == app || !isArchive(entry.path)
                                                             : entry.path != app;
            if (wanted)
                visit(entry, {.given = {}, .asked = false});
            return wanted;
        });
    }

    Findings findings(std::string base) {
        Findings result{std::move(base), std::move(code_), {}, std::move(problems_)};
        for (auto& [path, dSYM] : dSYMs_)
            if (dSYM.readable || !dSYM.slices.empty())
                result.dSYMs.push_back(std::move(dSYM));
        std::ranges::stable_sort(result.code, {}, &CodeFile::path);
        // The same may be met in the app and among its symbols; the serious one comes first then.
        std::ranges::sort(result.problems, {}, [](const Problem& problem) {
            return std::tuple(problem.path, problem.reason, !problem.serious);
        });
        const auto same = [](const Problem& left, const Problem& right) {
            return left.path == right.path && left.reason == right.reason;
        };
        result.problems.erase(std::unique(result.problems.begin(), result.problems.end(), same),
                              result.problems.end());
        return result;
    }

private:
    using Entry = platform::FolderWalk::Entry;
    using Kind = platform::FolderWalk::Kind;

    // What is looked for in an entry.
    struct Purpose {
        std::string given; // how the entry itself was named, if it was
        bool code = false; // else only symbols
        bool symbols = true;
        bool asked = true; // else it only lies where symbols may be, and much may be somebody else's
    };

    void visit(const Entry& entry, const Purpose& purpose) {
        const std::string path(entry.path);
        if (entry.kind == Kind::file)
            read(path, purpose);
        else if (entry.kind == Kind::unreadable)
            addProblem(path, entry.reason, purpose);
        else if (entry.kind == Kind::deadEnd && purpose.asked)
            problems_.push_back({path, std::string(entry.reason), false});
        else if (entry.kind == Kind::folder && purpose.symbols && path.ends_with(bundleSuffix))
            dSYM(path);
    }

    void read(const std::string& path, const Purpose& purpose) {
        const bool inBundle = bundleOf(path) != path;
        auto headers = macho::readMachOHeaders(path);
        if (!headers) {
            if (purpose.asked || inBundle)
                addProblem(path, std::strerror(static_cast<int>(headers.error().code)), purpose);
            return;
        }
        auto& [slices, damage] = *headers;
        // A half-written object file beside an app is nobody's business here.
        const bool isOther = !slices.empty() && std::ranges::none_of(slices, [&](const auto& slice) {
            return isCode(slice) || isDWARF(path, slice);
        });
        if (damage && !isOther && (purpose.code || inBundle || !purpose.given.empty()))
            addProblem(path, *damage, purpose);
        if (std::ranges::any_of(slices, [&](const auto& slice) { return isDWARF(path, slice); })) {
            if (purpose.symbols) {
                DSYM& found = dSYM(bundleOf(path));
                found.names.push_back(path.substr(path.rfind('/') + 1));
                std::ranges::move(slices, std::back_inserter(found.slices));
            }
        } else if (purpose.code && std::ranges::any_of(slices, isCode)) {
            code_.push_back({path, std::move(slices)});
        }
    }

    void addProblem(const std::string& path, std::string_view reason, const Purpose& purpose) {
        problems_.push_back({purpose.given.empty() ? path : purpose.given, std::string(reason),
                             purpose.code || !purpose.given.empty()});
        if (const auto found = dSYMs_.find(bundleOf(path)); found != dSYMs_.end())
            found->second.readable = false;
    }

    DSYM& dSYM(std::string_view path) {
        DSYM& result = dSYMs_[std::string(path)];
        result.path = path;
        return result;
    }

    platform::FolderWalk walk_;
    std::vector<CodeFile> code_;
    std::map<std::string, DSYM, std::less<>> dSYMs_;
    std::vector<Problem> problems_;
};

} // namespace

Findings search(const std::string& app, const std::vector<std::string>& symbols) {
    Search search;
    const std::string path = resolved(app);
    const bool hasProducts = isArchive(path) && isDirectoryAtPath(path + "/Products");
    search.searchApp(app, hasProducts ? path + "/Products" : path, symbols.empty());
    if (symbols.empty() && platform::FileManager::fileExistsAtPath(path)) {
        if (hasProducts)
            search.searchSymbols(app, path);
        search.searchBeside(path, folderHolding(app));
    }
    for (const std::string& given : symbols)
        search.searchSymbols(given, resolved(given));
    return search.findings(isDirectoryAtPath(path) ? path : folderOf(path));
}

} // namespace qvx::inspector
