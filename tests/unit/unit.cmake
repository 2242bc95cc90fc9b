# One block per folder of the source tree.

cellslot_add_unit_tests(config
    LIBS cellslot_config
    SOURCES unit/config/config_file_test.cpp unit/config/config_keys_test.cpp
            unit/config/config_look_test.cpp unit/config/config_options_test.cpp
            unit/config/config_reader_odd_files_test.cpp
            unit/config/config_reader_options_apn_test.cpp
            unit/config/config_reader_options_bands_test.cpp
            unit/config/config_reader_options_credentials_test.cpp
            unit/config/config_reader_options_operator_test.cpp
            unit/config/config_reader_options_test.cpp unit/config/config_reader_test.cpp
            unit/config/plain_config_test.cpp)
target_compile_definitions(config_tests PRIVATE DOCS_FOLDER="${CMAKE_SOURCE_DIR}/docs")

# They test the host implementation, not a gateway's own libraries.
if(PLATFORM STREQUAL "host")
    cellslot_add_unit_tests(platform
        LIBS cellslot_platform
        SOURCES unit/platform/files/file_monitor_test.cpp unit/platform/files/file_vector_test.cpp
            unit/platform/files/interface_info_test.cpp
            unit/platform/store/key_value_store_test.cpp unit/platform/files/logger_test.cpp
            unit/platform/store/skvs_command_test.cpp
            unit/platform/text_and_time/text_helpers_test.cpp
            unit/platform/text_and_time/text_lookup_table_test.cpp
            unit/platform/text_and_time/timer_test.cpp
            unit/platform/text_and_time/tokenstr_test.cpp)
    target_compile_definitions(platform_tests PRIVATE SKVS="$<TARGET_FILE:skvs>")
    target_link_options(platform_tests PRIVATE LINKER:--wrap=sync_file_range)
    add_dependencies(platform_tests skvs)

    # The build with a gateway's libraries must configure; ours are used for this.
    add_test(NAME unit.platform_external
        COMMAND ${CMAKE_COMMAND} -G ${CMAKE_GENERATOR} -S ${CMAKE_SOURCE_DIR}
                -B ${CMAKE_CURRENT_BINARY_DIR}/external -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
                -DPLATFORM=external -DPLATFORM_LIBS=$<TARGET_FILE:cellslot_platform>)
    set_tests_properties(unit.platform_external PROPERTIES LABELS unit TIMEOUT ${TEST_TIMEOUT_S})
    # Tests with hundreds of processes run in a plain build only: the sanitizers make them too slow.
    set_tests_properties(unit.platform PROPERTIES LABELS "unit;processes")
    if(SANITIZE)
        set_tests_properties(unit.platform PROPERTIES ENVIRONMENT
            "GTEST_FILTER=-KeyValueStore.Damaged*:KeyValueStore.Killed*:KeyValueStore.Stopped*:KeyValueStore.*Writers*")
    endif()

    # Debian's libgammu is an independent reference for the codec; only this test links it. It cannot be
    # installed for two architectures at once, so cross builds leave this test out.
    set(judge)
    if(NOT CMAKE_CROSSCOMPILING)
        find_package(PkgConfig REQUIRED)
        pkg_check_modules(GAMMU REQUIRED IMPORTED_TARGET gammu)
        set(judge unit/platform/sms_pdu/sms_pdu_deliver_gammu_test.cpp)
    endif()
    cellslot_add_unit_tests(sms_pdu
        LIBS cellslot_platform $<$<BOOL:${judge}>:PkgConfig::GAMMU>
        SOURCES unit/platform/sms_pdu/sms_pdu_3gpp2_test.cpp unit/platform/sms_pdu/sms_pdu_deliver_test.cpp
                unit/platform/sms_pdu/examples.cpp ${judge}
                unit/platform/sms_pdu/user_data_header_test.cpp unit/platform/sms_pdu/language_test.cpp
                unit/platform/sms_pdu/sms_pdu_deliver_refusal_test.cpp
                unit/platform/sms_pdu/sms_pdu_submit_round_trip_test.cpp unit/platform/sms_pdu/sms_pdu_submit_test.cpp
                unit/platform/sms_pdu/support.cpp unit/platform/sms_pdu/time_stamp_test.cpp)
endif()

