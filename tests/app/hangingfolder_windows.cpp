#include "tests/app/hangingfolder.h"

// There is no such folder on Windows; the tests that need it are skipped.
void letFolderAnswer() {}
