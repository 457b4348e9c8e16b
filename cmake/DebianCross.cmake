# A toolchain file: compiles for the processor ZENTARA_ARCH (arm64, i386) with Debian's cross
# compiler and with the libraries that `scripts/bootstrap arm64` or `i386` has unpacked. Programs
# load those very libraries, so that they run on a system where nothing of that processor is
# installed; arm64 by means of qemu, i386 on an x86-64 kernel as it is.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZENTARA_ARCH)

if(ZENTARA_ARCH STREQUAL "arm64")
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(compiler aarch64-linux-gnu)
    set(libraries aarch64-linux-gnu)
    set(dynamic_linker ld-linux-aarch64.so.1)
    find_program(ZENTARA_QEMU qemu-aarch64-static REQUIRED)
    mark_as_advanced(ZENTARA_QEMU)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${ZENTARA_QEMU}")
elseif(ZENTARA_ARCH STREQUAL "i386")
    set(CMAKE_SYSTEM_PROCESSOR i686)
    set(compiler i686-linux-gnu)
    set(libraries i386-linux-gnu)
    set(dynamic_linker ld-linux.so.2)
    # Every x86 processor of today has SSE2. The older unit for floating point computes with more
    # than 64 bits, and so prints some numbers in another way.
    set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
else()
    message(FATAL_ERROR "ZENTARA_ARCH is arm64 or i386, not \"${ZENTARA_ARCH}\"")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${compiler}-gcc)
set(CMAKE_CXX_COMPILER ${compiler}-g++)
cmake_path(SET CMAKE_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/sysroots/${ZENTARA_ARCH}")
if(NOT IS_DIRECTORY "${CMAKE_SYSROOT}")
    message(FATAL_ERROR "${CMAKE_SYSROOT} is missing: run scripts/bootstrap ${ZENTARA_ARCH}")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE ${libraries})
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${libraries}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# Libraries look for their own where DT_RPATH says, not where the newer DT_RUNPATH does.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/${dynamic_linker} \
-Wl,--disable-new-dtags -Wl,-rpath,${CMAKE_SYSROOT}/usr/lib/${libraries}")