cellslot_add_unit_tests(le910sim TOOL
    LIBS cellslot_le910sim
    SOURCES unit/le910sim/commands_sim_card_test.cpp unit/le910sim/faults_test.cpp
            unit/le910sim/modem_core_input_test.cpp unit/le910sim/commands_gps_test.cpp
            unit/le910sim/modem_health_test.cpp unit/le910sim/icmp_echo_test.cpp
            unit/le910sim/ethernet_test.cpp unit/le910sim/device_port_test.cpp
            unit/le910sim/commands_packet_test.cpp unit/le910sim/main_test.cpp
            unit/le910sim/main_record_test.cpp unit/le910sim/main_replay_test.cpp
            unit/le910sim/running_program.cpp
            unit/le910sim/commands_registration_test.cpp unit/le910sim/modem_core_restart_test.cpp
            unit/le910sim/modem_robustness_test.cpp unit/le910sim/scenario_test.cpp
            unit/le910sim/commands_sms_test.cpp unit/le910sim/recording_test.cpp
            unit/le910sim/replay_test.cpp unit/le910sim/replayed_part_test.cpp
            unit/le910sim/commands_call_test.cpp
            unit/le910sim/commands_identity_test.cpp
            unit/le910sim/commands_sim_files_test.cpp)
target_compile_definitions(le910sim_tests PRIVATE LE910SIM="$<TARGET_FILE:le910sim>")
add_dependencies(le910sim_tests le910sim)

cellslot_add_unit_tests(published
    LIBS cellslot_published
    SOURCES unit/published/at_request_test.cpp unit/published/data_override_test.cpp
            unit/published/host_boot_test.cpp unit/published/installation_test.cpp
            unit/published/outcome_texts_test.cpp unit/published/paths_test.cpp unit/published/recording_request_test.cpp
            unit/published/sms_spool_test.cpp
            unit/published/status_keys_test.cpp unit/published/status_values_test.cpp
            unit/published/store_keys_test.cpp)
