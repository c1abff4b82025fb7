# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 Tarnvik AB
#
# Debian's hardening flags (as dpkg-buildflags gives them) and reproducible output, for every
# target defined after this file is included.
#
# - Stack protector, format checks, _FORTIFY_SOURCE=2 (optimised builds only: it needs -O, and it
#   would hide overflows from AddressSanitizer's own checks), read-only relocations after start-up.
# - HARDENING_BIND_NOW adds -z now (full RELRO): every imported symbol is bound at start-up.
#   docs/performance.md has what that costs a run of the tool.
# - The source and build folders are mapped away in __FILE__ and the debug information, so that
#   a log message's %{file} reads src/main.cpp and two builds of the same sources in different
#   folders give the same binaries (once stripped; the build ID in them covers the debug
#   information too). The build tree's RPATH is relative ($ORIGIN) for the same reason;
#   installed binaries carry none.

option(ENABLE_HARDENING "Compile and link with Debian's hardening flags" ON)
option(HARDENING_BIND_NOW "Link with -z now (full RELRO)" ON)

if(ENABLE_HARDENING AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security -Wdate-time)
    if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
        # Some compilers define it already; ours is the one that counts.
        add_compile_options(
            "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()
    add_link_options(LINKER:-z,relro)
    if(HARDENING_BIND_NOW)
        add_link_options(LINKER:-z,now)
    endif()
endif()

# GCC tries the maps given last first: the build folder's comes last, so that its longer prefix
# wins when it lies inside the source folder.
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    add_compile_options(
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
        -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
endif()
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# moc's output includes its header by the path below an include folder of the target, not by
# one relative to the build folder, which would carry the folders' distance into the debug
# information.
set(CMAKE_AUTOMOC_PATH_PREFIX ON)
