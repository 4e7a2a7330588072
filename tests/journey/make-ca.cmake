# Has the sandbox make its CA in FOLDER and copies the certificate to CA, where the client's build
# finds it.

execute_process(COMMAND "${SANDBOX}" --make-ca --data-dir "${FOLDER}"
    OUTPUT_VARIABLE made OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The sandbox made no CA.")
endif()
configure_file("${made}" "${CA}" COPYONLY)
file(TOUCH "${CA}") # a copy that is left as it was would look out of date for ever
