# The fault matrix: every command of a day with every fault, each in a process of its own.
add_library(cellslot_matrix STATIC matrix/cell.cpp matrix/day_difference.cpp matrix/faults.cpp
                                   matrix/faulty_modem.cpp matrix/host_tools.cpp matrix/matrix.cpp
                                   matrix/own_folders.cpp matrix/pool.cpp matrix/waits.cpp
                                   replay/published_marks.cpp replay/recorded_run.cpp
                                   replay/replayed_day.cpp replay/replayed_modem.cpp
                                   replay/sessions.cpp replay/variations.cpp
                                   support/memory_terminal.cpp)
target_link_libraries(cellslot_matrix PUBLIC cellslot_flow_support)
# The linker takes the JSON library's templates, with which recordings are read, from the first of the
# objects that have them: these.
if(CMAKE_BUILD_TYPE STREQUAL Release)
    set_source_files_properties(matrix/cell.cpp replay/published_marks.cpp replay/recorded_run.cpp
                                replay/replayed_day.cpp replay/sessions.cpp replay/variations.cpp
                                PROPERTIES COMPILE_OPTIONS -O2)
endif()
add_executable(fault_matrix matrix/main.cpp)
target_link_libraries(fault_matrix PRIVATE cellslot_matrix)
target_link_options(fault_matrix PRIVATE -Wl,--wrap=system ${MEMORY_TERMINAL_OPTIONS})

# cellslot_add_matrix_test(<label> <name> <arguments>...): a random sample; it prints its seed. The
# cells use both cores.
function(cellslot_add_matrix_test label name)
    add_test(NAME matrix.${name}
             COMMAND ${CMAKE_SOURCE_DIR}/scripts/private_namespace.sh --keep ${CMAKE_BINARY_DIR}
                     $<TARGET_FILE:fault_matrix> ${ARGN})
    set_tests_properties(matrix.${name} PROPERTIES LABELS ${label} TIMEOUT 1200 PROCESSORS 2)
endfunction()

cellslot_add_matrix_test(matrix faults --suite faults --sample 200)
cellslot_add_matrix_test(matrix pin --suite pin --sample 60)
cellslot_add_matrix_test(matrix unsolicited --suite unsolicited --sample 150)
cellslot_add_matrix_test(matrix replay --suite all --replay --sample 40 --sample-all 500 --seed 11)
# Five hundred days under the sanitizers.
set_tests_properties(matrix.replay PROPERTIES TIMEOUT 7200)

# Small samples, for each change.
cellslot_add_matrix_test(smoke smoke --suite all --sample 40)
cellslot_add_matrix_test(smoke smoke_replay --suite all --replay --sample 8 --seed 11)
