add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-align -Werror)

# A library of the daemon or of its tools: its own folder's sources, headers found from the root.
function(cellslot_add_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
endfunction()
