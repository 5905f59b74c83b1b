# Compiles for 64-bit Arm with this system's clang and Qt tools, against the Debian of the same release
# in the folder that BRINDLE_SYSROOT names. What the build runs of its own making runs in qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_SYSROOT "$ENV{BRINDLE_SYSROOT}")
if(NOT IS_DIRECTORY "${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu")
    message(FATAL_ERROR "BRINDLE_SYSROOT is no Debian for arm64: \"${CMAKE_SYSROOT}\"")
endif()

set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)
# In there, too: packages are put together there.
set(CMAKE_STRIP /usr/bin/strip)
set(CMAKE_READELF /usr/bin/readelf)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L "${CMAKE_SYSROOT}")

set(CMAKE_FIND_ROOT_PATH "${CMAKE_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# Qt's tools are this system's own, as Qt's documentation has it ("Cross-compiling Qt").
set(QT_HOST_PATH /usr)
file(GLOB tools "/usr/lib/*-linux-gnu/cmake/Qt6*Tools")
foreach(folder ${tools})
    get_filename_component(name "${folder}" NAME)
    set(${name}_DIR "${folder}" CACHE PATH "")
endforeach()
