# The built programs on real paths, with real timers, in a namespace of their own. A test class a
# CTest entry, so that they can run beside each other.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# cellslot_add_system_test(<name> <file> [<test class or arguments>...])
function(cellslot_add_system_test name file)
    add_test(NAME system.${name}
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/${file} ${ARGN})
    set_tests_properties(system.${name} PROPERTIES LABELS system TIMEOUT 300 ENVIRONMENT
        "CELLSLOT_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};CELLSLOT_HOST=${CMAKE_SOURCE_DIR}/host")
    if(SANITIZE)
        # faketime is loaded in front of AddressSanitizer's library.
        set_property(TEST system.${name} APPEND PROPERTY ENVIRONMENT
                     CELLSLOT_SLOW=1 ASAN_OPTIONS=verify_asan_link_order=0)
    endif()
endfunction()

foreach(class BringUp CleanStop Session Files)
    cellslot_add_system_test(daemon.${class} daemon_test.py ${class})
endforeach()
cellslot_add_system_test(setup_cellint setup_cellint_test.py)
cellslot_add_system_test(host_tools host_tools_test.py)

# Makes its namespaces itself.
add_test(NAME system.private_namespace
         COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/private_namespace_test.py)
set_tests_properties(system.private_namespace PROPERTIES LABELS system TIMEOUT 300)

cellslot_add_system_test(custom_at custom_at_test.py)

# With Debian's gpsd.
foreach(class HandOver Enabling)
    cellslot_add_system_test(gpsd.${class} gpsd_test.py ${class})
endforeach()
# Its accelerated clock wants the machine for itself.
cellslot_add_system_test(sms sms_test.py Sms)
set_tests_properties(system.sms PROPERTIES RUN_SERIAL TRUE)

# The programs as they ship; hardening-check looks too where it is installed.
if(HARDENED)
    add_test(NAME system.hardening
             COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/system/hardening_test.py)
    set_tests_properties(system.hardening PROPERTIES LABELS system TIMEOUT 60 ENVIRONMENT
        "CELLSLOT_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endif()
