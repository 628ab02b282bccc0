# The command zig, in the path: a Clang with the headers and libraries of C and C++ for each target.
set(CMAKE_C_COMPILER zig cc --target=${target})
set(CMAKE_CXX_COMPILER zig c++ --target=${target})
