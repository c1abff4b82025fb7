# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# project_add_test(<name> [SOURCES <file>...] [LINK <target>...] [DEFINITIONS <def>...]
#                  [DEPENDS <target>...] [FUNCTIONS <function>...] [TIMEOUT <seconds>])
#
# One QtTest executable, registered with CTest. SOURCES defaults to <name>.cpp. With FUNCTIONS,
# each test function becomes a CTest entry of its own, named <name>_<function>, so that each gets
# the whole TIMEOUT; without, the executable is one entry.
function(project_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LINK;DEFINITIONS;DEPENDS;FUNCTIONS")
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
    set(entries)
    if(arg_FUNCTIONS)
        foreach(function ${arg_FUNCTIONS})
            add_test(NAME ${name}_${function} COMMAND ${name} ${function})
            list(APPEND entries ${name}_${function})
        endforeach()
    else()
        add_test(NAME ${name} COMMAND ${name})
        set(entries ${name})
    endif()
    if(arg_TIMEOUT)
        set_tests_properties(${entries} PROPERTIES TIMEOUT ${arg_TIMEOUT})
    endif()
endfunction()
