#include "platform/http/CurlLibrary.h"

#include <dlfcn.h>

#include <cstdlib>

namespace qvx::platform {

namespace {

/// Sets `function`, whose type comes from the library's own header, to the library's one of that name.
template <class Function>
bool find(void* library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(::dlsym(library, name));
    return function != nullptr;
}

bool findAll(void* file, CurlLibrary& library) {
    return find(file, "curl_easy_init", library.easyInit) &&
           find(file, "curl_easy_setopt", library.easySetopt) &&
           find(file, "curl_easy_perform", library.easyPerform) &&
           find(file, "curl_easy_getinfo", library.easyGetinfo) &&
           find(file, "curl_easy_cleanup", library.easyCleanup) &&
           find(file, "curl_slist_append", library.slistAppend) &&
           find(file, "curl_slist_free_all", library.slistFreeAll);
}

// At first use and not when the program starts: a run that fails a check, or hands off, has no use for
// libcurl and the thirty libraries behind it.
const CurlLibrary* loadLibrary() {
    auto* library = new CurlLibrary;
    // Stays loaded: its own libraries would not survive being unloaded.
    void* const file = ::dlopen(QVX_CURL_LIBRARY, RTLD_LAZY | RTLD_LOCAL);
    decltype(&curl_global_init) globalInit = nullptr;
    // libcurl would write the keys of every connection, and so the secrets within, to the file that it names.
    ::unsetenv("SSLKEYLOGFILE");
    if (!file)
        library->failure = "the library " QVX_CURL_LIBRARY " is not installed";
    else if (!find(file, "curl_global_init", globalInit) || !findAll(file, *library))
        library->failure = "the library " QVX_CURL_LIBRARY " is too old";
    else if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        library->failure = "the library " QVX_CURL_LIBRARY " cannot be initialised";
    return library;
}

} // namespace

const CurlLibrary& CurlLibrary::shared() {
    static const CurlLibrary* const library = loadLibrary();
    return *library;
}

} // namespace qvx::platform
