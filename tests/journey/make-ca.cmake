# Has the sandbox make its CA in FOLDER and copies the certificate to CA, where the client's build
# finds it.

# Made anew, and on the day on which the journey is played: before it, it would not be valid yet.
file(REMOVE_RECURSE "${FOLDER}")
set(ENV{LD_PRELOAD} "${CLOCK}")
set(ENV{FAKETIME} "@2026-03-11 06:00:00")
execute_process(COMMAND "${SANDBOX}" --make-ca --data-dir "${FOLDER}"
    OUTPUT_VARIABLE made OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
unset(ENV{LD_PRELOAD})
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The sandbox made no CA.")
endif()
configure_file("${made}" "${CA}" COPYONLY)
file(TOUCH "${CA}") # a copy that is left as it was would look out of date for ever
