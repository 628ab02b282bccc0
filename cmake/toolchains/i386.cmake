# 32 bits on an x86-64 machine, whose kernel headers serve both.
set(kernel_headers -idirafter /usr/include/x86_64-linux-gnu)
set(CMAKE_C_COMPILER gcc -m32 ${kernel_headers})
set(CMAKE_CXX_COMPILER g++ -m32 ${kernel_headers})
