# Checks the service host of a build: a mistake here would send passwords to the wrong place, or
# show as nothing but empty replies at the operator's desk.

function(veltrano_check_service_host host)
    if(host STREQUAL "")
        message(FATAL_ERROR "VELTRANO_SERVICE_HOST is empty: name the service as host or host:port.")
    endif()
    if(host MATCHES "://")
        message(FATAL_ERROR
            "VELTRANO_SERVICE_HOST must not carry a scheme, HTTPS is always used: \"${host}\".")
    endif()
    if(host MATCHES "[ \t\r\n]")
        message(FATAL_ERROR "VELTRANO_SERVICE_HOST must not hold blanks: \"${host}\".")
    endif()
    if(host MATCHES "/")
        message(FATAL_ERROR
            "VELTRANO_SERVICE_HOST must not carry a path, the endpoints are fixed: \"${host}\".")
    endif()
    if(NOT host MATCHES "^([A-Za-z0-9]([A-Za-z0-9.-]*[A-Za-z0-9])?|\\[[0-9A-Fa-f:.]+\\])(:([0-9]+))?$")
        message(FATAL_ERROR "VELTRANO_SERVICE_HOST is neither host nor host:port: \"${host}\".")
    endif()
    if(NOT "${CMAKE_MATCH_4}" STREQUAL ""
            AND (CMAKE_MATCH_4 LESS 1 OR CMAKE_MATCH_4 GREATER 65535))
        message(FATAL_ERROR "VELTRANO_SERVICE_HOST has no port from 1 to 65535: \"${host}\".")
    endif()
endfunction()
