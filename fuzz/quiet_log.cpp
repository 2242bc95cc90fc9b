#include <syslog.h>

// These replace the C library's functions: a fuzzer produces thousands of lines a second.

extern "C" void syslog(int, const char*, ...) {}

extern "C" void __syslog_chk(int, int, const char*, ...) {}
