# Runs one configure-time check on one value.

cmake_minimum_required(VERSION 3.16)
include("${SOURCE}/cmake/${MODULE}.cmake")
if(MODULE STREQUAL "ServiceHost")
    veltrano_check_service_host("${VALUE}")
else()
    veltrano_check_extra_ca("${VALUE}")
endif()
