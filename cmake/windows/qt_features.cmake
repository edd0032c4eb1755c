# What the Windows build of Qt has: Core, Gui, Widgets and Test, as static libraries. Each change
# here builds it anew.
set(options
    CMAKE_BUILD_TYPE=Release
    BUILD_SHARED_LIBS=OFF
    QT_BUILD_TESTS=OFF
    QT_BUILD_EXAMPLES=OFF
    QT_BUILD_DOCS=OFF

    # Modules that nothing of ours uses.
    FEATURE_concurrent=OFF
    FEATURE_dbus=OFF
    FEATURE_network=OFF
    FEATURE_printsupport=OFF
    FEATURE_sql=OFF
    FEATURE_xml=OFF

    # Paths inside the libraries follow the program, instead of being those of the build.
    FEATURE_relocatable=ON

    # Only what comes with the sources: nothing of the machine that builds.
    FEATURE_pkg_config=OFF
    FEATURE_glib=OFF
    FEATURE_icu=OFF
    FEATURE_zstd=OFF
    FEATURE_system_doubleconversion=OFF
    FEATURE_system_freetype=OFF
    FEATURE_system_harfbuzz=OFF
    FEATURE_system_jpeg=OFF
    FEATURE_system_pcre2=OFF
    FEATURE_system_png=OFF
    FEATURE_system_zlib=OFF
    FEATURE_fontconfig=OFF

    # Widgets are painted by the processor. The windows platform compiles without OpenGL only
    # when it is not looked for at run time either.
    FEATURE_opengl=OFF
    FEATURE_dynamicgl=OFF
    FEATURE_vulkan=OFF
    # The DirectWrite font database stands behind the first; the second is a platform of its own.
    FEATURE_direct2d=ON
    FEATURE_direct2d1_1=OFF
    # The distribution's sources lack the header it needs.
    FEATURE_tabletevent=OFF

    FEATURE_gif=OFF)

foreach(option IN LISTS options)
    string(REPLACE "=" ";" option "${option}")
    list(GET option 0 name)
    list(GET option 1 value)
    set(${name} "${value}" CACHE STRING "" FORCE)
endforeach()
