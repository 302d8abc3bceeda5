# A stand-in for the NDK's file of this name, enough to compile with: the same variables and flags, Debian's clang, and a
# sysroot (compile_proof.py makes it) beside it instead of the NDK's. Nothing else is searched for headers.
set(CMAKE_SYSTEM_NAME Android)
set(CMAKE_SYSTEM_VERSION 1)  # keeps CMake's own search for an NDK away
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ANDROID TRUE)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
string(REPLACE "android-" "" api "${ANDROID_PLATFORM}")
set(CMAKE_C_COMPILER_TARGET aarch64-linux-android${api})
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-android${api})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # there is nothing to link with
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ANDROID_PLATFORM)

get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../../sysroot REALPATH)
set(CMAKE_FIND_ROOT_PATH ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

set(flags "-g -DANDROID -fdata-sections -ffunction-sections -funwind-tables -fstack-protector-strong -no-canonical-prefixes \
-D_FORTIFY_SOURCE=2 -Wformat -Werror=format-security -nostdinc")
set(includes "-isystem ${sysroot}/clang -isystem ${sysroot}/usr/include")
set(CMAKE_C_FLAGS_INIT "${flags} ${includes}")
set(CMAKE_CXX_FLAGS_INIT "${flags} -nostdinc++ -isystem ${sysroot}/usr/include/c++/v1 ${includes}")
