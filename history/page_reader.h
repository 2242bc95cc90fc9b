#ifndef HISTORY_PAGE_READER_H
#define HISTORY_PAGE_READER_H

#include <ctime>
#include <iosfwd>
#include <string>
#include <vector>

#include "cli/base/exit_status.h"
#include "cli/base/places.h"

// Reads the history for the page of a gateway, which starts it for each question
// (web/history_program.h): "history SLOT RANGE" or "events SLOT".
eExitStatus runPageReader(const std::vector<std::string>& words, const sPlaces& places, time_t now,
                          std::ostream& out, std::ostream& err);

#endif
