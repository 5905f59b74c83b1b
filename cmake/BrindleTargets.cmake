# Helpers that leave little more than a list of files to each room's CMakeLists.txt.

# brindle_room(<name> SOURCES <files…> LINKS <targets…>) Makes a room of src/ a static library
# `brindle_<name>`. Includes are written "<room>/<File>.h". They resolve only for linked rooms, because
# each library publishes a folder with only its own room.
function(brindle_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
    set(view "${CMAKE_BINARY_DIR}/include/${name}")
    file(MAKE_DIRECTORY "${view}")
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${view}/${name}" SYMBOLIC)
    add_library(brindle_${name} STATIC ${ROOM_SOURCES})
    target_include_directories(brindle_${name} PUBLIC "${view}")
    target_link_libraries(brindle_${name} PUBLIC ${ROOM_LINKS})
    if(NOT name MATCHES "^(sandbox|ditto)$")
        brindle_use_headers(brindle_${name} brindle_headers)
    endif()
endfunction()

# brindle_headers(<name> HEADERS <headers…> LINKS <targets…>) Precompiles headers that most sources
# include. A target uses them by brindle_use_headers(<target> <name>). Every source still includes the
# headers that it needs.
function(brindle_headers name)
    cmake_parse_arguments(PRE "" "" "HEADERS;LINKS" ${ARGN})
    # file(CONFIGURE) keeps an unchanged file's time, so nothing is compiled again.
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/${name}.cpp" CONTENT "")
    add_library(${name} STATIC "${CMAKE_BINARY_DIR}/${name}.cpp")
    target_link_libraries(${name} PUBLIC ${PRE_LINKS})
    target_precompile_headers(${name} PRIVATE ${PRE_HEADERS})
    # CMake writes cmake_pch.hxx to this folder.
    target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${name}.dir")
endfunction()

# Lets a target use precompiled headers. Gives it the same options and definitions, which this needs.
function(brindle_use_headers target name)
    get_target_property(links ${name} LINK_LIBRARIES)
    target_link_libraries(${target} PRIVATE ${links})
    target_precompile_headers(${target} REUSE_FROM ${name})
    target_compile_options(${target} PRIVATE -fPIC)
endfunction()

# brindle_tests(<name> TESTS <names…> [SOURCES <files…>] LINKS <targets…>) Makes one program of a
# folder's tests, and registers each test with CTest by its name. Each test is a source <test>.cpp with
# a main of its own, which becomes a function with the test's name. The program's first argument names
# the test to run.
function(brindle_tests name)
    cmake_parse_arguments(TEST "" "" "TESTS;SOURCES;LINKS" ${ARGN})
    set(main "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    set(functions "")
    set(rows "")
    foreach(test IN LISTS TEST_TESTS)
        set(source "${CMAKE_CURRENT_SOURCE_DIR}/${test}.cpp")
        list(APPEND TEST_SOURCES "${source}")
        if(CMAKE_UNITY_BUILD)
            string(APPEND functions "#define main ${test}\n#include \"${source}\"\n#undef main\n")
            set_source_files_properties("${source}" PROPERTIES HEADER_FILE_ONLY ON)
        else()
            string(APPEND functions "int ${test}(int argc, char *argv[]);\n")
            set_source_files_properties("${source}" PROPERTIES COMPILE_DEFINITIONS main=${test})
        endif()
        string(APPEND rows "    if (name == \"${test}\") {\n        return ${test}(argc - 1, argv + 1);\n    }\n")
    endforeach()
    file(CONFIGURE OUTPUT "${main}" @ONLY CONTENT [[
#include <string_view>

@functions@
int main(int argc, char *argv[])
{
    const std::string_view name = argc > 1 ? argv[1] : "";
@rows@    return 2;
}
]])
    add_executable(${name} ${TEST_SOURCES} "${main}")
    set_source_files_properties("${main}" PROPERTIES SKIP_AUTOMOC ON)
    target_link_libraries(${name} PRIVATE ${TEST_LINKS})
    brindle_use_headers(${name} brindle_test_headers)
    # With exports, the libraries find a test's stand-ins for system calls.
    set_target_properties(${name} PROPERTIES AUTOMOC ON ENABLE_EXPORTS ON)
    foreach(test IN LISTS TEST_TESTS)
        brindle_add_test(${test} ${name} ${test})
    endforeach()
endfunction()

# brindle_add_test(<name> <command…> [VARIABLES <name=value…>]) Registers a command with CTest. All
# tests run without the session's message bus, which knows this desktop's settings, and without the
# portal, because Qt (6.8) leaks a query for it.
function(brindle_add_test name)
    cmake_parse_arguments(TEST "" "" "VARIABLES" ${ARGN})
    add_test(NAME ${name} COMMAND ${TEST_UNPARSED_ARGUMENTS})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;DBUS_SESSION_BUS_ADDRESS=unix:path=/nowhere;QT_NO_XDG_DESKTOP_PORTAL=1;ASAN_OPTIONS=detect_leaks=1;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp;UBSAN_OPTIONS=print_stacktrace=1;${TEST_VARIABLES}")
endfunction()

# brindle_protocol(<target> <client-header | server-header | private-code>…) Adds wayland-scanner's
# files for the protocol xdg-activation-v1 to a target: headers whose names end in "-client-protocol.h"
# or "-server-protocol.h", and their C code.
function(brindle_protocol target)
    find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)
    pkg_get_variable(protocols wayland-protocols pkgdatadir)
    set(description "${protocols}/staging/xdg-activation/xdg-activation-v1.xml")
    foreach(kind IN LISTS ARGN)
        string(REPLACE "-header" "-protocol.h" file "${CMAKE_CURRENT_BINARY_DIR}/xdg-activation-v1-${kind}")
        string(REPLACE "private-code" "protocol.c" file "${file}")
        add_custom_command(
            OUTPUT "${file}"
            COMMAND "${WAYLAND_SCANNER}" ${kind} "${description}" "${file}"
            DEPENDS "${description}")
        # Generated code has warnings.
        set_source_files_properties("${file}" PROPERTIES COMPILE_OPTIONS -w SKIP_PRECOMPILE_HEADERS ON)
        target_sources(${target} PRIVATE "${file}")
    endforeach()
    target_include_directories(${target} SYSTEM PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
endfunction()
