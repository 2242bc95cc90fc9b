#ifndef HISTORY_SPAN_H
#define HISTORY_SPAN_H

#include <ctime>
#include <optional>
#include <string>

// "90m", "24h", "7d", "2w", "1y": the begin of a time that ends now. "2026-11-20" and "2026-11-20
// 22:00": local time. Nothing for another text, or a time that is not before now.
std::optional<time_t> beginOf(const std::string& text, time_t now);

#endif
