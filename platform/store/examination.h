#ifndef PLATFORM_STORE_EXAMINATION_H
#define PLATFORM_STORE_EXAMINATION_H

#include <lmdb.h>

#include <cstddef>
#include <functional>

// Files of LMDB are mapped: damaged pages can crash whoever reads them. So a child process reads
// them first.

// Whether an error of LMDB means that the files are damaged.
bool showsDamage(int result);

// Runs the examination in a child, which says whether the files are sound; a crash and an endless
// loop mean that they are not. True also if no child can be had.
bool passesExamination(const std::function<bool()>& isSound);

// Within the examination: reads each entry and LMDB's own list of free pages. MDB_CORRUPTED if they
// do not fit together, or if there is more than the map may have.
int readEverything(MDB_env* environment, size_t mapBytes);

// Within the examination: what LMDB itself finds ends it.
void failOnDamage(MDB_env* environment);

#endif
