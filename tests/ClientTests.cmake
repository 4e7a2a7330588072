# Each source tst_NAME.cpp is one executable and one test.

set(certificates "${CMAKE_CURRENT_BINARY_DIR}/certificates")
add_custom_command(
    OUTPUT "${certificates}/expired.pem"
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/support/make-certificates"
        "${OPENSSL_PROGRAM}" "${certificates}"
    DEPENDS support/make-certificates
    COMMENT "Making the tests' certificates")
set(chains "${CMAKE_CURRENT_BINARY_DIR}/chains")
add_custom_command(
    OUTPUT "${chains}/dh2048.pem"
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/support/make-chains" "${OPENSSL_PROGRAM}"
        "${PROJECT_SOURCE_DIR}/resources" "${certificates}" "${chains}"
    DEPENDS support/make-chains "${certificates}/expired.pem"
    COMMENT "Making the tests' certificate chains")
add_custom_target(test_certificates DEPENDS "${certificates}/expired.pem" "${chains}/dh2048.pem")

add_library(test_support OBJECT
    support/markingtranslator.cpp
    support/quiettest.cpp
    support/scriptedserver.cpp
    support/servedtest.cpp
    support/windowtest.cpp)
add_dependencies(test_support test_certificates)
target_include_directories(test_support PUBLIC "${PROJECT_SOURCE_DIR}" support)
target_compile_definitions(test_support PUBLIC "TEST_CERTIFICATES=\"${certificates}\"")
target_link_libraries(test_support
    PUBLIC ${QT}::Network ${QT}::SerialPort ${QT}::Test ${QT}::Widgets
    PRIVATE project_flags)

# What the labels "unit" and "versions" choose.
add_custom_target(unit_tests)
add_custom_target(versions_tests)

function(veltrano_add_test name)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE client_core test_support project_flags)
    add_dependencies(unit_tests ${name})
    add_test(NAME ${name} COMMAND ${name})
    # The timeouts are for the message box that a test forgot to close.
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=60000;QTEST_DISABLE_STACK_DUMP=1;QT_QPA_PLATFORM=offscreen;LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/lsan.supp:print_suppressions=0"
        TIMEOUT 120
        LABELS unit)
endfunction()

foreach(name IN ITEMS
        tst_accessiblenames
        tst_activation
        tst_barcoderules
        tst_bodies
        tst_bookingrules
        tst_certificates
        tst_details
        tst_exit
        tst_form
        tst_formkeys
        tst_groups
        tst_keyboard
        tst_login
        tst_memory
        tst_nestedloops
        tst_profile
        tst_removal
        tst_requests
        tst_resources
        tst_selection
        tst_trackerdelegate
        tst_trackers
        tst_window)
    veltrano_add_test(${name})
endforeach()

target_sources(tst_bodies PRIVATE support/jsonvalue.cpp)
# Texts of a megabyte are laid out and painted.
set_tests_properties(tst_bodies PROPERTIES TIMEOUT 300)

# Servers that the framework cannot play.
veltrano_add_test(tst_tls)
set_tests_properties(tst_tls PROPERTIES TIMEOUT 300)
target_sources(tst_tls PRIVATE support/opensslserver.cpp)
target_compile_definitions(tst_tls PRIVATE
    "OPENSSL_PROGRAM=\"${OPENSSL_PROGRAM}\"" "TEST_CHAINS=\"${chains}\"")

# The form classes as the form compiler wrote them for the program.
target_compile_definitions(tst_form PRIVATE
    "UI_HEADER=\"${PROJECT_BINARY_DIR}/ui_mainwindow.h\"")
target_compile_definitions(tst_details PRIVATE
    "UI_HEADER=\"${PROJECT_BINARY_DIR}/ui_edittracker.h\"")

set_property(TEST tst_memory APPEND PROPERTY
    ENVIRONMENT "GLIBC_TUNABLES=glibc.malloc.tcache_count=0")

# Bundles that lack a file, or hold a wrong one, are made while the test runs.
target_compile_definitions(tst_certificates PRIVATE
    "OPENSSL_PROGRAM=\"${OPENSSL_PROGRAM}\""
    "RESOURCE_COMPILER=\"$<TARGET_FILE:${QT}::rcc>\"")

# main() itself, under another name, so that a test can call it as often as it likes.
veltrano_add_test(tst_startup)
add_library(program_main OBJECT "${PROJECT_SOURCE_DIR}/app/main.cpp")
target_compile_definitions(program_main PRIVATE main=programMain)
set_target_properties(program_main PROPERTIES CXX_CLANG_TIDY "") # looked at in the program
target_link_libraries(program_main PRIVATE ${QT}::SerialPort ${QT}::Widgets project_flags)
target_include_directories(program_main PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_libraries(tst_startup PRIVATE program_main)
add_dependencies(tst_startup veltrano)
target_compile_definitions(tst_startup PRIVATE
    "PROGRAM=\"$<TARGET_FILE:veltrano>\""
    "PROGRAM_HOST=\"${VELTRANO_SERVICE_HOST}\""
    "PROGRAM_HAS_EXTRA_CA=$<NOT:$<STREQUAL:${VELTRANO_EXTRA_CA},OFF>>")

# The same test in a program with certificates of its own and in one without.
set(certificate_folder "${PROJECT_SOURCE_DIR}/resources")
file(READ "${certificate_folder}/RapidSSL_SHA256_CA-G3.pem" first)
file(READ "${certificate_folder}/GeoTrustGlobalCA.pem" second)
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/two-certificates.pem"
    "What stands outside the marks is a remark.\n${first}\n${second}")
foreach(name IN ITEMS tst_extraca tst_no_extraca)
    add_executable(${name} tst_extraca.cpp "${PROJECT_SOURCE_DIR}/service/extraca.cpp")
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE ${QT}::Network ${QT}::Test project_flags)
    add_dependencies(unit_tests ${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS unit)
endforeach()
set_target_properties(tst_no_extraca PROPERTIES CXX_CLANG_TIDY "") # looked at in the other
veltrano_add_extra_ca(tst_extraca "${CMAKE_CURRENT_BINARY_DIR}/two-certificates.pem")
string(CONCAT given "${certificate_folder}/RapidSSL_SHA256_CA-G3.pem" "\;"
    "${certificate_folder}/GeoTrustGlobalCA.pem")
target_compile_definitions(tst_extraca PRIVATE "CERTIFICATES_GIVEN=\"${given}\"")
target_compile_definitions(tst_no_extraca PRIVATE "CERTIFICATES_GIVEN=\"\"")

set(missing)
veltrano_need(missing "the sandbox" TARGET veltrano-sandbox)
veltrano_feature(has_sandbox_connections "client's connections"
    "the framework's own handshakes with the sandbox" ${missing})
if(has_sandbox_connections)
    veltrano_add_test(tst_sandbox)
    add_dependencies(tst_sandbox veltrano-sandbox)
    target_compile_definitions(tst_sandbox PRIVATE "SANDBOX=\"$<TARGET_FILE:veltrano-sandbox>\"")
endif()
