# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 Tarnvik AB
#
# Cross build for the device (arm64, Debian 12) on a Debian 12 machine of another architecture,
# with Debian's multiarch packages: crossbuild-essential-arm64 and the :arm64 development
# packages (qtbase5-dev:arm64, libsystemd-dev:arm64, liblouis-dev:arm64). scripts/cross-build.sh
# installs them and uses this file:
#
#   cmake -S . -B build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64-linux-gnu.cmake
#
# Libraries, headers, CMake packages and pkg-config files are the arm64 ones under the multiarch
# folders (/usr/lib/aarch64-linux-gnu, /usr/include/aarch64-linux-gnu); programs that run during
# the build (moc, pkg-config) are the build machine's. Qt's CMake package names
# /usr/lib/qt5/bin/moc, which qtbase5-dev-tools of the build machine provides for any target.
# Test programs run through qemu-user; the arm64 dynamic linker and libraries that multiarch
# installs are where qemu's programs look for them.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${CROSS_TRIPLET})
# GNUInstallDirs picks Debian's multiarch library folder for native builds only.
set(CMAKE_INSTALL_LIBDIR lib/${CROSS_TRIPLET} CACHE PATH "Object code libraries (lib/${CROSS_TRIPLET})")

# With the library architecture set, find_package and find_library search
# /usr/lib/aarch64-linux-gnu and never the build machine's /usr/lib/<its triplet>; find_program
# finds the build machine's programs as usual.

# pkg-config reads the arm64 .pc files only.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

find_program(CROSS_QEMU qemu-aarch64)
if(CROSS_QEMU)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${CROSS_QEMU})
endif()

# The Debian architecture of the packages that cpack makes from this build.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
