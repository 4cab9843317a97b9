#include "tools/inspect/MatchReport.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

#include "tools/inspect/DisplayText.h"
#include "tools/inspect/JSONText.h"

namespace qvx::inspector {

namespace {

struct Row {
    std::optional<std::string> file;
    std::optional<std::string> architecture;
    std::optional<std::string> uuid;
    std::string_view symbols;
    std::string_view colour;
    std::optional<std::string> dSYM;
};

struct Word {
    std::string_view text;
    std::string_view colour;
};

constexpr Word words[] = { // by `Symbols`
    {"found", "\033[32m"},
    {"another build", "\033[33m"},
    {"empty", "\033[33m"},
    {"missing", "\033[31m"}};
constexpr Word matchesNothing = {"matches nothing", "\033[2m"};
constexpr std::string_view plain = "\033[0m";

std::string told(const std::string& path, const std::string& base) {
    if (!path.starts_with('/'))
        return path; // as it was given
    const std::string inside = base.ends_with('/') ? base : base + '/';
    if (path.starts_with(inside))
        return path.substr(inside.size());
    const std::filesystem::path absolute(path), from(base);
    // Both begin with the root.
    const bool shareFolder = std::next(absolute.begin()) != absolute.end() &&
                             std::next(from.begin()) != from.end() &&
                             *std::next(absolute.begin()) == *std::next(from.begin());
    return shareFolder ? absolute.lexically_relative(from).string() : path;
}

std::vector<Row> rowsOf(const Findings& findings, const Matches& matches) {
    std::vector<Row> rows;
    for (const SliceMatch& match : matches.slices) {
        const auto& [text, colour] = words[static_cast<size_t>(match.symbols)];
        rows.push_back({told(match.file->path, findings.base),
                        match.slice->architecture,
                        match.slice->uuid,
                        text,
                        colour,
                        {}});
        if (match.dSYM != nullptr)
            rows.back().dSYM = told(match.dSYM->path, findings.base);
    }
    for (const DSYM* dSYM : matches.unmatched) {
        const auto& [text, colour] = matchesNothing;
        const std::string path = told(dSYM->path, findings.base);
        for (const macho::SliceHeader& slice : dSYM->slices)
            rows.push_back({{}, slice.architecture, slice.uuid, text, colour, path});
        if (dSYM->slices.empty())
            rows.push_back({{}, {}, {}, text, colour, path});
    }
    return rows;
}

struct Count {
    std::string_view key; // in JSON
    size_t number;
    std::string_view one;
    std::string_view many;
};

std::vector<Count> counts(const Findings& findings, const Matches& matches) {
    std::vector<Count> result{{"files", findings.code.size(), "file", "files"},
                              {"slices", matches.slices.size(), "slice", "slices"}};
    for (size_t index = 0; index < std::size(words); ++index) {
        const auto number =
            std::ranges::count(matches.slices, static_cast<Symbols>(index), &SliceMatch::symbols);
        const std::string_view text = words[index].text;
        result.push_back({text, static_cast<size_t>(number), text, text});
    }
    result.push_back(
        {"unmatched", matches.unmatched.size(), "dSYM that matches nothing", "dSYMs that match nothing"});
    result.push_back({"problems", findings.problems.size(), "path with a problem", "paths with a problem"});
    return result;
}

} // namespace

std::string matchTable(const Findings& findings, const Matches& matches, bool coloured) {
    using Line = std::array<std::string, 5>;
    std::vector<Line> lines{{"FILE", "ARCH", "UUID", "SYMBOLS", "DSYM"}};
    const std::vector<Row> rows = rowsOf(findings, matches);
    for (const Row& row : rows)
        lines.push_back({displayed(row.file.value_or("-")), row.architecture.value_or("-"),
                         row.uuid.value_or("-"), std::string(row.symbols),
                         displayed(row.dSYM.value_or("-"))});
    std::array<size_t, 5> widths{};
    for (const Line& line : lines)
        for (size_t column = 0; column < line.size(); ++column)
            widths[column] = std::max(widths[column], columns(line[column]));

    std::string text;
    for (size_t index = 0; index < lines.size() && !rows.empty(); ++index) {
        const Line& line = lines[index];
        for (size_t column = 0; column < line.size(); ++column) {
            const bool inColour = coloured && index > 0 && column == 3;
            text += inColour ? std::string(rows[index - 1].colour) + line[column] + std::string(plain)
                             : line[column];
            if (column + 1 < line.size())
                text.append(widths[column] - columns(line[column]) + 2, ' ');
        }
        text += '\n';
    }
    for (const Problem& problem : findings.problems)
        text += "cannot be read: " + displayed(told(problem.path, findings.base)) + ": " +
                displayed(problem.reason) + '\n';

    std::string summary;
    for (const Count& count : counts(findings, matches))
        if (count.number != 0 || count.key == "files" || count.key == "slices")
            summary += (summary.empty() ? "" : ", ") + std::to_string(count.number) + ' ' +
                       std::string(count.number == 1 ? count.one : count.many);
    return text + summary + '\n';
}

std::string matchJSON(const Findings& findings, const Matches& matches) {
    std::string text;
    for (const Row& row : rowsOf(findings, matches))
        text += object({{"path", jsonString(row.file)},
                        {"architecture", jsonString(row.architecture)},
                        {"uuid", jsonString(row.uuid)},
                        {"symbols", jsonString(row.symbols)},
                        {"dSYM", jsonString(row.dSYM)}}) +
                '\n';
    for (const Problem& problem : findings.problems)
        text += object({{"path", jsonString(told(problem.path, findings.base))},
                        {"error", jsonString(problem.reason)}}) +
                '\n';
    std::string summary;
    for (const Count& count : counts(findings, matches))
        summary +=
            (summary.empty() ? "" : ", ") + jsonString(count.key) + ": " + std::to_string(count.number);
    return text + '{' + summary + "}\n";
}

} // namespace qvx::inspector
