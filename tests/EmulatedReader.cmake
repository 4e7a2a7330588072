# The tests that plug in a barcode reader, which umockdev emulates.

set(description "a barcode reader that is plugged in, scans and is unplugged")
if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    veltrano_leave_out("reader's tests" "${description}" "Devices are emulated on Linux only.")
    return()
endif()
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
    pkg_check_modules(UMOCKDEV QUIET IMPORTED_TARGET umockdev-1.0)
endif()
find_program(UMOCKDEV_WRAPPER umockdev-wrapper)
set(missing)
veltrano_need(missing "pkg-config" PKG_CONFIG_FOUND)
veltrano_need(missing "libumockdev" UMOCKDEV_FOUND)
veltrano_need(missing "umockdev-wrapper" UMOCKDEV_WRAPPER)
veltrano_feature(has_reader_tests "reader's tests" "${description}" ${missing})
if(NOT has_reader_tests)
    return()
endif()

add_library(emulated_reader OBJECT support/emulatedreader.cpp)
add_library(reader_test OBJECT support/readertest.cpp)
target_include_directories(emulated_reader PUBLIC support)
target_link_libraries(emulated_reader
    PUBLIC ${QT}::Core
    PRIVATE PkgConfig::UMOCKDEV util project_flags)
target_include_directories(reader_test PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(reader_test
    PUBLIC ${QT}::Network ${QT}::SerialPort ${QT}::Test ${QT}::Widgets emulated_reader
    PRIVATE project_flags)

add_executable(emulate-reader support/reader_emulator.cpp)
target_link_libraries(emulate-reader PRIVATE emulated_reader PkgConfig::UMOCKDEV util project_flags)

foreach(name IN ITEMS tst_readers tst_scanning tst_unplugging tst_readerprogram)
    veltrano_add_test(${name})
    # The sanitizers' runtime otherwise insists on being loaded before umockdev.
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT "ASAN_OPTIONS=verify_asan_link_order=0")
endforeach()
foreach(name IN ITEMS tst_readers tst_scanning tst_unplugging)
    target_link_libraries(${name} PRIVATE
        reader_test emulated_reader PkgConfig::UMOCKDEV util)
    # As umockdev-wrapper does it.
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT "LD_PRELOAD=libumockdev-preload.so.0")
endforeach()
add_dependencies(tst_readerprogram veltrano emulate-reader)
target_compile_definitions(tst_readerprogram PRIVATE
    "PROGRAM=\"$<TARGET_FILE:veltrano>\""
    "EMULATE_READER=\"$<TARGET_FILE:emulate-reader>\"")
