# Installs the build into a fresh prefix, then builds and runs an example program against the
# installed package twice: once through find_package(vxUtils), once through pkg-config.
# A broken install rule fails here.
#
# A cross build passes VX_TOOLCHAIN_FILE (the consumer is built with the same toolchain),
# VX_EMULATOR (how its programs run, "|" between the words) and VX_WINE_PREFIX; VX_CXX is the
# compiler of the build.
foreach(var VX_BINARY_DIR VX_EXAMPLE_DIR VX_WORK_DIR VX_GENERATOR)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} is not set")
    endif()
endforeach()

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${VX_WORK_DIR}/prefix)
file(REMOVE_RECURSE ${VX_WORK_DIR})
run(${CMAKE_COMMAND} --install ${VX_BINARY_DIR} --prefix ${prefix})

foreach(f include/vxUtils/vxUtils.h include/vxUtils/vxString.h)
    if(NOT EXISTS ${prefix}/${f})
        message(FATAL_ERROR "installed package lacks ${f}")
    endif()
endforeach()

# The installed tool starts as it is, finding the library through its run path (or, on Windows,
# the DLL beside it).
set(tool ${prefix}/bin/vxutil)
if(VX_TOOLCHAIN_FILE)
    set(tool ${prefix}/bin/vxutil.exe)
endif()
if(EXISTS ${tool})
    if(VX_EMULATOR)
        string(REPLACE "|" ";" toolEmulator "${VX_EMULATOR}")
        run(${toolEmulator} ${tool} --version)
    else()
        run(${tool} --version)
    endif()
    if(NOT LAST_OUTPUT MATCHES "vxutil")
        message(FATAL_ERROR "the installed vxutil printed:\n${LAST_OUTPUT}")
    endif()
endif()

set(cross_options "")
set(emulator "")
set(exe "")
if(VX_TOOLCHAIN_FILE)
    set(exe .exe)
    # The toolchain searches the target's root only; the package prefix becomes one more root.
    set(cross_options -DCMAKE_TOOLCHAIN_FILE=${VX_TOOLCHAIN_FILE} -DCMAKE_FIND_ROOT_PATH=${prefix})
    if(VX_WINE_PREFIX)
        list(APPEND cross_options -DVX_WINE_PREFIX=${VX_WINE_PREFIX})
    endif()
endif()
if(VX_EMULATOR)
    string(REPLACE "|" ";" emulator "${VX_EMULATOR}")
    # The installed DLL lives in bin/, away from the consumer's program.
    list(APPEND emulator --path ${prefix}/bin)
endif()

# 1. The CMake package.
run(${CMAKE_COMMAND} -S ${VX_EXAMPLE_DIR} -B ${VX_WORK_DIR}/cmake-build -G ${VX_GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release ${cross_options})
run(${CMAKE_COMMAND} --build ${VX_WORK_DIR}/cmake-build)
set(ENV{LD_LIBRARY_PATH} "${prefix}/lib:${prefix}/lib64:${prefix}/lib/x86_64-linux-gnu")
run(${emulator} ${VX_WORK_DIR}/cmake-build/hello${exe})
if(NOT LAST_OUTPUT MATCHES "hello from vxUtils")
    message(FATAL_ERROR "the example built with find_package printed:\n${LAST_OUTPUT}")
endif()

# 2. The pkg-config file.
find_program(PKG_CONFIG pkg-config REQUIRED)
if(VX_CXX)
    set(CXX ${VX_CXX})
else()
    find_program(CXX NAMES c++ g++ clang++ REQUIRED)
endif()
file(GLOB_RECURSE pcfile ${prefix}/vxutils.pc)
if(NOT pcfile)
    message(FATAL_ERROR "installed package lacks vxutils.pc")
endif()
get_filename_component(pcdir ${pcfile} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(${PKG_CONFIG} --cflags --libs vxutils)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${VX_EXAMPLE_DIR}/hello.cpp -o ${VX_WORK_DIR}/hello-pc${exe} ${flags})
run(${emulator} ${VX_WORK_DIR}/hello-pc${exe})
if(NOT LAST_OUTPUT MATCHES "hello from vxUtils")
    message(FATAL_ERROR "the example built with pkg-config printed:\n${LAST_OUTPUT}")
endif()
message(STATUS "installed package works through find_package and pkg-config")
