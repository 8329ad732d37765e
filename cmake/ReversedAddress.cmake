# The base address of the ingest service is compiled in with its characters in reverse order.

# velmora_reverse(TEXT VARIABLE) stores the text's characters in reverse order.
function(velmora_reverse text variable)
    string(LENGTH "${text}" length)
    set(reversed "")
    if(length GREATER 0)
        math(EXPR last "${length} - 1")
        foreach(index RANGE ${last})
            string(SUBSTRING "${text}" ${index} 1 character)
            string(PREPEND reversed "${character}")
        endforeach()
    endif()
    set(${variable} "${reversed}" PARENT_SCOPE)
endfunction()

# velmora_deployment_address(TARGET) gives the target "network/DeploymentAddress.h", written from
# VELMORAKIT_INGEST_BASE_ADDRESS.
function(velmora_deployment_address target)
    if(VELMORAKIT_INGEST_BASE_ADDRESS MATCHES "[^!#-~]" OR
       VELMORAKIT_INGEST_BASE_ADDRESS MATCHES "\\\\")
        message(FATAL_ERROR "VELMORAKIT_INGEST_BASE_ADDRESS holds characters that an address must "
                            "not hold: ${VELMORAKIT_INGEST_BASE_ADDRESS}")
    endif()
    velmora_reverse("${VELMORAKIT_INGEST_BASE_ADDRESS}" VELMORA_REVERSED_ADDRESS)
    set(generated "${VelmoraKit_BINARY_DIR}/generated")
    configure_file("${VelmoraKit_SOURCE_DIR}/src/network/DeploymentAddress.h.in"
                   "${generated}/network/DeploymentAddress.h" @ONLY)
    target_include_directories(${target} PRIVATE "${generated}")
endfunction()
