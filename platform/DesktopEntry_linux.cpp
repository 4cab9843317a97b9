#include <glib.h>

#include <memory>

#include "platform/DesktopEntry_linux.h"
#include "platform/KeyFile_linux.h"

namespace qvx::platform {

namespace {

constexpr char kGroup[] = "Desktop Entry";

std::optional<std::string> programInPath(const std::string& name) {
    const std::unique_ptr<char, decltype(&::g_free)> path(::g_find_program_in_path(name.c_str()), &::g_free);
    return path ? std::optional<std::string>(path.get()) : std::nullopt;
}

/// The words of a command line, quoted as for a shell; empty when a quote is not closed.
std::vector<std::string> split(const std::string& line) {
    int count = 0;
    char** words = nullptr;
    if (!::g_shell_parse_argv(line.c_str(), &count, &words, nullptr))
        return {};
    const std::unique_ptr<char*, decltype(&::g_strfreev)> owner(words, &::g_strfreev);
    return {words, words + count};
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::load(const std::string& path) {
    const std::optional<KeyFile> file = KeyFile::load(path);
    if (!file || file->text(kGroup, "Type") != "Application" || file->text(kGroup, "Hidden") == "true" ||
        file->text(kGroup, "Terminal") == "true")
        return std::nullopt;
    const std::optional<std::string> required = file->text(kGroup, "TryExec");
    if (required && !required->empty() && !programInPath(*required))
        return std::nullopt;
    DesktopEntry entry;
    entry.words_ = split(file->text(kGroup, "Exec").value_or(""));
    const auto program = entry.words_.empty() ? std::nullopt : programInPath(entry.words_.front());
    if (!program)
        return std::nullopt;
    entry.path_ = path;
    entry.program_ = *program;
    entry.directory_ = file->text(kGroup, "Path");
    if (entry.directory_ == "")
        entry.directory_.reset();
    entry.name_ = file->localText(kGroup, "Name").value_or("");
    entry.icon_ = file->localText(kGroup, "Icon").value_or("");
    return entry;
}

std::vector<std::string> DesktopEntry::commandFor(const std::string& url) const {
    std::vector<std::string> command;
    for (const std::string& word : words_) {
        if (word == "%i" && !icon_.empty()) {
            command.emplace_back("--icon");
            command.push_back(icon_);
            continue;
        }
        std::string argument = expanded(word, url);
        // A field that stands for nothing here leaves no empty argument.
        if (!argument.empty() || word.empty())
            command.push_back(std::move(argument));
    }
    return command;
}

std::string DesktopEntry::expanded(const std::string& word, const std::string& url) const {
    std::string result;
    for (size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '%') {
            result += word[i];
            continue;
        }
        // Files, which a URL is not, and fields of the past stand for nothing.
        switch (++i < word.size() ? word[i] : '\0') {
        case 'u':
        case 'U':
            result += url;
            break;
        case 'c':
            result += name_;
            break;
        case 'k':
            result += path_;
            break;
        case '%':
            result += '%';
            break;
        default:
            break;
        }
    }
    return result;
}

} // namespace qvx::platform
