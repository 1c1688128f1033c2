#pragma once

/// Opening a file below a folder named "hanging" does not return before this is
/// called, as in a network folder that does not answer.
void letFolderAnswer();
