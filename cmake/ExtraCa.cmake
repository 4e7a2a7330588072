# Compiles a PEM file of CA certificates into a target, as a bundle of its own.

function(veltrano_check_extra_ca file)
    if(file STREQUAL "")
        message(FATAL_ERROR
            "VELTRANO_EXTRA_CA is empty: name a PEM file, or say OFF for no further certificates.")
    endif()
    if(NOT EXISTS "${file}" OR IS_DIRECTORY "${file}")
        message(FATAL_ERROR "VELTRANO_EXTRA_CA names no file: \"${file}\".")
    endif()
    file(STRINGS "${file}" keys REGEX "^-----BEGIN [A-Z ]*PRIVATE KEY-----")
    if(keys)
        message(FATAL_ERROR
            "VELTRANO_EXTRA_CA holds a private key, which must not be compiled in: \"${file}\".")
    endif()
    # The client reads what stands between these marks and nothing else; openssl, which can tell
    # whether that is a certificate, would take other marks too.
    file(STRINGS "${file}" marks REGEX "^-----BEGIN CERTIFICATE-----$")
    find_program(OPENSSL_PROGRAM openssl)
    set(result 0)
    if(marks AND OPENSSL_PROGRAM)
        execute_process(COMMAND "${OPENSSL_PROGRAM}" x509 -noout -inform PEM -in "${file}"
            RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
    endif()
    if(NOT marks OR NOT result EQUAL 0)
        message(FATAL_ERROR "VELTRANO_EXTRA_CA holds no PEM certificate: \"${file}\".")
    endif()
endfunction()

# The target compiles service/extraca.cpp; the certificates are then found at ":/extra-ca.pem".
function(veltrano_add_extra_ca target file)
    if(NOT file STREQUAL "")
        get_filename_component(file "${file}" ABSOLUTE BASE_DIR "${PROJECT_SOURCE_DIR}")
    endif()
    veltrano_check_extra_ca("${file}")
    # Beside a copy: a resource file names its files relative to itself.
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${target}_extra_ca")
    configure_file("${file}" "${folder}/extra-ca.pem" COPYONLY)
    file(WRITE "${folder}/extraca.qrc.new"
        "<RCC><qresource prefix=\"/\"><file>extra-ca.pem</file></qresource></RCC>\n")
    configure_file("${folder}/extraca.qrc.new" "${folder}/extraca.qrc" COPYONLY)
    veltrano_add_resources(sources "${folder}/extraca.qrc")
    target_sources(${target} PRIVATE ${sources})
    target_compile_definitions(${target} PRIVATE VELTRANO_WITH_EXTRA_CA)
endfunction()
