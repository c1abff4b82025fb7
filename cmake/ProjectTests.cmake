# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# project_add_test(<name> [SOURCES <file>...] [LINK <target>...] [DEFINITIONS <def>...]
#                  [DEPENDS <target>...] [FUNCTIONS <function>...] [TIMEOUT <seconds>]
#                  [COMMAND <program> <argument>...] [SKIPPABLE])
#
# One test, registered with CTest. By default a QtTest executable built from SOURCES (<name>.cpp
# when none is given). With FUNCTIONS, each test function becomes a CTest entry of its own, named
# <name>_<function>, so that each gets the whole TIMEOUT; without, the executable is one entry.
# With COMMAND, nothing is built: the test is that command (a script that drives programs from
# outside, such as shells, browsers or other users). SKIPPABLE: exit status 77 reports the test
# as skipped, for a test whose tools may be missing.
function(project_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SKIPPABLE" "TIMEOUT"
                          "SOURCES;LINK;DEFINITIONS;DEPENDS;FUNCTIONS;COMMAND")
    set(entries)
    if(arg_COMMAND)
        add_test(NAME ${name} COMMAND ${arg_COMMAND})
        set(entries ${name})
    else()
        if(NOT arg_SOURCES)
            set(arg_SOURCES ${name}.cpp)
        endif()
        add_executable(${name} ${arg_SOURCES})
        target_link_libraries(${name} PRIVATE project_defaults Qt5::Test ${arg_LINK})
        if(arg_DEFINITIONS)
            target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
        endif()
        if(arg_DEPENDS)
            add_dependencies(${name} ${arg_DEPENDS})
        endif()
        if(arg_FUNCTIONS)
            foreach(function ${arg_FUNCTIONS})
                add_test(NAME ${name}_${function} COMMAND ${name} ${function})
                list(APPEND entries ${name}_${function})
            endforeach()
        else()
            add_test(NAME ${name} COMMAND ${name})
            set(entries ${name})
        endif()
    endif()
    if(arg_TIMEOUT)
        set_tests_properties(${entries} PROPERTIES TIMEOUT ${arg_TIMEOUT})
    endif()
    if(arg_SKIPPABLE)
        set_tests_properties(${entries} PROPERTIES SKIP_RETURN_CODE 77)
    endif()
endfunction()
