# Tests in Python, and where they find the modules that several folders share.

find_package(Python3 3.9 QUIET COMPONENTS Interpreter)
get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
set(VELTRANO_PYTHONPATH
    "${root}/sandbox/tests:${root}/tests/support:${root}/tests/journey:${root}/tests/soak")

# A module of unittest in the caller's folder; variables of its environment may follow.
function(veltrano_add_python_test name module timeout)
    add_test(NAME ${name}
        COMMAND Python3::Interpreter -B -m unittest ${module}
        WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "PYTHONPATH=${VELTRANO_PYTHONPATH};${ARGN}"
        TIMEOUT ${timeout})
endfunction()
