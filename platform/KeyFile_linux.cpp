#include <glib.h>

#include <algorithm>

#include "platform/Data.h"
#include "platform/KeyFile_linux.h"

namespace qvx::platform {

namespace {

constexpr size_t kMostBytes = size_t{16} << 20;

std::optional<std::string> taken(char* text) {
    const std::unique_ptr<char, decltype(&::g_free)> owner(text, &::g_free);
    return text ? std::optional<std::string>(text) : std::nullopt;
}

/// The lines that start a group or begin with the key; all when that is empty.
std::string linesOf(std::string_view text, std::string_view key) {
    std::string kept;
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        if (text.front() == '[' || text.starts_with(key))
            kept += text.substr(0, length);
        text.remove_prefix(length);
    }
    return kept;
}

} // namespace

void KeyFile::Free::operator()(_GKeyFile* file) const {
    ::g_key_file_unref(file);
}

std::optional<KeyFile> KeyFile::load(const std::string& path, std::string_view key) {
    const Result<Data> data = Data::readFile(path, kMostBytes);
    if (!data)
        return std::nullopt;
    const std::string text = linesOf(data->string(), key);
    KeyFile file(::g_key_file_new());
    if (!::g_key_file_load_from_data(file.file_.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr))
        return std::nullopt;
    return file;
}

std::optional<std::string> KeyFile::text(const char* group, const char* key) const {
    return taken(::g_key_file_get_string(file_.get(), group, key, nullptr));
}

std::optional<std::string> KeyFile::localText(const char* group, const char* key) const {
    return taken(::g_key_file_get_locale_string(file_.get(), group, key, nullptr, nullptr));
}

std::vector<std::string> KeyFile::list(const char* group, const char* key) const {
    size_t count = 0;
    const std::unique_ptr<char*, decltype(&::g_strfreev)> pieces(
        ::g_key_file_get_string_list(file_.get(), group, key, &count, nullptr), &::g_strfreev);
    return pieces ? std::vector<std::string>(pieces.get(), pieces.get() + count) : std::vector<std::string>();
}

} // namespace qvx::platform