target_compile_definitions(published_tests PRIVATE SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")

cellslot_add_unit_tests(main
    LIBS cellslot_entry
    SOURCES unit/main/address_text_test.cpp unit/main/command_line_test.cpp
            unit/main/debug_test.cpp unit/main/device_records_test.cpp
            unit/main/flush_test.cpp unit/main/pid_file_test.cpp
            unit/main/repeated_notices_test.cpp unit/main/repeated_starts_test.cpp
            unit/main/service_manager_test.cpp unit/main/temporary_files_test.cpp unit/main/utilities_test.cpp)
target_link_options(main_tests PRIVATE LINKER:--wrap=clock_nanosleep)

cellslot_add_unit_tests(recording
    LIBS cellslot_recording cellslot_platform
    SOURCES unit/recording/hidden_exchange_identities_test.cpp
            unit/recording/hidden_exchange_secrets_test.cpp unit/recording/hidden_exchange_test.cpp
            unit/recording/known_exchanges_test.cpp unit/recording/line_names_test.cpp
            unit/recording/pdu_stand_in_test.cpp
            unit/recording/ring_file_test.cpp unit/platform/sms_pdu/support.cpp
            unit/platform/sms_pdu/examples.cpp support/recording_text.cpp)

cellslot_add_unit_tests(device
    LIBS cellslot_device
    SOURCES unit/device/at_port_test.cpp unit/device/at_transaction_test.cpp
            unit/device/link_state_random_test.cpp unit/device/link_state_test.cpp
            unit/device/recorder_test.cpp)

cellslot_add_unit_tests(atcmd
    LIBS cellslot_atcmd
    SOURCES unit/atcmd/catalogue_test.cpp unit/atcmd/command_test.cpp
            unit/atcmd/command_every_query_test.cpp unit/atcmd/identity_test.cpp
            unit/atcmd/operators_test.cpp unit/atcmd/packet_data_test.cpp
            unit/atcmd/port_state_test.cpp unit/atcmd/radio_config_test.cpp
            unit/atcmd/radio_status_test.cpp unit/atcmd/registration_test.cpp
            unit/atcmd/command_reply_size_test.cpp unit/atcmd/sim_commands_test.cpp
            support/heap_peak.cpp support/reply_parsers.cpp)

# Writes to the store and shell commands are intercepted and recorded; the commands are not run.
cellslot_add_unit_tests(gps
    LIBS cellslot_gps cellslot_le910sim
    SOURCES unit/gps/telit_gps_port_test.cpp unit/gps/telit_gps_start_test.cpp
            unit/gps/telit_gps_store_test.cpp unit/gps/telit_gps_stream_test.cpp
            unit/gps/fixture.cpp support/gps_terminal.cpp)
target_link_options(gps_tests PRIVATE LINKER:--wrap=_Z8skvs_setPKcS0_ LINKER:--wrap=system)

cellslot_add_unit_tests(custom_at
    LIBS cellslot_statemachine cellslot_le910sim
    SOURCES unit/statemachine/custom_at_test.cpp support/no_unlink.cpp support/simulated_port.cpp)
target_link_options(custom_at_tests PRIVATE LINKER:--wrap=unlink)

# PDUs come from the simulated modem, so that encoder and decoder do not only test each other.
cellslot_add_unit_tests(sms
    LIBS cellslot_sms cellslot_le910sim
    SOURCES unit/sms/assembly_random_parts_test.cpp unit/sms/assembly_test.cpp
            unit/sms/fixture.cpp unit/sms/joined_journal_test.cpp unit/sms/message_file_test.cpp
            unit/sms/part_file_test.cpp unit/sms/part_pairing_test.cpp
            unit/sms/receive_kill_test.cpp unit/sms/receive_listing_test.cpp
            unit/sms/receive_modem_model_test.cpp unit/sms/receive_recovery_test.cpp
            unit/sms/receive_test.cpp unit/sms/repeated_parts_test.cpp
            unit/sms/send_file_changes_test.cpp unit/sms/send_prompt_test.cpp
            unit/sms/send_test.cpp unit/sms/sms_check_test.cpp unit/sms/spool_test.cpp
            unit/sms/stuck_files_test.cpp
            unit/platform/sms_pdu/support.cpp
            support/no_unlink.cpp support/simulated_port.cpp)
target_link_options(sms_tests PRIVATE LINKER:--wrap=unlink)

cellslot_add_unit_tests(statemachine
    LIBS cellslot_statemachine
    SOURCES unit/statemachine/pin_rule_test.cpp unit/statemachine/recording_marks_test.cpp
            unit/statemachine/service_status_test.cpp
            unit/statemachine/status_lines_test.cpp support/heap_peak.cpp)

# The folders of requests and recordings have fixed paths.
cellslot_add_unit_tests(recording_control PRIVATE
    LIBS cellslot_statemachine
    SOURCES unit/statemachine/recording_control_test.cpp support/mounted_folder.cpp)

cellslot_add_unit_tests(cli TOOL
    LIBS cellslot_cli util
    SOURCES unit/cli/at/at_request_test.cpp unit/cli/config/config_check_test.cpp
            unit/cli/base/daemon_process_test.cpp unit/cli/base/data_override_test.cpp
            unit/cli/base/display_text_test.cpp unit/cli/doctor/doctor_command_test.cpp
            unit/cli/doctor/doctor_host_checks_test.cpp unit/cli/doctor/doctor_slot_checks_test.cpp
            unit/cli/doctor/modem_checks_test.cpp unit/cli/doctor/neighbour_checks_test.cpp
            unit/cli/doctor/slot_setup_test.cpp
            unit/cli/base/draft_file_test.cpp unit/cli/base/settings_file_test.cpp
            unit/cli/base/utc_time_test.cpp unit/cli/fixture.cpp unit/cli/cellslot_help_test.cpp
            unit/cli/package_commands_test.cpp
            unit/cli/base/misspelling_test.cpp unit/cli/pin/pin_command_test.cpp
            unit/cli/record/record_command_test.cpp unit/cli/report/report_command_test.cpp
            unit/cli/report/report_text_test.cpp unit/cli/report/tar_archive_test.cpp
            unit/cli/status/plain_words_test.cpp unit/cli/status/signal_quality_test.cpp
            unit/cli/status/slot_report_test.cpp unit/cli/sms/sms_spool_test.cpp
            unit/cli/status/status_command_test.cpp unit/cli/status/status_file_test.cpp
            unit/cli/status/status_screen_test.cpp unit/cli/base/printable_text_test.cpp
            unit/cli/status/watch_screen_test.cpp)
target_compile_definitions(cli_tests PRIVATE DOCS_FOLDER="${CMAKE_SOURCE_DIR}/docs"
                                             STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")

# Built only where libmosquitto is.
if(TARGET cellslot_mqtt)
    cellslot_add_unit_tests(mqtt PACKAGE
        LIBS cellslot_mqtt
        SOURCES unit/mqtt/base64_test.cpp unit/mqtt/broker_link_test.cpp
                unit/mqtt/broker_options_test.cpp unit/mqtt/command_test.cpp
                unit/mqtt/message_id_test.cpp unit/mqtt/messages_test.cpp
                unit/mqtt/reconnect_pause_test.cpp unit/mqtt/tls_session_test.cpp
                unit/mqtt/topics_test.cpp)

    # With the modules of Debian's own Python.
    add_executable(message_samples unit/mqtt/message_samples.cpp unit/cli/fixture.cpp)
    target_link_libraries(message_samples PRIVATE cellslot_mqtt cellslot_cli cellslot_test_support)
    target_compile_definitions(message_samples PRIVATE STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
    set_target_properties(message_samples PROPERTIES UNITY_BUILD OFF)
    add_dependencies(package_tests message_samples)
    add_test(NAME unit.message_schemas
        COMMAND /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/unit/mqtt/schemas_test.py
                $<TARGET_FILE:message_samples> ${CMAKE_SOURCE_DIR}/docs/fleet/schemas
                ${CMAKE_SOURCE_DIR}/docs/fleet/asyncapi.yaml)
    set_tests_properties(unit.message_schemas PROPERTIES LABELS "unit;tool;packages" TIMEOUT ${TEST_TIMEOUT_S})
endif()

# Built only where pages are.
if(TARGET cellslot_http)
    cellslot_add_unit_tests(http PACKAGE
        LIBS cellslot_http
        SOURCES unit/http/attempts_test.cpp unit/http/basic_credentials_test.cpp
                unit/http/connections_test.cpp unit/http/host_check_test.cpp
                unit/http/jobs_test.cpp unit/http/page_files_test.cpp unit/http/password_test.cpp)
endif()
if(TARGET cellslot_web_lib)
    cellslot_add_unit_tests(web PACKAGE
        LIBS cellslot_web_lib
        SOURCES unit/cli/fixture.cpp unit/web/history_program_test.cpp
                unit/web/live_status_test.cpp unit/web/web_config_test.cpp)
    target_compile_definitions(web_tests PRIVATE STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
endif()

cellslot_add_unit_tests(observed PACKAGE
    LIBS cellslot_observed
    SOURCES unit/observed/event_watch_test.cpp)

# Built where librrd is installed.
if(HISTORY_BUILT)
    cellslot_add_unit_tests(history
        PACKAGE
        LIBS cellslot_history cellslot_rrd_slim cellslot_cli
        SOURCES unit/cli/fixture.cpp unit/history/connection_test.cpp unit/history/layout_test.cpp
                unit/history/page_reader_test.cpp unit/history/redo_test.cpp
                unit/history/service_test.cpp unit/history/slot_recorder_month_test.cpp
                unit/history/slot_recorder_test.cpp unit/history/span_test.cpp
                unit/history/store_file_test.cpp
                unit/history/rrd_image_damage_test.cpp)
    target_compile_definitions(history_tests PRIVATE STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
    # What draws needs all of librrd.
    cellslot_add_unit_tests(history_command
        PACKAGE
        LIBS cellslot_history_command cellslot_rrd_graph
        SOURCES unit/history/history_command_test.cpp unit/history/history_screen_test.cpp)
    target_compile_definitions(history_command_tests PRIVATE
                               HISTORY_DATA="${CMAKE_SOURCE_DIR}/tests/data/history")
    # Every commit waits for the disk: in memory that costs nothing.
    set_tests_properties(unit.history unit.history_command PROPERTIES ENVIRONMENT "TMPDIR=/dev/shm")
endif()

if(TARGET cellslot_agent_root)
    cellslot_add_unit_tests(agent PACKAGE
        LIBS cellslot_agent_root
        SOURCES unit/agent/agent_config_test.cpp unit/agent/agent_store_test.cpp
                unit/agent/agent_test.cpp unit/agent/change_watch_test.cpp unit/agent/command_desk_test.cpp
                unit/agent/config_change_test.cpp unit/agent/execution_test.cpp unit/agent/host_clock_test.cpp
                unit/agent/outcome_test.cpp unit/agent/permission_test.cpp
                unit/agent/root_protocol_test.cpp unit/agent/status_feed_test.cpp
                unit/agent/text_messages_test.cpp
                unit/cli/fixture.cpp)
    target_link_libraries(agent_tests PRIVATE cellslot_cli)
    target_compile_definitions(agent_tests PRIVATE STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
    # Every commit waits for the disk: in memory that costs nothing.
    set_tests_properties(unit.agent PROPERTIES ENVIRONMENT "TMPDIR=/dev/shm")
endif()

if(TARGET cellslot_fleet)
    find_package(nlohmann_json REQUIRED)
    cellslot_add_unit_tests(fleet PACKAGE
        LIBS cellslot_fleet nlohmann_json::nlohmann_json
        SOURCES unit/cli/fixture.cpp unit/fleet/campaign_test.cpp unit/fleet/event_lines_test.cpp
                unit/fleet/filter_test.cpp unit/fleet/fleet_config_test.cpp
                unit/fleet/fleet_json_test.cpp unit/fleet/fleet_metrics_test.cpp
                unit/fleet/fleet_model_test.cpp
                unit/fleet/fleet_screen_test.cpp unit/fleet/fleet_site_test.cpp
                unit/fleet/fleet_watch_test.cpp
                unit/fleet/gateway_test.cpp unit/fleet/judgement_test.cpp
                unit/fleet/line_words_test.cpp unit/fleet/live_fleet_test.cpp
                unit/fleet/made_fleet.cpp unit/fleet/order_test.cpp unit/fleet/slot_view_test.cpp
                unit/fleet/waves_test.cpp)
    target_compile_definitions(fleet_tests PRIVATE STATUS_DATA="${CMAKE_SOURCE_DIR}/tests/data/status")
endif()
