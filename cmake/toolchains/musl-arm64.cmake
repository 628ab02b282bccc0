# musl on 64-bit ARM, linked statically.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(target aarch64-linux-musl)
include("${CMAKE_CURRENT_LIST_DIR}/zig.cmake")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
