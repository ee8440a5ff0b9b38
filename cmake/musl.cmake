# The executable on musl, static (package musl-tools): cmake --build ... --target mvk. The C++
# compiler takes musl's headers and library by its specs; behind its headers come the kernel's own.
set(CMAKE_CXX_COMPILER g++-12)
set(CMAKE_CXX_FLAGS_INIT "-specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs -static\
  -idirafter /usr/include -idirafter /usr/include/x86_64-linux-gnu")
