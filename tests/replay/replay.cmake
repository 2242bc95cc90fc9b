# The daemon's real loop on recordings, on a fake clock.
add_library(cellslot_replay_support STATIC replay/replayed_day.cpp replay/replayed_modem.cpp)
target_link_libraries(cellslot_replay_support PUBLIC cellslot_matrix)

cellslot_add_flow_tests(replay SOURCES replay/replay_test.cpp)
target_link_libraries(replay_flow_tests PRIVATE cellslot_replay_support)
target_link_options(replay_flow_tests PRIVATE -Wl,--wrap=system)
