#!/usr/bin/env bash
# Makes the Windows packages of a finished build: package.sh BUILD OUTPUT. OUTPUT gets the
# installer, the portable archive, the archive for relinking, and the folder that the first two
# hold. The same build gives the same packages, bit for bit.
set -euo pipefail
build=$(realpath "$1")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source_folder=$(realpath "$here/../..")
rm -rf "$2"
mkdir -p "$2"
output=$(realpath "$2")
qt=$(realpath "$source_folder/build/windows/qt")
ffmpeg=$(realpath "$source_folder/build/windows/ffmpeg")

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
stage=$output/Vellumix
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C TZ=UTC
umask 022

# The date that the archives' entries bear: that of the sources.
date=$(git -C "$source_folder" log -1 --format=%ct)

source_version() { sed -n 's/^Version: //p' "$1"/share/source-package/*.dsc | head -n 1; }

upstream() { sed 's/^[0-9]*://; s/[-+].*//' <<<"$1"; }

make_notices() {
    local qt_source ffmpeg_source
    qt_source=$(source_version "$qt")
    ffmpeg_source=$(source_version "$ffmpeg")
    mkdir -p "$work/notices"
    sed -e "s/@VERSION@/$version/g" \
        -e "s/@QT_VERSION@/$(upstream "$qt_source")/" -e "s/@QT_SOURCE@/$qt_source/" \
        -e "s/@FFMPEG_VERSION@/$(upstream "$ffmpeg_source")/" \
        -e "s/@FFMPEG_SOURCE@/$ffmpeg_source/" "$here/NOTICES.in" >"$work/notices/NOTICES.txt"
    cp /usr/share/doc/libz-mingw-w64-dev/copyright "$work/notices/zlib-copyright.txt"
    cp /usr/share/doc/mingw-w64-common/copyright "$work/notices/mingw-w64-copyright.txt"
    cp /usr/share/doc/gcc-mingw-w64-base/copyright "$work/notices/gcc-copyright.txt"
    cp /usr/share/doc/nlohmann-json3-dev/copyright "$work/notices/json-copyright.txt"
    cp /usr/share/doc/libxxhash-dev/copyright "$work/notices/xxhash-copyright.txt"
}

# "FILE PLACE" for each line of the list.
contents() {
    sed -e '/^#/d; /^$/d' -e "s|^bin/|$build/bin/|" -e "s|^docs/|$source_folder/docs/|" \
        -e "s|^here/|$here/|" -e "s|^notices/|$work/notices/|" -e "s|^qt/|$qt/|" -e "s|^ffmpeg/|$ffmpeg/|" \
        "$here/contents"
}

fill_stage() {
    local file place
    while read -r file place; do
        install -D -m 644 "$file" "$stage/$place"
    done < <(contents)
}

# Texts are for people: line ends as their system has them.
end_lines() {
    find "$stage" -name '*.txt' -exec sed -i 's/\r*$/\r/' {} +
}

# An archive of a folder whose entries are in order and bear one date.
zip_folder() {
    local archive=$1 folder=$2
    find "$(dirname "$folder")/$(basename "$folder")" -exec touch -h -d "@$date" {} +
    (cd "$(dirname "$folder")" &&
        find "$(basename "$folder")" -type f | sort | zip -q -X -9 -@ "$archive")
}

make_notices
fill_stage
end_lines
"$here/make_installer" "$stage" "$version" "$output/Vellumix-$version-setup.exe"
zip_folder "$output/Vellumix-$version-portable.zip" "$stage"
"$here/collect_objects" "$build" "$qt" "$ffmpeg" "$work/Vellumix-$version-relink"
cp "$work/notices/NOTICES.txt" "$work/Vellumix-$version-relink/"
zip_folder "$output/Vellumix-$version-relink.zip" "$work/Vellumix-$version-relink"
(cd "$output" && sha256sum ./*.exe ./*.zip | tee SHA256SUMS)
