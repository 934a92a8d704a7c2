# Shared part of the Debian cross toolchains. The including file sets
# ZVSDP_CROSS_TRIPLE (compiler prefix, also the name of Debian's target
# folder /usr/<triple>) and ZVSDP_CROSS_QEMU (the qemu-user binary's suffix).
#
# Target libraries built outside this tree (a cross GoogleTest, a gateway's
# platform libraries) are found by passing their install prefixes in
# -DCMAKE_FIND_ROOT_PATH=...; the target's own C library folder is added here.

set(CMAKE_SYSTEM_NAME Linux)

set(CMAKE_C_COMPILER ${ZVSDP_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ZVSDP_CROSS_TRIPLE}-g++)

set(ZVSDP_CROSS_SYSROOT /usr/${ZVSDP_CROSS_TRIPLE})
list(APPEND CMAKE_FIND_ROOT_PATH ${ZVSDP_CROSS_SYSROOT})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)

# Host programs, target libraries, headers and packages: never the build
# machine's x86-64 GoogleTest or libraries by mistake.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Lets ctest and gtest_discover_tests run target programs on the build
# machine. -L points the emulated dynamic loader at the target's C library;
# the build tree's own libraries come through their RPATH.
if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(ZVSDP_QEMU_${ZVSDP_CROSS_QEMU}
    NAMES qemu-${ZVSDP_CROSS_QEMU} qemu-${ZVSDP_CROSS_QEMU}-static
    NO_CMAKE_FIND_ROOT_PATH)
  if(ZVSDP_QEMU_${ZVSDP_CROSS_QEMU})
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZVSDP_QEMU_${ZVSDP_CROSS_QEMU}} -L ${ZVSDP_CROSS_SYSROOT})
  endif()
endif()
