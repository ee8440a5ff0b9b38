# 32 bits, on the same machine (package g++-12-multilib, which goes together with the compilers for
# other processors; g++-multilib does not). The kernel's headers are where those for 64 bits are.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_CXX_COMPILER g++-12)
set(CMAKE_CXX_FLAGS_INIT "-m32 -isystem /usr/include/x86_64-linux-gnu")
set(MVK_LIB lib32) # the loader's $LIB
