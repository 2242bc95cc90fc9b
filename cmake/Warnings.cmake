add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-align -Werror)

# A library of the daemon or its tools, from the sources of its own folder; include paths start at the
# root.
function(cellslot_add_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
    # So that the linker can leave out each function that a program does not use.
    target_compile_options(${name} PRIVATE
                           $<$<CONFIG:Release>:-ffunction-sections -fdata-sections>)
endfunction()

# For a library that has little to do with each AT command: compiled for size, it takes half the space,
# in memory too.
function(cellslot_optimise_for_size name)
    target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-Os>)
endfunction()

# The same for single files of a library whose other files matter to each command. Call it in the
# folder that compiles them.
function(cellslot_optimise_files_for_size)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS $<$<CONFIG:Release>:-Os>)
endfunction()
