#!/usr/bin/env bash
# Builds Qt for Windows: build_qt.sh SOURCE WORK INSTALL. WORK may hold an interrupted build, which
# goes on; INSTALL is there only when it is whole.
set -euo pipefail
source_folder=$1 work=$2 install=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# Nothing in the libraries tells where they were built; their CMake files find each other by
# where they stand.
prefix=/opt/vellumix-qt
flags="-ffile-prefix-map=$source_folder=qtbase -ffile-prefix-map=$work=qtbase-build"

cmake -G Ninja -S "$source_folder" -B "$work/build" \
    -C "$here/qt_features.cmake" \
    -DCMAKE_TOOLCHAIN_FILE="$here/mingw-w64.cmake" \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags -fno-ipa-ra" \
    -DCMAKE_INSTALL_PREFIX=$prefix
cmake --build "$work/build"
rm -rf "$work/root"
DESTDIR="$work/root" cmake --install "$work/build" >"$work/install.log"
mkdir -p "$work/root$prefix/share/licences"
cp "$source_folder"/LICENSES/* "$source_folder/debian/copyright" "$work/root$prefix/share/licences/"
mv "$work/root$prefix" "$install"
