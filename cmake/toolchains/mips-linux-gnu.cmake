# 32-bit big-endian MIPS (o32 ABI, glibc), the typical gateway CPU: Debian's
# g++-mips-linux-gnu, run under qemu-mips. Use with
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mips-linux-gnu.cmake ...
set(CMAKE_SYSTEM_PROCESSOR mips)
set(ZVSDP_CROSS_TRIPLE mips-linux-gnu)
set(ZVSDP_CROSS_QEMU mips)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
