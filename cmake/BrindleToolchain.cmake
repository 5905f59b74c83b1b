# Compiler settings for all targets: warnings, sanitizers, linker, compiler cache.

# These settings let ccache compare precompiled headers by content (see "Precompiled headers" in its
# manual). On Linux it sees paths relative to the clone, and the same name for every build folder. So
# clones and presets with equal options share results. Debug information maps that name to the build
# folder's path in the clone. Coverage needs full paths and shares nothing.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(launcher "${CMAKE_COMMAND}" -E env
        "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime")
    if(CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux" AND NOT BRINDLE_COVERAGE)
        list(APPEND launcher
            PWD=/proc/self/cwd "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1)
        file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}" "${CMAKE_BINARY_DIR}")
        add_compile_options("-fdebug-prefix-map=/proc/self/cwd=${folder}")
    endif()
    list(APPEND launcher "${CCACHE_PROGRAM}")
    set(CMAKE_C_COMPILER_LAUNCHER "${launcher}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${launcher}")
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # Give the precompiled header the same content and command in every clone, because ccache does not
    # make paths behind -Xclang relative. To use it, clang reads "header.pch" for an included "header".
    # To make it, clang must find the header by the include path, or it would read an old "header.pch".
    add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
    set(CMAKE_CXX_COMPILE_OPTIONS_USE_PCH -include <PCH_HEADER>)
    set(CMAKE_CXX_COMPILE_OPTIONS_CREATE_PCH
        -Xclang -emit-pch -Xclang -include -Xclang cmake_pch.hxx -x c++-header)

    # Line tables are enough for stack traces, and shrink the objects to a third.
    string(REPLACE "-g" "-gline-tables-only" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
    string(REPLACE "-g" "-gline-tables-only" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")

    find_program(LLD_PROGRAM NAMES ld.lld-19 ld.lld)
    if(LLD_PROGRAM AND NOT APPLE)
        add_link_options("--ld-path=${LLD_PROGRAM}")
    endif()
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
if(BRINDLE_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()

if(BRINDLE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(BRINDLE_COVERAGE)
    # Programs count in the profile's file itself, so killed programs count, too.
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping -mllvm
        -runtime-counter-relocation)
    add_link_options(-fprofile-instr-generate)
endif()
if(BRINDLE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# The players' build is hardened: checked library calls, stack canaries and clash guards, control-flow
# protection, random addresses, and read-only memory wherever possible.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT BRINDLE_SANITIZE)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
    if(NOT APPLE)
        add_compile_options(-fstack-clash-protection)
        add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:--as-needed)
    endif()
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
        add_compile_options(-fcf-protection)
    elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
        add_compile_options(-mbranch-protection=standard)
    endif()
endif()

add_compile_definitions(
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_KEYWORDS
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
