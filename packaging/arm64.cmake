# Compiles for 64-bit Arm with this system's clang and Qt tools, against Debian's packages for arm64.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)
set(CMAKE_STRIP aarch64-linux-gnu-strip)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)

# See Qt's documentation, "Cross-compiling Qt".
set(QT_HOST_PATH /usr)
file(GLOB tools "/usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu/cmake/Qt6*Tools")
foreach(folder ${tools})
    get_filename_component(name "${folder}" NAME)
    set(${name}_DIR "${folder}" CACHE PATH "")
endforeach()
