# Puts libraries, plugins and QML modules beside the programs of an installed tree. The tree then runs
# from any folder, on any desktop that is not older than this system.
#
# usage: cmake -DTREE=<installed prefix> -P Portable.cmake
cmake_minimum_required(VERSION 3.25)

find_program(patchelf patchelf REQUIRED)
foreach(folder PLUGINS QML)
    execute_process(COMMAND qtpaths6 --query QT_INSTALL_${folder}
        OUTPUT_VARIABLE QT_${folder} OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endforeach()

set(libraries "${TREE}/lib/brindle")
set(plugins "${libraries}/plugins")
set(qml "${libraries}/qml")
file(MAKE_DIRECTORY "${libraries}")

# Plugins for X11 and Wayland. OpenGL's plugins are not needed, because the launcher draws without it.
foreach(plugin platforms/libqxcb.so platforms/libqwayland-generic.so
        wayland-shell-integration/libxdg-shell.so wayland-decoration-client/libbradient.so)
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

# Players start a script, which names libraries that the system lacks.
file(RENAME "${TREE}/bin/brindle" "${TREE}/libexec/brindle/brindle")
set(programs "${TREE}/libexec/brindle/brindle" "${TREE}/libexec/brindle/ditto")
execute_process(COMMAND "${patchelf}" --print-interpreter "${TREE}/libexec/brindle/brindle"
    OUTPUT_VARIABLE loader OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/portable/brindle.in" "${TREE}/bin/brindle" @ONLY
    USE_SOURCE_PERMISSIONS)
file(COPY "${CMAKE_CURRENT_LIST_DIR}/portable/brindle-desktop-entry" DESTINATION "${TREE}/bin"
    USE_SOURCE_PERMISSIONS)
# See Qt's documentation, "Using qt.conf".
file(WRITE "${TREE}/libexec/brindle/qt.conf"
    "[Paths]\nPrefix=../..\nPlugins=lib/brindle/plugins\nQmlImports=lib/brindle/qml\nData=lib/brindle\n")
# Otherwise Qt warns that its Wayland plugin for OpenGL is missing.
file(WRITE "${libraries}/qtlogging.ini" "[Rules]\nqt.qpa.wayland.warning=false\n")

file(GLOB_RECURSE loaded "${plugins}/*.so" "${qml}/*.so")

# Leave out libraries that every desktop has; several of them depend on their system's services and
# settings. Take along OpenGL's four dispatching libraries, because Qt is linked with them. They load a
# driver at the first call only, and the launcher makes none.
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

# Set the libraries' path in the files, because the engine would inherit LD_LIBRARY_PATH.
file(GLOB_RECURSE objects "${libraries}/*.so*")
foreach(object ${programs} ${objects})
    if(NOT IS_SYMLINK "${object}")
        get_filename_component(folder "${object}" DIRECTORY)
        file(RELATIVE_PATH path "${folder}" "${libraries}")
        execute_process(COMMAND "${patchelf}" --set-rpath "$ORIGIN/${path}" "${object}"
            COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()

# The libraries' licences ask for a copy.
foreach(library ${needed})
    file(REAL_PATH "${library}" real)
    # With a merged /usr, dpkg may know a file by either name.
    string(REGEX REPLACE "^/usr/lib/" "/lib/" other "${real}")
    execute_process(COMMAND dpkg-query -S "${real}" "${other}" OUTPUT_VARIABLE owner ERROR_QUIET)
    if(NOT owner MATCHES "^([^:]+):")
        message(FATAL_ERROR "No licence found: ${library}")
    endif()
    file(COPY "/usr/share/doc/${CMAKE_MATCH_1}/copyright"
        DESTINATION "${TREE}/share/doc/brindle/${CMAKE_MATCH_1}" FOLLOW_SYMLINK_CHAIN)
endforeach()
