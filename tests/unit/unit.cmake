# One block a folder of the source tree.

cellslot_add_unit_tests(config
    LIBS cellslot_config
    SOURCES unit/config_data_directive_test.cpp unit/config_file_test.cpp
            unit/config_look_test.cpp unit/config_options_test.cpp unit/config_reader_test.cpp)
target_compile_definitions(config_tests PRIVATE DOCS_FOLDER="${CMAKE_SOURCE_DIR}/docs")

# They test the host implementation; a gateway's own libraries are not ours to test.
if(PLATFORM STREQUAL "host")
    cellslot_add_unit_tests(platform
        LIBS cellslot_platform
        SOURCES unit/platform_file_monitor_test.cpp unit/platform_file_vector_test.cpp
                unit/platform_interface_info_test.cpp unit/platform_key_value_store_test.cpp
                unit/platform_logger_test.cpp unit/platform_skvs_test.cpp
                unit/platform_text_helpers_test.cpp unit/platform_text_lookup_table_test.cpp
                unit/platform_timer_test.cpp unit/platform_tokenstr_test.cpp)
    target_compile_definitions(platform_tests PRIVATE SKVS="$<TARGET_FILE:skvs>")
    add_dependencies(platform_tests skvs)

    # The build against a gateway's libraries has to configure; ours stand in for one.
    add_test(NAME unit.platform_external
        COMMAND ${CMAKE_COMMAND} -G ${CMAKE_GENERATOR} -S ${CMAKE_SOURCE_DIR}
                -B ${CMAKE_CURRENT_BINARY_DIR}/external -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
                -DPLATFORM=external -DPLATFORM_LIBS=$<TARGET_FILE:cellslot_platform>)
    set_tests_properties(unit.platform_external PROPERTIES LABELS unit TIMEOUT 120)
    # Tests with hundreds of processes run in a plain build only: the sanitizers make them crawl.
    set_tests_properties(unit.platform PROPERTIES LABELS "unit;processes")
    if(SANITIZE)
        set_tests_properties(unit.platform PROPERTIES ENVIRONMENT
            "GTEST_FILTER=-KeyValueStore.Damaged*:KeyValueStore.Killed*:KeyValueStore.Stopped*:KeyValueStore.*Writers*")
    endif()

    # Debian's libgammu is an independent judge of the codec; nothing but this test links it. It cannot be
    # installed for two architectures at once, so cross builds do without this judge.
    set(judge)
    if(NOT CMAKE_CROSSCOMPILING)
        find_package(PkgConfig REQUIRED)
        pkg_check_modules(GAMMU REQUIRED IMPORTED_TARGET gammu)
        set(judge unit/sms_pdu_gammu_test.cpp)
    endif()
    cellslot_add_unit_tests(sms_pdu
        LIBS cellslot_platform $<$<BOOL:${judge}>:PkgConfig::GAMMU>
        SOURCES unit/sms_pdu_3gpp2_test.cpp unit/sms_pdu_deliver_test.cpp
                unit/sms_pdu_examples.cpp ${judge}
                unit/sms_pdu_header_test.cpp unit/sms_pdu_language_test.cpp
                unit/sms_pdu_refusal_test.cpp
                unit/sms_pdu_round_trip_test.cpp unit/sms_pdu_submit_test.cpp
                unit/sms_pdu_support.cpp unit/sms_pdu_time_stamp_test.cpp)
endif()

cellslot_add_unit_tests(sim TOOL
    LIBS cellslot_sim
    SOURCES unit/sim_card_test.cpp unit/sim_faults_test.cpp unit/sim_framing_test.cpp
            unit/sim_gps_test.cpp unit/sim_health_test.cpp unit/sim_icmp_test.cpp
            unit/sim_packet_test.cpp unit/sim_program_test.cpp unit/sim_registration_test.cpp
            unit/sim_restart_test.cpp unit/sim_robustness_test.cpp unit/sim_scenario_test.cpp
            unit/sim_sms_test.cpp)
target_compile_definitions(sim_tests PRIVATE LE910SIM="$<TARGET_FILE:le910sim>")
add_dependencies(sim_tests le910sim)

