# Compiler settings that hold for every target: warnings, sanitizers, linker, compiler cache.

# ccache sees paths relative to the clone, so that a second clone finds what the first one made, and
# takes precompiled headers by their content (see "Precompiled headers" in ccache's manual).
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(launcher "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
        "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
        "${CCACHE_PROGRAM}")
    set(CMAKE_C_COMPILER_LAUNCHER "${launcher}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${launcher}")
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT APPLE)
    find_program(LLD_PROGRAM NAMES ld.lld-19 ld.lld)
    if(LLD_PROGRAM)
        add_link_options("--ld-path=${LLD_PROGRAM}")
    endif()
endif()

# Line tables are enough for stack traces and make the objects a third of the size.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    string(REPLACE "-g" "-gline-tables-only" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
    string(REPLACE "-g" "-gline-tables-only" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
if(BRINDLE_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()

if(BRINDLE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=address,undefined)
endif()
if(BRINDLE_COVERAGE)
    # Counted in the profile's file itself, which thus also knows of programs that are killed.
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping -mllvm
        -runtime-counter-relocation)
    add_link_options(-fprofile-instr-generate)
endif()
if(BRINDLE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# What players get is hardened: checked library calls, stack canaries and clash guards, control-flow
# protection, addresses that can't be known beforehand, and nothing writable that need not be.
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
