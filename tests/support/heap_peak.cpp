#include "tests/support/heap_peak.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

size_t g_allocated = 0;
size_t g_peak = 0;

void* allocate(size_t size) {
    void* const block = malloc(size != 0 ? size : 1);
    if (block == nullptr) throw std::bad_alloc();
    g_allocated += malloc_usable_size(block);
    g_peak = std::max(g_peak, g_allocated);
    return block;
}

void release(void* block) {
    g_allocated -= malloc_usable_size(block);
    free(block);
}

}  // namespace

void* operator new(size_t size) {
    return allocate(size);
}

void* operator new[](size_t size) {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, size_t) noexcept {
    release(block);
}

void operator delete[](void* block, size_t) noexcept {
    release(block);
}

size_t heapPeakOf(const std::function<void()>& action) {
    const size_t before = g_allocated;
    g_peak = before;
    action();
    return g_peak - before;
}
