#ifndef INCLUDE_PROGRAM_VERSION_H
#define INCLUDE_PROGRAM_VERSION_H

constexpr const char* PROGRAM_VERSION = "1.0.17";

#endif
