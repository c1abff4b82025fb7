# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 Tarnvik AB
#
# Run by CPack after the packages are built (CPACK_POST_BUILD_SCRIPTS): the debug information of
# every packaged program and library, which the packages carry stripped, goes into one archive
# beside them, laid out as gdb looks for it by build ID:
#
#   command-parser-dbgsym_VERSION_ARCH.tar.xz
#     usr/lib/debug/.build-id/ab/cdef….debug
#
# Unpacked in / (or with gdb's debug-file-directory pointing into it), gdb finds it by itself.

file(STRINGS "${CPACK_DEBUG_SYMBOLS_LIST}" binaries)
set(stage "${CPACK_TOPLEVEL_DIRECTORY}/debug-symbols")
file(REMOVE_RECURSE "${stage}")

set(members)
foreach(binary IN LISTS binaries)
    execute_process(COMMAND ${CPACK_READELF_EXECUTABLE} --notes "${binary}"
        OUTPUT_VARIABLE notes RESULT_VARIABLE result)
    if(NOT result EQUAL 0 OR NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
        message(FATAL_ERROR "debug-symbols: no build ID in ${binary}")
    endif()
    set(member "usr/lib/debug/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug")
    get_filename_component(dir "${stage}/${member}" DIRECTORY)
    file(MAKE_DIRECTORY "${dir}")
    execute_process(
        COMMAND ${CPACK_OBJCOPY_EXECUTABLE} --only-keep-debug --compress-debug-sections=zlib
            "${binary}" "${stage}/${member}"
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "debug-symbols: objcopy failed on ${binary}")
    endif()
    list(APPEND members "${member}")
endforeach()
list(SORT members)

set(archive
    "${CPACK_PACKAGE_DIRECTORY}/command-parser-dbgsym_${CPACK_PACKAGE_VERSION}_${CPACK_DEBIAN_PACKAGE_ARCHITECTURE}.tar.xz")
# Fixed times, owner and order, so that the same binaries give the same archive.
execute_process(
    COMMAND tar --create --xz --file "${archive}" --sort=name --owner=0 --group=0 --numeric-owner
        --mtime=@0 --mode=go-w ${members}
    WORKING_DIRECTORY "${stage}"
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "debug-symbols: could not write ${archive}")
endif()
message(STATUS "debug-symbols: ${archive}")
