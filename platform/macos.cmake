# What building for macOS takes: the system's own libraries, and what else the rooms of platform/ need of them.
# They are not searched for: what else somebody installed by these names is not meant.
set(text_libraries "-framework CoreFoundation")
set(files_libraries) # CommonCrypto is a part of the system's library
set(values_libraries expat)
set(desktop_libraries "-framework CoreServices")
set(curl_library /usr/lib/libcurl.4.dylib)
set(curl_include_dirs) # with the system's own headers

# Headers alone. A Mac has them when somebody installed them; else they are fetched once.
find_path(JSON_INCLUDE_DIR nlohmann/json.hpp)
if(NOT JSON_INCLUDE_DIR)
    include(FetchContent)
    FetchContent_Declare(json
        URL https://deb.debian.org/debian/pool/main/n/nlohmann-json3/nlohmann-json3_3.11.2.orig.tar.gz
        URL_HASH SHA256=d69f9deb6a75e2580465c6c4c5111b89c4dc2fa94e3a85fcd2ffcd9a143d9273
        SOURCE_SUBDIR nothing-to-configure)
    FetchContent_MakeAvailable(json)
    set(JSON_INCLUDE_DIR ${json_SOURCE_DIR}/single_include)
endif()
set(json_include_dirs ${JSON_INCLUDE_DIR})

if(BUILD_TESTING)
    find_package(GTest QUIET)
    set(BUILD_TESTING ${GTest_FOUND}) # building does without
endif()

set(program_link_options -Wl,-dead_strip)
set(branch_protection_options) # every Mac's processor and system have them for the system's own programs alone
set(own_runtime_link_options) # the C++ library is a part of the system

# A Mac has an archiver. Ours is built as well where its library is there for every processor that is built for.
find_library(LIBDEFLATE NAMES libdeflate.a)
find_path(LIBDEFLATE_INCLUDE_DIR libdeflate.h)
set(builds_archiver OFF)
if(LIBDEFLATE AND LIBDEFLATE_INCLUDE_DIR)
    include(CheckSymbolExists)
    set(CMAKE_REQUIRED_INCLUDES ${LIBDEFLATE_INCLUDE_DIR})
    set(CMAKE_REQUIRED_LIBRARIES ${LIBDEFLATE})
    check_symbol_exists(libdeflate_deflate_compress libdeflate.h LIBDEFLATE_IS_FOR_ALL)
    set(builds_archiver ${LIBDEFLATE_IS_FOR_ALL})
    unset(CMAKE_REQUIRED_INCLUDES)
    unset(CMAKE_REQUIRED_LIBRARIES)
endif()
