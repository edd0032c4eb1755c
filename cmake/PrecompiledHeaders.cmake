# vellumix_precompile(SET TARGET...)
#
# Lets targets begin with headers that are compiled once for all of them. SET is
#   std      the standard library, for what has nothing of Qt in it
#   core     that, and what the client uses of Qt Core
#   widgets  that, and what it uses of Qt Widgets
#   test     that, and Qt's test library (made in QtTests.cmake)
# A source still includes what it uses: clang-tidy reads it without these.
option(VELLUMIX_PRECOMPILE "Compile the headers of Qt and the standard library once" ON)

set(vellumix_std_headers
    <algorithm> <array> <cmath> <cstdint> <limits> <map> <memory> <optional> <string>
    <string_view> <utility> <vector>)
set(vellumix_core_headers
    ${vellumix_std_headers}
    <QDir> <QElapsedTimer> <QFile> <QFileInfo> <QJsonArray> <QJsonDocument> <QJsonObject> <QList>
    <QMimeData> <QRegularExpression> <QString> <QStringList> <QTemporaryDir> <QTimer> <QUrl>)
set(vellumix_widgets_headers
    ${vellumix_core_headers}
    <QApplication> <QBoxLayout> <QCheckBox> <QDialog> <QImage> <QLabel> <QLineEdit> <QMouseEvent>
    <QPushButton> <QScrollArea> <QScrollBar> <QStackedWidget>)
set(vellumix_test_headers ${vellumix_widgets_headers} <QTest>)

# A target that has only the headers in it, from which the others take them.
function(vellumix_add_precompiled set)
    if(NOT VELLUMIX_PRECOMPILE)
        return()
    endif()
    set(target vellumix_headers_${set})
    set(source "${CMAKE_BINARY_DIR}/headers/precompiled_${set}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "")
    add_library(${target} OBJECT "${source}")
    target_link_libraries(${target} PRIVATE vellumix_options ${ARGN})
    target_precompile_headers(${target} PRIVATE ${vellumix_${set}_headers})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        vellumix_sum_precompiled(${target})
    endif()
endfunction()

# The compiler's cache would read the compiled headers whole, 170 MB, for each source. It takes the
# sum beside them in their place: of what the headers hold, and the same in every checkout.
function(vellumix_sum_precompiled target)
    set(header "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/cmake_pch.hxx")
    set(includes "$<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>")
    set(definitions "$<TARGET_PROPERTY:${target},COMPILE_DEFINITIONS>")
    add_custom_command(
        OUTPUT "${header}.gch.sum"
        COMMAND ${CMAKE_COMMAND}
            "-DCOMMAND=${CMAKE_CXX_COMPILER};-std=c++20;-E;-P;-x;c++-header;${header};-I$<JOIN:${includes},;-I>;-D$<JOIN:${definitions},;-D>"
            "-DSUM=${header}.gch.sum"
            -P "${PROJECT_SOURCE_DIR}/cmake/SumHeaders.cmake"
        DEPENDS "${header}.gch"
        VERBATIM)
    add_custom_target(${target}_sum DEPENDS "${header}.gch.sum")
endfunction()

function(vellumix_precompile set)
    if(NOT VELLUMIX_PRECOMPILE)
        return()
    endif()
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM vellumix_headers_${set})
        if(TARGET vellumix_headers_${set}_sum)
            add_dependencies(${target} vellumix_headers_${set}_sum)
        endif()
    endforeach()
endfunction()

vellumix_add_precompiled(std)
vellumix_add_precompiled(core Qt6::Core)
vellumix_add_precompiled(widgets Qt6::Widgets)
