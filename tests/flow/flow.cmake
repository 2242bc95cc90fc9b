# Sequences and policies against the simulated modem, in a private namespace with the daemon's real
# paths, where /bin/sh is bash.
add_library(cellslot_flow_support STATIC support/daemon_reset.cpp support/fake_time.cpp
                                         support/flow_fixture.cpp support/modem_terminal.cpp
                                         support/mounted_folder.cpp
                                         support/published_state.cpp support/shell_stubs.cpp support/simulated_port.cpp
                                         support/whole_daemon.cpp)
target_link_libraries(cellslot_flow_support PUBLIC cellslot_test_support cellslot_statemachine
                                                   cellslot_le910sim)
cellslot_use_test_headers(cellslot_flow_support)

# cellslot_add_flow_tests(<subject> SOURCES <files>)
function(cellslot_add_flow_tests subject)
    cmake_parse_arguments(ARG "" "" "SOURCES" ${ARGN})
    add_executable(${subject}_flow_tests ${ARG_SOURCES})
    target_link_libraries(${subject}_flow_tests PRIVATE cellslot_flow_support GTest::gtest_main)
    cellslot_use_test_headers(${subject}_flow_tests)
    add_dependencies(daemon_tests ${subject}_flow_tests)
    add_test(NAME flow.${subject}
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${subject}_flow_tests>)
    set_tests_properties(flow.${subject} PROPERTIES LABELS flow TIMEOUT ${TEST_TIMEOUT_S})
endfunction()

cellslot_add_flow_tests(bring_up
    SOURCES flow/bring_up_flow_test.cpp flow/bring_up_steps_flow_test.cpp
            flow/firmware_trigger_flow_test.cpp flow/polling_flow_test.cpp)

cellslot_add_flow_tests(state_machine
    SOURCES flow/quiet_log_flow_test.cpp flow/state_machine_flow_test.cpp
            flow/state_machine_port_flow_test.cpp flow/state_machine_reload_flow_test.cpp
            flow/state_machine_sim_flow_test.cpp)
cellslot_add_flow_tests(sim_pin
    SOURCES flow/sim_pin_calls_flow_test.cpp flow/sim_pin_file_flow_test.cpp
            flow/sim_pin_flow_test.cpp flow/sim_pin_lock_flow_test.cpp
            flow/sim_pin_power_cut_flow_test.cpp flow/sim_pin_requests_flow_test.cpp
            flow/sim_pin_retry_flow_test.cpp flow/sim_pin_store_flow_test.cpp)
target_link_options(sim_pin_flow_tests PRIVATE LINKER:--wrap=fsync)
cellslot_add_flow_tests(pin_days SOURCES flow/pin_days_flow_test.cpp)
cellslot_add_flow_tests(data_session
    SOURCES flow/data_session_flow_test.cpp flow/data_session_ways_flow_test.cpp
            flow/network_interface_flow_test.cpp)
cellslot_add_flow_tests(link SOURCES flow/link_flow_test.cpp)
cellslot_add_flow_tests(sms SOURCES flow/sms_flow_test.cpp)
cellslot_add_flow_tests(radio_policy
    SOURCES flow/radio_policy_flow_test.cpp flow/radio_results_flow_test.cpp)
cellslot_add_flow_tests(status
    SOURCES flow/carrier_list_flow_test.cpp flow/data_connection_flow_test.cpp
            flow/status_file_flow_test.cpp flow/status_flow_test.cpp flow/status_led_flow_test.cpp
            support/heap_peak.cpp)
cellslot_add_flow_tests(status_recordings SOURCES flow/status_recordings_flow_test.cpp)
target_link_options(status_flow_tests PRIVATE -Wl,--wrap=clock_gettime)
target_compile_definitions(status_flow_tests PRIVATE SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")

cellslot_add_flow_tests(resources SOURCES flow/resources_flow_test.cpp)
target_link_options(resources_flow_tests PRIVATE -Wl,--wrap=system -Wl,--wrap=fork)
cellslot_add_flow_tests(hostile_text SOURCES flow/hostile_text_flow_test.cpp)
target_link_options(hostile_text_flow_tests PRIVATE -Wl,--wrap=system)

# The longest first, so that none runs alone at the end.
set_tests_properties(flow.state_machine flow.hostile_text flow.resources flow.pin_days
                     PROPERTIES COST 100)
