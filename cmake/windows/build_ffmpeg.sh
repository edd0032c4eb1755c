#!/usr/bin/env bash
# Builds FFmpeg for Windows, by its LGPL configuration: build_ffmpeg.sh SOURCE WORK INSTALL. WORK
# may hold an interrupted build, which goes on; INSTALL is there only when it is whole.
set -euo pipefail
source_folder=$1 work=$2 install=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# The libraries tell by which options they were configured: none of them names a place of the
# machine that built them.
prefix=/opt/vellumix-ffmpeg
options=(
    --target-os=mingw32 --arch=x86_64 --enable-cross-compile
    --cross-prefix=x86_64-w64-mingw32- --cc=x86_64-w64-mingw32-gcc-posix
    --prefix=$prefix
    --enable-static --disable-shared --disable-debug --disable-doc
    --disable-autodetect --enable-zlib --enable-w32threads --disable-pthreads
    --disable-network --disable-avdevice --disable-postproc
    --disable-everything
    --disable-ffplay --disable-ffprobe
    --extra-ldflags=-static
)
while read -r kind names; do
    case $kind in
    '' | '#'*) continue ;;
    esac
    for name in $names; do
        if [ "$name" = all ]; then
            options+=("--enable-${kind}s")
        else
            options+=("--enable-$kind=$name")
        fi
    done
done <"$here/ffmpeg_components"

mkdir -p "$work/build"
cd "$work/build"
if [ ! -f configured ]; then
    # By a relative path: it ends up in the objects' names of their sources.
    ln -sfn "$source_folder" source
    source/configure "${options[@]}"
    touch configured
fi
make -j"$(nproc)"
rm -rf "$work/root"
make install DESTDIR="$work/root" >"$work/install.log"

# The program's own objects: linked into ffmpeg.exe by whoever gives it an icon and a version.
mkdir -p "$work/root$prefix/lib/ffmpeg.exe-objects" "$work/root$prefix/share/licences"
cp fftools/*.o "$work/root$prefix/lib/ffmpeg.exe-objects/"
cp source/LICENSE.md source/COPYING.LGPLv2.1 source/debian/copyright \
    "$work/root$prefix/share/licences/"
mv "$work/root$prefix" "$install"
