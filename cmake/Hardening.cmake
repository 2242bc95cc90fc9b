# The hardening options of distributions. A process of root reads text from modem and network: an
# error that the checks in the code miss must end the process, not take it over.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

option(HARDEN "Build programs as a distribution hardens them" ON)

# The sanitizers have checks of their own, and _FORTIFY_SOURCE needs an optimised build.
if(HARDEN AND NOT SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
    set(HARDENED ON)
    check_pie_supported()
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong
                        -Werror=format-security)
    # For some processors only: flags unknown to the compiler are left out.
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
