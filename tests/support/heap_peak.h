#ifndef TESTS_SUPPORT_HEAP_PEAK_H
#define TESTS_SUPPORT_HEAP_PEAK_H

#include <cstddef>
#include <functional>

// The most bytes that were allocated with new at one time while action ran, without those allocated
// before. heap_peak.cpp replaces operator new and delete of the program.
size_t heapPeakOf(const std::function<void()>& action);

#endif
