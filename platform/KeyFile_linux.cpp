#include <glib.h>

#include "platform/KeyFile_linux.h"

namespace qvx::platform {

namespace {

std::optional<std::string> taken(char* text) {
    const std::unique_ptr<char, decltype(&::g_free)> owner(text, &::g_free);
    return text ? std::optional<std::string>(text) : std::nullopt;
}

} // namespace

void KeyFile::Free::operator()(_GKeyFile* file) const {
    ::g_key_file_unref(file);
}

std::optional<KeyFile> KeyFile::load(const std::string& path) {
    KeyFile file(::g_key_file_new());
    if (!::g_key_file_load_from_file(file.file_.get(), path.c_str(), G_KEY_FILE_NONE, nullptr))
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
