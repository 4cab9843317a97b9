// A libcurl.so.4 that passes everything on to the real one, but does not know the options whose numbers are
// in PICKY_CURL_OPTIONS, as an older one or one that was built with less.

#include <dlfcn.h>

#include <cstdarg>
#include <cstdlib>
#include <string>

namespace {

constexpr int unknownOption = 48; // CURLE_UNKNOWN_OPTION

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

int curl_global_init(long flags) {
    return real<int(long)>("curl_global_init")(flags);
}

void* curl_easy_init() {
    return real<void*()>("curl_easy_init")();
}

// What options take is one word each.
int curl_easy_setopt(void* easy, int option, ...) {
    std::va_list arguments;
    va_start(arguments, option);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return isKnown(option) ? real<int(void*, int, ...)>("curl_easy_setopt")(easy, option, value)
                           : unknownOption;
}

int curl_easy_perform(void* easy) {
    return real<int(void*)>("curl_easy_perform")(easy);
}

int curl_easy_getinfo(void* easy, int info, ...) {
    std::va_list arguments;
    va_start(arguments, info);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return real<int(void*, int, ...)>("curl_easy_getinfo")(easy, info, value);
}

void curl_easy_cleanup(void* easy) {
    real<void(void*)>("curl_easy_cleanup")(easy);
}

void* curl_slist_append(void* list, const char* text) {
    return real<void*(void*, const char*)>("curl_slist_append")(list, text);
}

void curl_slist_free_all(void* list) {
    real<void(void*)>("curl_slist_free_all")(list);
}

} // extern "C"
