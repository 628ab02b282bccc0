# macOS on ARM64; what it makes can be linked here, and not run.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(target aarch64-macos)
include("${CMAKE_CURRENT_LIST_DIR}/zig.cmake")
set(CMAKE_INSTALL_NAME_TOOL true) # nothing is installed
