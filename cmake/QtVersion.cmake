# Which version of Qt the build takes, and the names that differ with it.

set(VELTRANO_QT 5 CACHE STRING "Major version of Qt: 5, or 6 on trial")
set_property(CACHE VELTRANO_QT PROPERTY STRINGS 5 6)
if(VELTRANO_QT STREQUAL "5")
    set(VELTRANO_OLDEST_QT 5.12)
elseif(VELTRANO_QT STREQUAL "6")
    set(VELTRANO_OLDEST_QT 6.4) # the oldest that the tests were run with
else()
    message(FATAL_ERROR "VELTRANO_QT must be 5 or 6: \"${VELTRANO_QT}\".")
endif()
# Libraries and programs are ${QT}::NAME: names without a version begin with 5.15.
set(QT "Qt${VELTRANO_QT}")
find_package(${QT} ${VELTRANO_OLDEST_QT} REQUIRED COMPONENTS Network SerialPort Widgets)
set(VELTRANO_QT_VERSION "${${QT}_VERSION}")

# Sets the variable to the headers of the form files that follow.
function(veltrano_wrap_ui result)
    if(VELTRANO_QT EQUAL 5)
        qt5_wrap_ui(headers ${ARGN})
    else()
        qt6_wrap_ui(headers ${ARGN} OPTIONS --connections string)
    endif()
    set(${result} ${headers} PARENT_SCOPE)
endfunction()

# Sets the variable to the source of a resource file. Its options are the same wherever one is
# compiled: a format that every version reads, and nothing that a size could decide.
set(VELTRANO_RESOURCE_OPTIONS --format-version 2 --no-compress)
function(veltrano_add_resources result file)
    if(VELTRANO_QT EQUAL 5)
        qt5_add_resources(sources "${file}" OPTIONS ${VELTRANO_RESOURCE_OPTIONS})
    else()
        qt6_add_resources(sources "${file}" OPTIONS ${VELTRANO_RESOURCE_OPTIONS})
    endif()
    set(${result} ${sources} PARENT_SCOPE)
endfunction()
