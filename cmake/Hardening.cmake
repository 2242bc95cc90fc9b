# What a distribution builds its daemons with. Text of a modem and of the network is read by a
# process of root: what slips through the checks in the code shall end it, not take it over.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

option(HARDEN "Build programs as a distribution hardens them" ON)

# The sanitizers bring checks of their own, and _FORTIFY_SOURCE needs an optimised build.
if(HARDEN AND NOT SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    set(HARDENED ON)
    check_pie_supported()
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong
                        -Werror=format-security)
    # Of some processors only: a flag that the compiler does not know is left out.
    foreach(flag -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "HAS${flag}" has)
        check_cxx_compiler_flag(${flag} ${has})
        if(${has})
            add_compile_options(${flag})
        endif()
    endforeach()
    add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
else()
    set(HARDENED OFF)
endif()
