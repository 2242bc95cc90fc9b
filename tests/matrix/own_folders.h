#ifndef TESTS_MATRIX_OWN_FOLDERS_H
#define TESTS_MATRIX_OWN_FOLDERS_H

// Gives this process private empty folders in place of those that the daemon uses.
void enterOwnFolders();

#endif
