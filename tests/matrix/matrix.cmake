# The fault matrix: every command of a day with every fault, each in a process of its own.
add_library(cellslot_matrix STATIC matrix/cell.cpp matrix/day_difference.cpp matrix/faults.cpp
                                   matrix/faulty_modem.cpp matrix/host_tools.cpp matrix/matrix.cpp
                                   matrix/own_folders.cpp matrix/pool.cpp matrix/waits.cpp
                                   replay/published_marks.cpp replay/recorded_run.cpp
                                   replay/replayed_day.cpp replay/replayed_modem.cpp
                                   replay/sessions.cpp replay/variations.cpp)
target_link_libraries(cellslot_matrix PUBLIC cellslot_flow_support)
add_executable(fault_matrix matrix/main.cpp)
target_link_libraries(fault_matrix PRIVATE cellslot_matrix)
target_link_options(fault_matrix PRIVATE -Wl,--wrap=system)

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
cellslot_add_matrix_test(matrix replay --suite all --replay --sample 40 --seed 11)

# Small samples, for each change.
cellslot_add_matrix_test(smoke smoke --suite all --sample 40)
cellslot_add_matrix_test(smoke smoke_replay --suite all --replay --sample 8 --seed 11)
