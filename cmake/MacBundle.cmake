# The program's bundle for macOS: its properties, its icon, and Qt's libraries in the installed copy.

# Made on every system, so that a test can read it on any.
set(properties "${PROJECT_BINARY_DIR}/Info.plist")
configure_file("${PROJECT_SOURCE_DIR}/packaging/Info.plist.in" "${properties}" @ONLY)
if(NOT APPLE)
    return()
endif()

set(icon "${PROJECT_SOURCE_DIR}/packaging/icons/veltrano.icns")
target_sources(veltrano PRIVATE "${icon}")
set_source_files_properties("${icon}" PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
set_target_properties(veltrano PROPERTIES
    OUTPUT_NAME "Veltrano"
    MACOSX_BUNDLE_INFO_PLIST "${properties}")
install(TARGETS veltrano BUNDLE DESTINATION . COMPONENT client)

get_target_property(qmake ${QT}::qmake IMPORTED_LOCATION)
get_filename_component(qt_programs "${qmake}" DIRECTORY)
find_program(MACDEPLOYQT macdeployqt HINTS "${qt_programs}")
if(NOT MACDEPLOYQT)
    message(STATUS "No macdeployqt here: the installed bundle needs Qt on its machine.")
    return()
endif()
install(CODE "
    execute_process(
        COMMAND \"${MACDEPLOYQT}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/Veltrano.app\"
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR \"macdeployqt could not complete Veltrano.app.\")
    endif()"
    COMPONENT client)
