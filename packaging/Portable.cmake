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

# Wayland's desktops show X11's windows too.
file(COPY "${QT_PLUGINS}/platforms/libqxcb.so" DESTINATION "${plugins}/platforms")
file(COPY "${QT_PLUGINS}/platforminputcontexts/" DESTINATION "${plugins}/platforminputcontexts")
foreach(module QtQml QtQml/Models QtQml/WorkerScript QtQuick QtQuick/Templates QtQuick/Window)
    file(GLOB parts "${QT_QML}/${module}/qmldir" "${QT_QML}/${module}/*.so")
    if(NOT parts)
        message(FATAL_ERROR "QML module not found: ${module}")
    endif()
    file(COPY ${parts} DESTINATION "${qml}/${module}")
endforeach()
# Where Qt looks for them, seen from the program's folder (Qt's documentation, "Using qt.conf").
file(WRITE "${TREE}/bin/qt.conf"
    "[Paths]\nPrefix=..\nPlugins=lib/brindle/plugins\nQmlImports=lib/brindle/qml\n")

file(GLOB_RECURSE loaded "${plugins}/*.so" "${qml}/*.so")
set(programs "${TREE}/bin/brindle" "${TREE}/libexec/brindle/ditto")

# What every desktop has, and what must be the system's own because it talks to the system's
# services, drivers and settings.
set(of_the_system
    ld-linux.* libc libm libdl libpthread librt libresolv libutil libgcc_s libstdc\\+\\+
    libGL libEGL libGLX libGLdispatch libOpenGL libdrm libgbm libvulkan
    libX11 libX11-xcb libXau libXdmcp libxcb libICE libSM libwayland-.*
    libfontconfig libfreetype libharfbuzz libexpat libz libuuid libcom_err libudev libsystemd
    libglib-2 libgobject-2 libgio-2 libgmodule-2 libdbus-1 libp11-kit libgmp libnsl libcap
    libselinux libblkid libmount)
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
