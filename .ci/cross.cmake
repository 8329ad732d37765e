# A build for another architecture with Debian's cross compiler and a tree of that architecture's
# packages. The environment names them: see .ci/cross.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR $ENV{CROSS_PROCESSOR})
set(CMAKE_C_COMPILER $ENV{CROSS_COMPILER}-gcc)
set(CMAKE_CXX_COMPILER $ENV{CROSS_COMPILER}-g++)
set(CMAKE_SYSROOT $ENV{CROSS_SYSROOT})
set(CMAKE_CROSSCOMPILING_EMULATOR $ENV{CROSS_EMULATOR} -L $ENV{CROSS_SYSROOT})
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
