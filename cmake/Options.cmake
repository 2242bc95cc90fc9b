option(BUILD_TESTING "Build the tests" ON)
option(SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(BENCH "Build the benchmarks (needs BUILD_TESTING)" OFF)
option(COVERAGE "Count the lines and branches that run (gcov)" OFF)
option(FUZZ "Build the fuzz targets (clang++ only)" OFF)
set(PLATFORM "host" CACHE STRING "host: our libraries in platform/; external: the gateway's own")
set_property(CACHE PLATFORM PROPERTY STRINGS host external)
set(PLATFORM_LIBS "" CACHE STRING "With PLATFORM=external: the gateway's libraries to link")
set(PLATFORM_INCLUDE_DIR "" CACHE PATH "With PLATFORM=external: folder of the gateway's own headers")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

if(SANITIZE)
    # GCC 12 takes std::regex under the sanitizers for uninitialised.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer -Wno-maybe-uninitialized)
    add_link_options(-fsanitize=address,undefined)
endif()

# A program of the gateway carries what it needs of the C++ library: the shared one costs a process
# more than a megabyte of memory, most of it locales that nothing here uses. A gateway's own
# libraries may bring the shared one with them, and two of them in a process do not go together.
function(cellslot_slim_program name)
    if(PLATFORM STREQUAL "host" AND NOT SANITIZE)
        target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc -Wl,--gc-sections)
    endif()
endfunction()

if(COVERAGE)
    # Counters are updated atomically and several processes merge theirs.
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

if(FUZZ)
    # Everything, so that the fuzzer sees the way an input takes through the daemon.
    add_compile_options(-O1 -g -fno-omit-frame-pointer -fsanitize=fuzzer-no-link,address,undefined
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
