#include "platform/http/CurlLibrary.h"

#include <cstdlib>

#include "platform/http/DynamicLibrary_posix.h"

namespace qvx::platform {

namespace {

bool findAll(const DynamicLibrary& file, CurlLibrary& library) {
    return file.find("curl_easy_init", library.easyInit) &&
           file.find("curl_easy_setopt", library.easySetopt) &&
           file.find("curl_easy_perform", library.easyPerform) &&
           file.find("curl_easy_getinfo", library.easyGetinfo) &&
           file.find("curl_easy_cleanup", library.easyCleanup) &&
           file.find("curl_slist_append", library.slistAppend) &&
           file.find("curl_slist_free_all", library.slistFreeAll);
}

const CurlLibrary* loadLibrary() {
    auto* library = new CurlLibrary;
    const DynamicLibrary file("libcurl.so.4");
    decltype(&curl_global_init) globalInit = nullptr;
    // libcurl would write the keys of every connection, and so the secrets within, to the file that it names.
    ::unsetenv("SSLKEYLOGFILE");
    if (!file)
        library->failure = "the library libcurl.so.4 is not installed";
    else if (!file.find("curl_global_init", globalInit) || !findAll(file, *library))
        library->failure = "the library libcurl.so.4 is too old";
    else if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        library->failure = "the library libcurl.so.4 cannot be initialised";
    return library;
}

} // namespace

const CurlLibrary& CurlLibrary::shared() {
    static const CurlLibrary* const library = loadLibrary();
    return *library;
}

} // namespace qvx::platform
