#include "platform/desktop/DesktopEntry_linux.h"

#include <unistd.h>

#include "platform/files/FileManager.h"
#include "platform/process/XDGFolders_linux.h"
#include "platform/text/String.h"

namespace qvx::platform {

namespace {

constexpr char group[] = "Desktop Entry";

bool isProgram(const std::string& path) {
    return !FileManager::isDirectoryAtPath(path) && ::access(path.c_str(), X_OK) == 0;
}

/// The program of that name, in the folders where commands are looked for unless it is a path.
std::optional<std::string> programInPath(const std::string& name) {
    if (name.find('/') != std::string::npos)
        return name.starts_with('/') && isProgram(name) ? std::optional(name) : std::nullopt;
    for (const std::string& folder : systemFolders("PATH", "/usr/local/bin:/usr/bin:/bin")) {
        std::string path = stringByAppendingPathComponent(folder, name);
        if (isProgram(path))
            return path;
    }
    return std::nullopt;
}

/// The words of a command line, quoted as for a shell; empty when a quote has no end.
std::vector<std::string> wordsOf(std::string_view line) {
    std::vector<std::string> words;
    bool isInWord = false;
    char quote = '\0';
    for (size_t index = 0; index < line.size(); ++index) {
        const char character = line[index];
        const bool isBlank = character == ' ' || character == '\t' || character == '\n';
        if (quote == '\0' && isBlank) {
            isInWord = false;
            continue;
        }
        if (!isInWord)
            words.emplace_back();
        isInWord = true;
        if (character == quote) {
            quote = '\0';
        } else if (quote == '\0' && (character == '"' || character == '\'')) {
            quote = character;
        } else if (character == '\\' && quote == '\0' && index + 1 == line.size()) {
            return {}; // there is nothing that it could quote
        } else if (character == '\\' && quote != '\'' && index + 1 < line.size() &&
                   (quote == '\0' ||
                    std::string_view("\"\\$`").find(line[index + 1]) != std::string_view::npos)) {
            words.back() += line[++index];
        } else {
            words.back() += character;
        }
    }
    return quote == '\0' ? words : std::vector<std::string>();
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::load(const std::string& path) {
    const std::optional<KeyFile> file = KeyFile::load(path);
    return file ? describedBy(*file, path) : std::nullopt;
}

std::optional<DesktopEntry> DesktopEntry::describedBy(const KeyFile& file, const std::string& path) {
    // One for a terminal would need to know which terminal; nobody watches, and it is passed over.
    if (file.text(group, "Type") != "Application" || file.text(group, "Hidden") == "true" ||
        file.text(group, "Terminal") == "true")
        return std::nullopt;
    // TryExec is how packages say that a program may be gone while its desktop file stayed.
    const std::optional<std::string> required = file.text(group, "TryExec");
    if (required && !required->empty() && !programInPath(*required))
        return std::nullopt;
    DesktopEntry entry;
    entry.words_ = wordsOf(file.text(group, "Exec").value_or(""));
    const auto program = entry.words_.empty() ? std::nullopt : programInPath(entry.words_.front());
    if (!program)
        return std::nullopt;
    entry.path_ = path;
    entry.program_ = *program;
    entry.directory_ = file.text(group, "Path");
    if (entry.directory_ == "")
        entry.directory_.reset();
    entry.name_ = file.localText(group, "Name").value_or("");
    entry.icon_ = file.localText(group, "Icon").value_or("");
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
        switch (i + 1 < word.size() && isASCII(word.substr(i + 1, 1)) ? word[++i] : '\0') {
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
