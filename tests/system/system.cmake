# A test waits for events, with generous limits of its own; this one is for a test that hangs.
set(SYSTEM_TIMEOUT_S 1800)

# The built programs on real paths, with real timers, in a private namespace. One CTest entry per test
# class, so that they can run at the same time.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# cellslot_add_system_test(<name> <file> [<test class or arguments>...])
function(cellslot_add_system_test name file)
    add_test(NAME system.${name}
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/${file} ${ARGN})
    set_tests_properties(system.${name} PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S} ENVIRONMENT
        "CELLSLOT_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};CELLSLOT_HOST=${CMAKE_SOURCE_DIR}/gateway-tools")
    if(SANITIZE)
        # faketime is loaded before AddressSanitizer's library.
        set_property(TEST system.${name} APPEND PROPERTY ENVIRONMENT
                     CELLSLOT_SLOW=1 ASAN_OPTIONS=verify_asan_link_order=0)
    endif()
endfunction()

add_executable(print_commands support/print_commands.cpp)
target_link_libraries(print_commands PRIVATE cellslot_flow_support)
foreach(class BringUp Link RefusedStart Console CleanStop Registration Changes ModemAway Files)
    cellslot_add_system_test(daemon.${class} daemon_test.py ${class})
endforeach()
cellslot_add_system_test(setup_cellint setup_cellint_test.py)
cellslot_add_system_test(host_tools host_tools_test.py)

# Makes its namespaces itself.
add_test(NAME system.private_namespace
         COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/private_namespace_test.py)
set_tests_properties(system.private_namespace PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S})

cellslot_add_system_test(custom_at custom_at_test.py)
cellslot_add_system_test(recording recording_test.py)
if(HISTORY_BUILT)
    cellslot_add_system_test(history.Following history_test.py Following)
    cellslot_add_system_test(history.Sandbox history_test.py Sandbox)
endif()
cellslot_add_system_test(repeated_starts repeated_starts_test.py)
cellslot_add_system_test(cli_actions cli_actions_test.py)
cellslot_add_system_test(replay replay_test.py)

add_test(NAME system.man_pages
         COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/man_pages_test.py)
set_tests_properties(system.man_pages PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S} ENVIRONMENT
    "CELLSLOT_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")

# It checks the daemon's memory, which the sanitizers change.
if(NOT SANITIZE)
    cellslot_add_system_test(demo demo_test.py)
endif()

add_test(NAME system.script_help COMMAND ${CMAKE_SOURCE_DIR}/tests/system/script_help_test.sh)
set_tests_properties(system.script_help PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S})

foreach(check includes repeats peers_reckoning)
    add_test(NAME system.${check}
             COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/${check}_test.py)
    set_tests_properties(system.${check} PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S})
endforeach()

# With Debian's gpsd.
foreach(class HandOver Enabling)
    cellslot_add_system_test(gpsd.${class} gpsd_test.py ${class})
endforeach()
cellslot_add_system_test(sms.Receiving sms_test.py Receiving)
# Its accelerated clock needs a processor for itself: two such tests at a time.
cellslot_add_system_test(sms.Sending sms_test.py Sending)
set_tests_properties(system.sms.Sending PROPERTIES PROCESSORS 3)

# The same holds for these.
foreach(class Tmp RootsPlaces Triggers)
    cellslot_add_system_test(hostile_files.${class} hostile_files_test.py ${class})
    set_tests_properties(system.hostile_files.${class} PROPERTIES PROCESSORS 3 TIMEOUT 1200)
endforeach()

# Repeated kill -9; with CELLSLOT_TEST_ALL=1 300 times, which takes a quarter of an hour.
cellslot_add_system_test(kill kill_test.py)
set_tests_properties(system.kill PROPERTIES PROCESSORS 3 TIMEOUT 3000)

# Readiness, status line and watchdog.
cellslot_add_system_test(service service_test.py)

# The operator's command beside the daemon.
foreach(class Status Watch)
    cellslot_add_system_test(cli_status.${class} cli_status_test.py ${class})
endforeach()
cellslot_add_system_test(cli_completion cli_completion_test.py)
cellslot_add_system_test(resources resources_test.py)
set_tests_properties(system.resources PROPERTIES PROCESSORS 3)

# The programs as they ship; uses hardening-check too if it is installed.
if(HARDENED)
    add_test(NAME system.hardening
             COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/hardening_test.py)
    set_tests_properties(system.hardening PROPERTIES LABELS system TIMEOUT ${SYSTEM_TIMEOUT_S} ENVIRONMENT
        "CELLSLOT_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endif()

# The longest first, so that none runs alone at the end.
set_tests_properties(system.recording system.sms.Sending system.replay PROPERTIES COST 100)
set_tests_properties(system.gpsd.HandOver system.gpsd.Enabling PROPERTIES COST 50)
