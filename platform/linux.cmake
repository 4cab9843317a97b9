# What building for Linux takes: where the libraries are that the rooms of platform/ link, and how programs are linked.
find_package(PkgConfig REQUIRED)
pkg_check_modules(CURL REQUIRED libcurl)
find_library(LIBEXPAT NAMES libexpat.a REQUIRED)
find_library(LIBMD NAMES libmd.a REQUIRED)
find_library(LIBUTF8PROC NAMES libutf8proc.a REQUIRED)

set(text_libraries ${LIBUTF8PROC})
set(files_libraries ${LIBMD})
set(values_libraries ${LIBEXPAT})
set(desktop_libraries)
set(curl_library libcurl.so.4)
set(curl_include_dirs ${CURL_INCLUDE_DIRS})
set(json_include_dirs)

# Without what nobody calls, hardened.
set(program_link_options -Wl,--gc-sections -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--build-id)
set(branch_protection_options -fcf-protection=full -mbranch-protection=standard)
# Looking up the C++ library at every start would take longer than most runs.
set(own_runtime_link_options -static-libstdc++ -static-libgcc)

set(builds_archiver ON)
