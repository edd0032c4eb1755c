# 64-bit Windows from Debian: the cross compiler, and where the libraries built for it stand.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The -posix compilers have std::thread and std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# For this system the compiler takes it that an inline function which several objects have a copy of
# is called in its own copy, and relies on the registers that this one leaves alone; the linker keeps
# any one of them. Everything that is linked together has to go without: Qt as well.
set(CMAKE_CXX_FLAGS_INIT "-fno-ipa-ra")

# Every program stands for itself: no compiler's DLL beside it. Without a time stamp, the same
# sources give the same file.
foreach(kind IN ITEMS EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
endforeach()

# Programs are those of this machine, libraries and headers never are.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Qt's tools run here; they are those of the same version that the distribution has.
set(QT_HOST_PATH /usr)
set(QT_HOST_PATH_CMAKE_DIR /usr/lib/x86_64-linux-gnu/cmake)
