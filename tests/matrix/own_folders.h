#ifndef TESTS_MATRIX_OWN_FOLDERS_H
#define TESTS_MATRIX_OWN_FOLDERS_H

// Gives this process fresh folders in the place of those that the daemon uses, seen by nobody else.
void enterOwnFolders();

#endif
