# Cross-builds for 64-bit ARM Linux with Debian's cross compiler (g++-aarch64-linux-gnu) and
# runs what it builds under user-mode qemu (qemu-user), whose default processor has the CRC32
# and PMULL instructions. Used by the aarch64 preset.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries come from the target's tree only; CLI11, nlohmann-json and GoogleTest's sources
# are architecture-free and found where the host keeps them.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# ctest, and GoogleTest's discovery of the test names, run the binaries through this.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
