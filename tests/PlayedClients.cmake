# What the tests need that play the program from outside: a program for a service of their own, an
# X server, and a script that starts them with what this build has made.

# The clock and the screen; a macro, as the cache's names are asked for afterwards.
macro(veltrano_need_screen missing)
    find_library(FAKETIME_LIBRARY NAMES libfaketimeMT.so.1 PATH_SUFFIXES faketime)
    veltrano_need(${missing} "libfaketime" FAKETIME_LIBRARY)
    foreach(tool IN ITEMS Xvfb openbox xdotool xrdb)
        find_program(JOURNEY_${tool} ${tool})
        veltrano_need(${missing} "${tool}" JOURNEY_${tool})
    endforeach()
endmacro()

# The program as operators get it; only the sources that follow, which say what service it asks and
# what CA it trusts, are the tests'.
function(veltrano_add_played_client name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE client_main client_core project_flags)
    # The settings are kept under the executable's name.
    set_target_properties(${name} PROPERTIES
        ENABLE_EXPORTS ON
        OUTPUT_NAME veltrano
        RUNTIME_OUTPUT_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/client")
endfunction()

# The same for a service on a port of this machine, under a CA that is made while building: what
# follows the CA is what makes it. The port becomes the program's property VELTRANO_PORT.
function(veltrano_add_local_client name ca)
    # A port from the folder's name lets two builds, or two checkouts, play at the same time; it lies
    # below the ports that systems hand out by themselves.
    string(MD5 hash "${CMAKE_CURRENT_BINARY_DIR}")
    string(SUBSTRING "${hash}" 0 6 hash)
    math(EXPR port "20000 + 0x${hash} % 10000")

    file(GENERATE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/extraca.qrc" CONTENT
        "<RCC><qresource prefix=\"/\"><file alias=\"extra-ca.pem\">${ca}</file></qresource></RCC>\n")
    add_custom_command(
        OUTPUT qrc_extraca.cpp
        COMMAND ${QT}::rcc --name extraca ${VELTRANO_RESOURCE_OPTIONS}
            --output qrc_extraca.cpp extraca.qrc
        DEPENDS ${ARGN} "${CMAKE_CURRENT_BINARY_DIR}/extraca.qrc")
    veltrano_add_played_client(${name}
        "${PROJECT_SOURCE_DIR}/service/extraca.cpp"
        "${PROJECT_SOURCE_DIR}/service/servicehost.cpp"
        "${CMAKE_CURRENT_BINARY_DIR}/qrc_extraca.cpp")
    target_compile_definitions(${name} PRIVATE
        "VELTRANO_SERVICE_HOST=\"localhost:${port}\"" VELTRANO_WITH_EXTRA_CA)
    set_target_properties(${name} PROPERTIES
        CXX_CLANG_TIDY "" # all its sources are the program's, and looked at there
        VELTRANO_PORT ${port})
endfunction()

# Makes a script in the build's folder of a program in the caller's: it gives the options that
# follow, each with its value, and then its own.
function(veltrano_add_play script program)
    set(options)
    while(ARGN)
        list(POP_FRONT ARGN option value)
        string(APPEND options " \\\n    ${option} '${value}'")
    endwhile()
    file(GENERATE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${script}" CONTENT
"#!/bin/sh
# What this build has made for ${program}, whose options may follow.
export PYTHONPATH='${VELTRANO_PYTHONPATH}'
exec '${Python3_EXECUTABLE}' -B '${CMAKE_CURRENT_SOURCE_DIR}/${program}'${options} \"$@\"
")
endfunction()
