# Cross build for 64-bit Windows with Debian's mingw-w64 (POSIX thread model, which std::thread
# and std::mutex need); the programs it builds run under Wine through cmake/wine-run.sh.
#
#   cmake -S . -B build/windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
#
# VX_WINE_PREFIX names the Wine prefix the programs run in (default: wineprefix in the build
# tree, created on first use; never ~/.wine).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VX_MINGW_TARGET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VX_MINGW_TARGET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VX_MINGW_TARGET}-g++-posix)
set(CMAKE_RC_COMPILER ${VX_MINGW_TARGET}-windres)

# Headers, libraries and packages of the target only; programs (the build tools) of the host.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${VX_MINGW_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The programs link the compiler's runtime as DLLs (libstdc++-6, libgcc_s_seh-1, libwinpthread-1):
# C++ objects and exceptions cross the boundary of vxUtils.dll, so the DLL and the programs must
# share one C++ runtime. Wine finds these DLLs through the search path the wrapper sets.
set(VX_MINGW_RUNTIME_DIRS "")
foreach(dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(IS_ABSOLUTE "${path}" AND EXISTS "${path}")
        get_filename_component(dir "${path}" DIRECTORY)
        get_filename_component(dir "${dir}" REALPATH)
        list(APPEND VX_MINGW_RUNTIME_DIRS "${dir}")
    endif()
endforeach()

if(NOT VX_WINE_PREFIX)
    set(VX_WINE_PREFIX "${CMAKE_BINARY_DIR}/wineprefix")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh --prefix ${VX_WINE_PREFIX})
foreach(dir IN LISTS VX_MINGW_RUNTIME_DIRS)
    list(APPEND CMAKE_CROSSCOMPILING_EMULATOR --path ${dir})
endforeach()
