#include "tools/inspect/SymbolMatch.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "platform/text/String.h"

namespace qvx::inspector {

namespace {

std::string_view lastComponent(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

std::string_view withoutExtension(std::string_view name) {
    const std::string_view extension = platform::pathExtension(name);
    return extension.empty() ? name : name.substr(0, name.size() - extension.size() - 1);
}

class Matching {
public:
    explicit Matching(const Findings& findings) {
        for (const CodeFile& file : findings.code)
            for (const macho::SliceHeader& slice : file.slices)
                if (slice.uuid)
                    wanted_.insert(*slice.uuid);
        for (const DSYM& dSYM : findings.dSYMs) {
            for (const macho::SliceHeader& slice : dSYM.slices)
                if (slice.uuid)
                    addHolder(*slice.uuid, {&dSYM, slice.hasDebugInformation});
            // "Kit.framework.dSYM" is that of an executable "Kit"; the names inside hold after a renaming.
            const std::string_view stem = withoutExtension(lastComponent(dSYM.path));
            std::set<std::string_view> names(dSYM.names.begin(), dSYM.names.end());
            names.insert({stem, withoutExtension(stem)});
            for (const std::string_view name : names)
                byName_[name].push_back(&dSYM);
        }
    }

    [[nodiscard]] SliceMatch matched(const CodeFile& file, const macho::SliceHeader& slice) const {
        if (slice.uuid) {
            const auto holder = holders_.find(*slice.uuid);
            if (holder != holders_.end())
                return {&file, &slice, holder->second.hasDebugInformation ? Symbols::found : Symbols::empty,
                        holder->second.dSYM};
            for (const DSYM* dSYM : namesakes(file.path)) {
                if (dSYM->slices.empty())
                    return {&file, &slice, Symbols::empty, dSYM};
                if (std::ranges::any_of(dSYM->slices, [&](const macho::SliceHeader& other) {
                        return other.architecture == std::string_view(slice.architecture) && other.uuid &&
                               !wanted_.contains(*other.uuid);
                    }))
                    return {&file, &slice, Symbols::anotherBuild, dSYM};
            }
        }
        return {&file, &slice, Symbols::missing, nullptr};
    }

    [[nodiscard]] bool isWanted(const DSYM& dSYM) const {
        return std::ranges::any_of(dSYM.slices, [&](const macho::SliceHeader& slice) {
            return slice.uuid && wanted_.contains(*slice.uuid);
        });
    }

private:
    struct Holder {
        const DSYM* dSYM;
        bool hasDebugInformation;
    };

    // The first one that is of use, or else the first.
    void addHolder(std::string_view uuid, Holder holder) {
        const auto [place, isNew] = holders_.emplace(uuid, holder);
        if (!isNew && !place->second.hasDebugInformation && holder.hasDebugInformation)
            place->second = holder;
    }

    // Those first whose name says in which bundle the file lies, since an app and a framework may share
    // theirs.
    [[nodiscard]] std::vector<const DSYM*> namesakes(std::string_view path) const {
        const auto found = byName_.find(lastComponent(path));
        if (found == byName_.end())
            return {};
        std::vector<const DSYM*> result = found->second;
        std::stable_partition(result.begin(), result.end(), [&](const DSYM* dSYM) {
            const std::string_view bundle = withoutExtension(lastComponent(dSYM->path));
            return path.find('/' + std::string(bundle) + '/') != std::string_view::npos;
        });
        return result;
    }

    std::set<std::string_view> wanted_;
    std::map<std::string_view, Holder> holders_;
    std::map<std::string_view, std::vector<const DSYM*>> byName_;
};

} // namespace

Matches match(const Findings& findings) {
    const Matching matching(findings);
    Matches result;
    for (const CodeFile& file : findings.code)
        for (const macho::SliceHeader& slice : file.slices)
            result.slices.push_back(matching.matched(file, slice));
    for (const DSYM& dSYM : findings.dSYMs)
        if (!matching.isWanted(dSYM))
            result.unmatched.push_back(&dSYM);
    return result;
}

} // namespace qvx::inspector
