add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-align -Werror)

# A library of the daemon or its tools, from the sources of its own folder; include paths start at the
# root.
function(cellslot_add_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
endfunction()
