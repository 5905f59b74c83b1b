# Puts the libraries, plugins and QML modules that an installed tree needs beside its programs, so
# that it runs from any folder of any system that is not older than this one and has a display.
#
# usage: cmake -DTREE=<installed prefix> -DQT_PLUGINS=<folder> -DQT_QML=<folder> -P Portable.cmake
cmake_minimum_required(VERSION 3.25)

foreach(variable TREE QT_PLUGINS QT_QML)
    if(NOT IS_DIRECTORY "${${variable}}")
        message(FATAL_ERROR "${variable} is not a folder: \"${${variable}}\"")
    endif()
endforeach()
find_program(patchelf patchelf REQUIRED)

set(libraries "${TREE}/lib/brindle")
set(plugins "${libraries}/plugins")
set(qml "${libraries}/qml")
file(MAKE_DIRECTORY "${libraries}")

# Both ways to a screen. The launcher draws by the processor: Qt's ways to OpenGL stay behind.
set(ways_to_a_screen
    platforms/libqxcb.so platforms/libqwayland-generic.so
    wayland-shell-integration/libxdg-shell.so wayland-decoration-client/libbradient.so)
foreach(plugin ${ways_to_a_screen})
    get_filename_component(folder "${plugin}" DIRECTORY)
    file(COPY "${QT_PLUGINS}/${plugin}" DESTINATION "${plugins}/${folder}")
endforeach()
file(COPY "${QT_PLUGINS}/platforminputcontexts/" DESTINATION "${plugins}/platforminputcontexts")
foreach(module QtQml QtQml/Models QtQml/WorkerScript QtQuick QtQuick/Templates QtQuick/Window)
    file(GLOB parts "${QT_QML}/${module}/qmldir" "${QT_QML}/${module}/*.so")
    if(NOT parts)
        message(FATAL_ERROR "QML module not found: ${module}")
    endif()
    file(COPY ${parts} DESTINATION "${qml}/${module}")
endforeach()

# What players start is a script in front, which tells what the system lacks.
file(RENAME "${TREE}/bin/brindle" "${TREE}/libexec/brindle/brindle")
set(programs "${TREE}/libexec/brindle/brindle" "${TREE}/libexec/brindle/ditto")
execute_process(COMMAND "${patchelf}" --print-interpreter "${TREE}/libexec/brindle/brindle"
    OUTPUT_VARIABLE loader OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/portable/brindle.in" "${TREE}/bin/brindle" @ONLY
    USE_SOURCE_PERMISSIONS)
file(COPY "${CMAKE_CURRENT_LIST_DIR}/portable/brindle-desktop-entry" DESTINATION "${TREE}/bin"
    USE_SOURCE_PERMISSIONS)
# Where Qt looks for them, seen from the program's folder (Qt's documentation, "Using qt.conf").
file(WRITE "${TREE}/libexec/brindle/qt.conf"
    "[Paths]\nPrefix=../..\nPlugins=lib/brindle/plugins\nQmlImports=lib/brindle/qml\nData=lib/brindle\n")
# Qt would warn that its way from Wayland to OpenGL is not there. What ends a start is told all the same.
file(WRITE "${libraries}/qtlogging.ini" "[Rules]\nqt.qpa.wayland.warning=false\n")

file(GLOB_RECURSE loaded "${plugins}/*.so" "${qml}/*.so")

# What every desktop has, and what must be the system's own because it talks to the system's
# services and settings. Qt is linked with OpenGL's four dispatching libraries, which load a driver
# when they are first called: never here. So ours, all four from one release, go with any driver.
set(of_the_system
    ld-linux.* libc libm libdl libpthread librt libresolv libutil libgcc_s libstdc\\+\\+
    libX11 libX11-xcb libXau libXdmcp libxcb
    libfontconfig libfreetype libharfbuzz libexpat libz libuuid libudev libsystemd
    libglib-2 libgobject-2 libgio-2 libgmodule-2 libdbus-1 libnsl libcap libselinux libblkid libmount)
list(TRANSFORM of_the_system APPEND "\\.(so|0\\.so).*")
list(TRANSFORM of_the_system PREPEND "^")
file(GET_RUNTIME_DEPENDENCIES
    EXECUTABLES ${programs}
    MODULES ${loaded}
    RESOLVED_DEPENDENCIES_VAR needed
    UNRESOLVED_DEPENDENCIES_VAR missing
    PRE_EXCLUDE_REGEXES ${of_the_system})
if(missing)
    message(FATAL_ERROR "Not found: ${missing}")
endif()
foreach(library ${needed})
    file(INSTALL "${library}" DESTINATION "${libraries}" FOLLOW_SYMLINK_CHAIN)
endforeach()

# Unlike a variable in the environment, these are not inherited by the engine.
foreach(object ${programs} ${loaded})
    get_filename_component(folder "${object}" DIRECTORY)
    file(RELATIVE_PATH way "${folder}" "${libraries}")
    execute_process(COMMAND "${patchelf}" --set-rpath "$ORIGIN/${way}" "${object}"
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB gathered "${libraries}/*.so*")
foreach(object ${gathered})
    if(NOT IS_SYMLINK "${object}")
        execute_process(COMMAND "${patchelf}" --set-rpath "$ORIGIN" "${object}"
            COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()

# Their licences ask to be told.
find_program(dpkg_query dpkg-query)
if(dpkg_query)
    foreach(library ${needed})
        file(REAL_PATH "${library}" real)
        # Merged systems know files by either of two names.
        string(REGEX REPLACE "^/usr/lib/" "/lib/" other "${real}")
        execute_process(COMMAND "${dpkg_query}" -S "${real}" "${other}"
            OUTPUT_VARIABLE owner ERROR_QUIET)
        if(owner MATCHES "^([^:]+):")
            file(COPY "/usr/share/doc/${CMAKE_MATCH_1}/copyright"
                DESTINATION "${TREE}/share/doc/brindle/${CMAKE_MATCH_1}" FOLLOW_SYMLINK_CHAIN)
        else()
            message(WARNING "No licence found: ${library}")
        endif()
    endforeach()
endif()
