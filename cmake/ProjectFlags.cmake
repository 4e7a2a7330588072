# What every target of the project is compiled with, stated once.

option(VELTRANO_WERROR "Treat compiler warnings as errors" OFF)
option(VELTRANO_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
option(VELTRANO_COVERAGE "Build with coverage counters" OFF)

add_library(project_flags INTERFACE)
target_compile_features(project_flags INTERFACE cxx_std_17)
target_compile_options(project_flags INTERFACE -Wall -Wextra -Wpedantic)
if(VELTRANO_WERROR)
    target_compile_options(project_flags INTERFACE -Werror)
endif()
if(VELTRANO_SANITIZE)
    target_compile_options(project_flags INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(project_flags INTERFACE -fsanitize=address,undefined)
endif()
if(VELTRANO_COVERAGE)
    target_compile_options(project_flags INTERFACE --coverage -O0)
    target_link_options(project_flags INTERFACE --coverage)
endif()
