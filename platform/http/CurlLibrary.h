#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace qvx::platform {

/// The functions of libcurl that the loader calls. The library is not linked but loaded, and initialised,
/// when the first exchange asks for it, so that a run without one does not pay for it.
struct CurlLibrary {
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_perform) easyPerform;
    decltype(&curl_easy_getinfo) easyGetinfo;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_slist_append) slistAppend;
    decltype(&curl_slist_free_all) slistFreeAll;

    /// Why the library cannot be used; empty when it can. Nothing may be called otherwise.
    std::string failure;

    /// The one table of the process, never destroyed. May be called from any thread.
    static const CurlLibrary& shared();
};

struct CurlDeleter {
    void operator()(CURL* easy) const { CurlLibrary::shared().easyCleanup(easy); }
};
struct CurlListDeleter {
    void operator()(curl_slist* list) const { CurlLibrary::shared().slistFreeAll(list); }
};
using CurlHandle = std::unique_ptr<CURL, CurlDeleter>;
using CurlList = std::unique_ptr<curl_slist, CurlListDeleter>;

} // namespace qvx::platform