cellslot_add_unit_tests(main
    LIBS cellslot_entry
    SOURCES unit/main_address_text_test.cpp unit/main_command_line_test.cpp
            unit/main_debug_test.cpp unit/main_device_records_test.cpp
            unit/main_pid_file_test.cpp unit/main_repeated_notices_test.cpp
            unit/main_service_manager_test.cpp unit/main_temporary_files_test.cpp
            unit/main_utilities_test.cpp)
target_link_options(main_tests PRIVATE LINKER:--wrap=clock_nanosleep)

cellslot_add_unit_tests(device
    LIBS cellslot_device
    SOURCES unit/device_at_port_test.cpp unit/device_at_transaction_test.cpp
            unit/device_link_state_test.cpp)

cellslot_add_unit_tests(atcmd
    LIBS cellslot_atcmd
    SOURCES unit/atcmd_catalogue_test.cpp unit/atcmd_command_test.cpp
            unit/atcmd_every_command_test.cpp unit/atcmd_identity_test.cpp
            unit/atcmd_operators_test.cpp unit/atcmd_packet_data_test.cpp
            unit/atcmd_port_state_test.cpp unit/atcmd_radio_config_test.cpp
            unit/atcmd_radio_status_test.cpp unit/atcmd_registration_test.cpp
            unit/atcmd_reply_size_test.cpp
            unit/atcmd_sim_commands_test.cpp support/heap_peak.cpp support/reply_parsers.cpp)

# Writes to the store and shell commands are noted on their way; the latter are not run.
cellslot_add_unit_tests(gps
    LIBS cellslot_gps cellslot_sim
    SOURCES unit/gps_port_test.cpp unit/gps_start_test.cpp unit/gps_store_test.cpp
            unit/gps_stream_test.cpp unit/gps_fixture.cpp support/gps_terminal.cpp)
target_link_options(gps_tests PRIVATE LINKER:--wrap=_Z8skvs_setPKcS0_ LINKER:--wrap=system)

cellslot_add_unit_tests(custom_at
    LIBS cellslot_statemachine cellslot_sim
    SOURCES unit/custom_at_test.cpp support/no_unlink.cpp support/simulated_port.cpp)
target_link_options(custom_at_tests PRIVATE LINKER:--wrap=unlink)

# PDUs come from the simulated modem, so that encoder and decoder are not each other's only judge.
cellslot_add_unit_tests(sms
    LIBS cellslot_sms cellslot_sim
    SOURCES unit/sms_assembly_test.cpp unit/sms_check_test.cpp unit/sms_fixture.cpp
            unit/sms_kill_test.cpp unit/sms_message_file_test.cpp unit/sms_pdu_support.cpp
            unit/sms_random_parts_test.cpp unit/sms_receive_test.cpp unit/sms_send_test.cpp
            unit/sms_spool_test.cpp support/no_unlink.cpp support/simulated_port.cpp)
target_link_options(sms_tests PRIVATE LINKER:--wrap=unlink)

cellslot_add_unit_tests(statemachine
    LIBS cellslot_statemachine
    SOURCES unit/statemachine_pin_rule_test.cpp unit/statemachine_service_status_test.cpp)

cellslot_add_unit_tests(cli TOOL
    LIBS cellslot_cli util
    SOURCES unit/cli_at_request_test.cpp unit/cli_config_check_test.cpp
            unit/cli_daemon_process_test.cpp unit/cli_data_override_test.cpp
            unit/cli_display_text_test.cpp unit/cli_doctor_test.cpp
            unit/cli_draft_file_test.cpp unit/cli_fixture.cpp unit/cli_help_test.cpp
            unit/cli_misspelling_test.cpp unit/cli_pin_test.cpp unit/cli_plain_words_test.cpp
            unit/cli_signal_quality_test.cpp unit/cli_slot_report_test.cpp
            unit/cli_sms_spool_test.cpp unit/cli_status_command_test.cpp
            unit/cli_status_file_test.cpp unit/cli_status_screen_test.cpp
            unit/cli_text_test.cpp unit/cli_watch_screen_test.cpp)
target_compile_definitions(cli_tests PRIVATE DOCS_FOLDER="${CMAKE_SOURCE_DIR}/docs"
                                             STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
