# The daemon's real loop on recordings, on a fake clock.
cellslot_add_flow_tests(replay SOURCES matrix/faulty_modem_test.cpp replay/replay_test.cpp)
target_link_libraries(replay_flow_tests PRIVATE cellslot_matrix)
target_link_options(replay_flow_tests PRIVATE -Wl,--wrap=system ${MEMORY_TERMINAL_OPTIONS})
target_compile_definitions(replay_flow_tests PRIVATE DOCS="${CMAKE_SOURCE_DIR}/docs")

cellslot_add_flow_tests(recordings SOURCES replay/recordings_test.cpp)
target_link_libraries(recordings_flow_tests PRIVATE cellslot_matrix)
target_link_options(recordings_flow_tests PRIVATE -Wl,--wrap=system ${MEMORY_TERMINAL_OPTIONS})
target_compile_definitions(recordings_flow_tests
                           PRIVATE RECORDINGS="${CMAKE_CURRENT_SOURCE_DIR}/recordings")

add_executable(make_recordings replay/make_recordings.cpp)
target_link_libraries(make_recordings PRIVATE cellslot_matrix)
target_link_options(make_recordings PRIVATE -Wl,--wrap=system)
