# Hours of a gateway on a fake clock: memory and descriptors must not grow.
add_executable(gateway_day day/lasting_fault.cpp day/lasting_faults.cpp day/main.cpp
                           day/remote_clock.cpp)
target_link_libraries(gateway_day PRIVATE cellslot_matrix)
target_link_options(gateway_day PRIVATE -Wl,--wrap=system ${MEMORY_TERMINAL_OPTIONS})

# Two hours, on a host that has been up for 49.7 days: in the second one its milliseconds need more
# than 32 bits. scripts/test_more.sh --all runs the whole day. The sanitizers keep freed memory.
if(NOT SANITIZE)
    add_test(NAME system.day
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     $<TARGET_FILE:gateway_day> 2 1192)
    set_tests_properties(system.day PROPERTIES LABELS system TIMEOUT 900 PROCESSORS 2)

    # What a fault that lasts the whole day writes to the log: a sample of the faults, or all with
    # CELLSLOT_TEST_ALL=1. It keeps both processors busy for a minute, so scripts/test_more.sh runs it.
    add_test(NAME lasting_faults
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     $<TARGET_FILE:gateway_day> --faults)
    set_tests_properties(lasting_faults PROPERTIES LABELS lasting TIMEOUT 7200 PROCESSORS 2)
endif()
