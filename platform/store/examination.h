#ifndef PLATFORM_STORE_EXAMINATION_H
#define PLATFORM_STORE_EXAMINATION_H

#include <lmdb.h>

#include <functional>

// Files of LMDB are mapped: damaged pages can crash whoever reads them. So a child process reads
// them first.

// Whether an error of LMDB means that the files are damaged.
bool showsDamage(int result);

// Runs the examination in a child, which says whether the files are sound; a crash and an endless
// loop mean that they are not. True also if no child can be had.
bool passesExamination(const std::function<bool()>& isSound);

// Within the examination: what LMDB itself finds ends it.
void failOnDamage(MDB_env* environment);

#endif
