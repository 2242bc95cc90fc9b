#ifndef TESTS_SUPPORT_HEAP_PEAK_H
#define TESTS_SUPPORT_HEAP_PEAK_H

#include <cstddef>
#include <functional>

// The most bytes that were allocated with new at one time while action ran, beyond those from
// before it. A program that links heap_peak.cpp has its operator new and delete replaced.
size_t heapPeakOf(const std::function<void()>& action);

#endif
