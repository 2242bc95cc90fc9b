#include "agent/working_memory.h"

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace {

// What is relocated is in segments that can be written; the others are as in the file.
int giveBackConstants(dl_phdr_info* object, size_t, void*) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
        const uintptr_t start = (object->dlpi_addr + segment.p_vaddr) & ~(page - 1);
        const uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        madvise(reinterpret_cast<void*>(start), end - start, MADV_DONTNEED);
    }
    return 0;
}

}  // namespace

void giveBackMemory() {
    malloc_trim(0);
    dl_iterate_phdr(giveBackConstants, nullptr);
}
