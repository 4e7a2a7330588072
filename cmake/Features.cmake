# What a build consists of: every part says here whether it is built and, if not, what is missing.

include(FeatureSummary)

option(VELTRANO_REQUIRE_ALL "End the configuration where a part would be left out" OFF)

# Appends a name to a list where the condition that follows it, as if() takes it, does not hold.
macro(veltrano_need missing name)
    if(NOT (${ARGN}))
        list(APPEND ${missing} "${name}")
    endif()
endmacro()

# A part that is not for this system or this kind of build, whatever is installed.
function(veltrano_leave_out name description reason)
    message(STATUS "Left out: the ${name}. ${reason}")
    add_feature_info("${name}" OFF "${description}")
endfunction()

# Sets the variable to whether a part is built: it is where no name follows its description.
function(veltrano_feature result name description)
    set(${result} ON)
    if(ARGN)
        set(${result} OFF)
        list(JOIN ARGN ", " missing)
        if(VELTRANO_REQUIRE_ALL)
            message(FATAL_ERROR
                "VELTRANO_REQUIRE_ALL is on, and the ${name} cannot be built. Missing: ${missing}.")
        endif()
        veltrano_leave_out("${name}" "${description}" "Missing: ${missing}.")
    else()
        add_feature_info("${name}" ON "${description}")
    endif()
    set(${result} ${${result}} PARENT_SCOPE)
endfunction()
