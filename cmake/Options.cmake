option(BUILD_TESTING "Build the tests" ON)
option(SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(HISTORY "Build cellslot-history, if librrd is installed" ON)
option(BENCH "Build the benchmarks (needs BUILD_TESTING)" OFF)
option(COVERAGE "Count the lines and branches that run (gcov)" OFF)
option(FUZZ "Build the fuzz targets (clang++ only)" OFF)
set(PLATFORM "host" CACHE STRING "host: our libraries in platform/; external: the gateway's own")
set_property(CACHE PLATFORM PROPERTY STRINGS host external)
set(PLATFORM_LIBS "" CACHE STRING "With PLATFORM=external: the gateway's libraries to link")
set(PLATFORM_INCLUDE_DIR "" CACHE PATH "With PLATFORM=external: folder of the gateway's own headers")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # It takes files that use precompiled headers from its cache only with these permissions.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
endif()

if(SANITIZE)
    # Under the sanitizers GCC 12 warns that std::regex is uninitialised.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer -Wno-maybe-uninitialized)
    add_link_options(-fsanitize=address,undefined)
    # For unity builds: a class that derives from one of an anonymous namespace belongs to one file still.
    add_compile_options(-Wno-subobject-linkage)
endif()

# The sanitizers' build compiles several files of a folder as one, in half the time. Call it at the top of
# a folder's CMakeLists.txt. Files whose own names clash with those of others are compiled alone, as are
# all in the other builds, where one file is changed at a time.
macro(cellslot_compile_together)
    cmake_parse_arguments(TOGETHER "" "" "BUT" ${ARGN})
    set(CMAKE_UNITY_BUILD ${SANITIZE})
    set_source_files_properties(${TOGETHER_BUT} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endmacro()

# Where a change is tried, the quicker of the two linkers that come with the compiler.
include(CheckLinkerFlag)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_CROSSCOMPILING AND NOT FUZZ)
    check_linker_flag(CXX -fuse-ld=gold HAS_GOLD)
    if(HAS_GOLD)
        add_link_options(-fuse-ld=gold)
    endif()
endif()

# Programs of the gateway link the C++ library statically: the shared one costs a process more than a
# megabyte of memory, mostly for unused locales. A gateway's own libraries may load the shared one, and
# a process cannot use both.
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
    # Everything is instrumented, so that the fuzzer sees the path of an input through the daemon.
    add_compile_options(-O1 -g -fno-omit-frame-pointer -fsanitize=fuzzer-no-link,address,undefined
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
