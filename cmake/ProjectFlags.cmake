# What every target of the project is compiled with, stated once.

get_property(multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT multi_config AND NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

set(harden OFF)
if(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF" AND CMAKE_BUILD_TYPE STREQUAL "Release")
    set(harden ON)
endif()
option(VELTRANO_WERROR "Treat compiler warnings as errors" OFF)
option(VELTRANO_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
option(VELTRANO_FUZZ "Build the fuzz targets with libFuzzer, and all else so that it sees inside" OFF)
option(VELTRANO_COVERAGE "Build with coverage counters" OFF)
option(VELTRANO_HARDEN "Build with the compiler's and the linker's protections" ${harden})

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
if(VELTRANO_FUZZ)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_FLAGS -fsanitize=fuzzer)
    # The function's name is libFuzzer's, and the library brings the program's main.
    check_cxx_source_compiles(
        "extern \"C\" int LLVMFuzzerTestOneInput(const unsigned char *, unsigned long) { return 0; }"
        HAS_LIBFUZZER)
    unset(CMAKE_REQUIRED_FLAGS)
    if(HAS_LIBFUZZER)
        target_compile_options(project_flags INTERFACE -fsanitize=fuzzer-no-link)
    endif()
endif()
if(VELTRANO_COVERAGE)
    target_compile_options(project_flags INTERFACE --coverage -O0)
    target_link_options(project_flags INTERFACE --coverage)
endif()
if(VELTRANO_HARDEN)
    include(CheckPIESupported)
    check_pie_supported() # or the property below would compile for it and not link so
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    target_compile_options(project_flags INTERFACE
        -fstack-protector-strong
        # Compilers that define it themselves, to another level, would warn.
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
        -D_GLIBCXX_ASSERTIONS)
    target_link_options(project_flags INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()
