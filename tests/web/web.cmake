# A history to look at on the page, for the tests in a browser.
if(TARGET cellslot_web_lib AND HISTORY_BUILT)
    add_executable(make_history web/make_history.cpp)
    target_link_libraries(make_history PRIVATE cellslot_history cellslot_rrd_slim)
endif()
