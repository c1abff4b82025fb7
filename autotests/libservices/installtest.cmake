# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Installs the built library into a fresh prefix, then builds and runs a consumer against it twice:
# through the CMake package and through pkg-config.
# Takes LIBSERVICES_BUILD_DIR, CONSUMER_SOURCE_DIR, WORK_DIR, CXX_COMPILER.
# The pkg-config consumer gets exactly the flags pkg-config gives, nothing added here.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "Failed (${result}): ${ARGN}\n${out}")
    endif()
    set(output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${LIBSERVICES_BUILD_DIR} --prefix ${prefix})

run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/cmake-consumer
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-consumer)
run(${WORK_DIR}/cmake-consumer/consumer)
message(STATUS "CMake package: ${output}")

file(GLOB_RECURSE pcfile ${prefix}/libservices.pc)
if(NOT pcfile)
    message(FATAL_ERROR "No libservices.pc under ${prefix}")
endif()
get_filename_component(pcdir ${pcfile} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pcdir})
run(pkg-config --cflags --libs libservices)
string(STRIP "${output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(pkg-config --variable=libdir libservices)
string(STRIP "${output}" libdir)
run(${CXX_COMPILER} -std=c++17 ${CONSUMER_SOURCE_DIR}/main.cpp ${flags}
    -o ${WORK_DIR}/pkgconfig-consumer)
# Found at run time the way an installed library would be, not through a link flag of ours.
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir} ${WORK_DIR}/pkgconfig-consumer)
message(STATUS "pkg-config: ${output}")
