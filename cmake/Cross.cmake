# What the toolchain files have in common; they set CROSS_TRIPLET and CMAKE_SYSTEM_PROCESSOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${CROSS_TRIPLET})

# Multiarch: headers are common, libraries have a folder of their own. Programs come from the build
# host.
set(CMAKE_FIND_ROOT_PATH /usr/${CROSS_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# Without it pkg-config finds the build host's libraries first.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig)

# Tests run under the emulator, which finds the multiarch libraries by itself.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR}-static)
