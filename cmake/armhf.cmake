# 32-bit ARM hard-float. The armhf libraries come from a sysroot that lab/armhf-sysroot unpacks (see docs/cross.md);
# KAVO_ARMHF_SYSROOT names it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

if(NOT DEFINED KAVO_ARMHF_SYSROOT)
    if(DEFINED ENV{KAVO_ARMHF_SYSROOT})
        set(KAVO_ARMHF_SYSROOT $ENV{KAVO_ARMHF_SYSROOT})
    else()
        set(KAVO_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot)
    endif()
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KAVO_ARMHF_SYSROOT)

set(CMAKE_FIND_ROOT_PATH ${KAVO_ARMHF_SYSROOT} ${KAVO_ARMHF_SYSROOT}/usr)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(kavo_armhf_libs
    ${KAVO_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf ${KAVO_ARMHF_SYSROOT}/lib/arm-linux-gnueabihf)
foreach(dir IN LISTS kavo_armhf_libs)
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -L${dir} -Wl,-rpath-link,${dir}")
    string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -L${dir} -Wl,-rpath-link,${dir}")
endforeach()
string(REPLACE ";" ":" kavo_armhf_path "${kavo_armhf_libs}")
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-arm-static -L /usr/arm-linux-gnueabihf -E LD_LIBRARY_PATH=${kavo_armhf_path}:/usr/arm-linux-gnueabihf/lib)
