# musl on 32-bit ARM, linked statically.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(target arm-linux-musleabihf)
include("${CMAKE_CURRENT_LIST_DIR}/zig.cmake")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm)
