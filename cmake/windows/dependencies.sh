#!/usr/bin/env bash
# Qt and FFmpeg for Windows, built from the distribution's own source packages, once per machine:
#   dependencies.sh LINKS            builds what is missing, and makes the links LINKS/qt, LINKS/ffmpeg
#   dependencies.sh LINKS --cached   builds nothing: fails when something is missing
# They stand in the user's cache folder, under names made of everything that went into them. A
# name is there only when the whole is. An interrupted build of Qt goes on from its last finished
# step; one of FFmpeg begins anew, since its makefiles take half an object file for a whole one.
set -euo pipefail
links=$1 mode=${2:-}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/vellumix/windows

say() { printf 'windows: %s\n' "$*" >&2; }
fail() { say "$*"; exit 1; }

# The version of the sources of a package of this machine.
source_version() { dpkg-query -W -f '${source:Version}' "$1"; }

# apt with a state of its own, in which the machine's own archives are asked for sources.
private_apt() {
    apt-get -q -o Dir::Etc::SourceList="$cache/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o Dir::State::Lists="$cache/apt/lists" -o Dir::Cache="$cache/apt/cache" \
        -o APT::Sandbox::User="$(id -un)" "$@"
}

# One line for each archive of the distribution that the machine takes packages from.
source_archives() {
    local keyring=/usr/share/keyrings/debian-archive-keyring.gpg
    apt-get indextargets --format "deb-src [signed-by=$keyring] "'$(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' \
        'Created-By: Packages' 'Component: main' | sed -n 's/ Debian$//p' | sort -u
}

prepare_apt() {
    rm -rf "$cache/apt"
    mkdir -p "$cache/apt/lists/partial" "$cache/apt/cache/archives/partial"
    source_archives >"$cache/apt/sources.list"
    [ -s "$cache/apt/sources.list" ] ||
        fail "apt does not know the distribution's archives yet. As root: apt-get update"
    private_apt update >&2
}

# Fetches and unpacks a source package: SOURCE PACKAGE (of the machine) FOLDER. FOLDER/packages
# holds what was fetched, FOLDER/source what was in it, with the distribution's patches applied.
fetch_source() {
    local name=$1 package=$2 folder=$3 version
    [ ! -d "$folder/source" ] || return 0
    prepare_apt
    rm -rf "$folder"
    mkdir -p "$folder/packages"
    version=$(source_version "$package")
    (
        cd "$folder/packages"
        private_apt source --download-only "$name=$version" >&2 ||
            fail "the archives no longer have $name $version, as on this machine: apt-get upgrade first"
        dpkg-source --extract --no-copy ./*.dsc ../unpacked >&2
    )
    mv "$folder/unpacked" "$folder/source"
}

# What goes into a library: its sources' version, the compiler's, and how it is built.
key_of() {
    local package=$1
    shift
    {
        source_version "$package"
        dpkg-query -W -f '${Package} ${Version}\n' g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
        (cd "$here" && cat "$@")
    } | sha256sum | cut -c1-16
}

# Builds one library unless the cache has it: NAME SOURCE PACKAGE FILES..., the first of FILES
# being the script that builds it and the others what it reads.
provide() {
    local name=$1 source_name=$2 package=$3 key work whole started=$SECONDS
    shift 3
    key=$(key_of "$package" "$@")
    whole=$cache/$name-$key
    work=$cache/unfinished-$name-$key
    if [ ! -d "$whole" ]; then
        [ "$mode" != --cached ] || fail "$name is not built yet"
        say "building $name from the source package $source_name (once; it stays in $cache)"
        fetch_source "$source_name" "$package" "$work"
        rm -rf "$work/whole"
        [ "$name" != ffmpeg ] || rm -rf "$work/build"
        "$here/$1" "$work/source" "$work" "$work/whole" >"$work/log" 2>&1 || {
            tail -n 30 "$work/log" >&2
            fail "$name could not be built; all of it is in $work/log"
        }
        cp -r "$work/packages" "$work/whole/share/source-package"
        mv "$work/whole" "$whole"
        rm -rf "$work"
        say "$name is built, in $((SECONDS - started)) s"
    fi
    ln -sfn "$whole" "$links/$name"
}

mkdir -p "$cache" "$links"
exec 9>"$cache/lock"
flock -n 9 || { say "waiting for another build of these libraries" && flock 9; }
provide qt qt6-base qt6-base-dev build_qt.sh qt_features.cmake mingw-w64.cmake
provide ffmpeg ffmpeg libavformat-dev build_ffmpeg.sh ffmpeg_components
