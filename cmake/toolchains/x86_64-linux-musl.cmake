# x86-64 on musl, the small C library nearest to the gateways' uClibc that
# Debian packages: musl-tools' musl-gcc wrapper runs gcc on musl's headers,
# start files, libc.so and dynamic loader (/lib/ld-musl-x86_64.so.1). The programs
# run on the build machine as they are, no emulator. Use with
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/x86_64-linux-musl.cmake ...
#
# Debian builds no C++ library for musl, and the libraries need none: they
# include only C headers and use no piece of the C++ runtime. So gcc, not g++,
# drives the C++ compiler (the wrapper runs gcc for both languages): it
# compiles .cc files as C++ but links neither
# libstdc++ nor libsupc++, whose glibc builds would bring glibc code in. Code
# that comes to need a runtime symbol (operator new, __cxa_*) fails to link
# (-z defs) instead of running glibc's copy on musl.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZVSDP_MUSL_TRIPLE x86_64-linux-musl)
find_program(ZVSDP_MUSL_GCC musl-gcc)
if(NOT ZVSDP_MUSL_GCC)
  message(FATAL_ERROR "musl-gcc is missing: apt-get install musl-tools")
endif()

set(CMAKE_C_COMPILER ${ZVSDP_MUSL_GCC})
set(CMAKE_CXX_COMPILER ${ZVSDP_MUSL_GCC})

# Nothing of the build machine's glibc world may be found: libraries and
# packages are looked for only under musl's folder (and under the prefixes of
# target libraries built for musl, passed in -DCMAKE_FIND_ROOT_PATH=...), and
# pkg-config reads only musl's folder too.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/lib/${ZVSDP_MUSL_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${ZVSDP_MUSL_TRIPLE}/pkgconfig)

# No GoogleTest without a C++ library: the tests of this tree are the C ones.
set(ZVSDP_TARGET_HAS_CXX_LIBRARY OFF)
