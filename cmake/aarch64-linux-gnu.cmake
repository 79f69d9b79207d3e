# Cross builds for the AArch64 board with Debian's compiler. The libraries are the arm64 packages that scripts/setup --board
# unpacks into a cache folder; programs run on the build machine by user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

if(DEFINED ENV{QUARN_BOARD_CACHE})
  set(quarn_board_cache $ENV{QUARN_BOARD_CACHE})
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(quarn_board_cache $ENV{XDG_CACHE_HOME}/quarn-board)
else()
  set(quarn_board_cache $ENV{HOME}/.cache/quarn-board)
endif()
set(quarn_sysroot ${quarn_board_cache}/sysroot)
if(NOT EXISTS ${quarn_sysroot})
  message(FATAL_ERROR "${quarn_sysroot} does not exist: scripts/setup --board makes it.")
endif()

set(CMAKE_FIND_ROOT_PATH ${quarn_sysroot} /usr/aarch64-linux-gnu)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${quarn_sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${quarn_sysroot}/usr/lib/aarch64-linux-gnu/pkgconfig:${quarn_sysroot}/usr/share/pkgconfig)

set(quarn_library_folders ${quarn_sysroot}/usr/lib/aarch64-linux-gnu:${quarn_sysroot}/lib/aarch64-linux-gnu)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${quarn_library_folders}")
set(CMAKE_CXX_FLAGS_INIT -mcpu=cortex-a53)  # among others: the CRC32 instructions
set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-aarch64-static -cpu cortex-a53 -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH=${quarn_library_folders})
