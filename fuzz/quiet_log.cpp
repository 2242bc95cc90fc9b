#include <syslog.h>

// These take the place of the C library's functions: a fuzzer makes thousands of lines a second.

extern "C" void syslog(int, const char*, ...) {}

extern "C" void __syslog_chk(int, int, const char*, ...) {}
