# s390x: 64 bits, big endian (package g++-12-s390x-linux-gnu), run by qemu (qemu-user-static).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++-12)
foreach(compiler "" CXX_COMPILER_) # link-time optimisation needs the plugin
  set(CMAKE_${compiler}AR s390x-linux-gnu-gcc-ar-12)
  set(CMAKE_${compiler}RANLIB s390x-linux-gnu-gcc-ranlib-12)
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static -L /usr/s390x-linux-gnu)
set(MVK_LIB lib/s390x-linux-gnu) # the loader's $LIB
