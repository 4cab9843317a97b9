// A libcurl.so.4 that passes everything on to the real one, but does not know the options whose numbers are
// in PICKY_CURL_OPTIONS, as an older one or one that was built with less.

#include <curl/curl.h>
#include <dlfcn.h>

#include <cstdarg>
#include <cstdlib>
#include <string>

#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace {

template <class Function>
Function* real(const char* name) {
    static void* const library = ::dlopen(PICKY_CURL_REAL_ONE, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function*>(::dlsym(library, name));
}

bool isKnown(int option) {
    return ("," + std::string(std::getenv("PICKY_CURL_OPTIONS")) + ",")
               .find("," + std::to_string(option) + ",") == std::string::npos;
}

} // namespace

extern "C" {

CURLcode curl_global_init(long flags) {
    return real<decltype(curl_global_init)>("curl_global_init")(flags);
}

CURL* curl_easy_init() {
    return real<decltype(curl_easy_init)>("curl_easy_init")();
}

// What options take is one word each.
CURLcode curl_easy_setopt(CURL* easy, CURLoption option, ...) {
    std::va_list arguments;
    va_start(arguments, option);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return isKnown(option) ? real<decltype(curl_easy_setopt)>("curl_easy_setopt")(easy, option, value)
                           : CURLE_UNKNOWN_OPTION;
}

CURLcode curl_easy_perform(CURL* easy) {
    return real<decltype(curl_easy_perform)>("curl_easy_perform")(easy);
}

CURLcode curl_easy_getinfo(CURL* easy, CURLINFO info, ...) {
    std::va_list arguments;
    va_start(arguments, info);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return real<decltype(curl_easy_getinfo)>("curl_easy_getinfo")(easy, info, value);
}

void curl_easy_cleanup(CURL* easy) {
    real<decltype(curl_easy_cleanup)>("curl_easy_cleanup")(easy);
}

curl_slist* curl_slist_append(curl_slist* list, const char* text) {
    return real<decltype(curl_slist_append)>("curl_slist_append")(list, text);
}

void curl_slist_free_all(curl_slist* list) {
    real<decltype(curl_slist_free_all)>("curl_slist_free_all")(list);
}

} // extern "C"
