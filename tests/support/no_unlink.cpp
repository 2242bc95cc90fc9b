#include "tests/support/no_unlink.h"

#include <cerrno>

namespace {

bool g_readOnly = false;

}  // namespace

// The linker replaces the C library's function by the second one.
extern "C" int __real_unlink(const char* path);
extern "C" int __wrap_unlink(const char* path);
extern "C" int __wrap_unlink(const char* path) {
    if (!g_readOnly) return __real_unlink(path);
    errno = EROFS;
    return -1;
}

cNoUnlink::cNoUnlink() {
    g_readOnly = true;
}

cNoUnlink::~cNoUnlink() {
    g_readOnly = false;
}
