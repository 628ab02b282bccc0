# musl on x86-64, linked statically.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(target x86_64-linux-musl)
include("${CMAKE_CURRENT_LIST_DIR}/zig.cmake")
