// The checked opening through which every file of the system is opened.
#pragma once

#include <cstdio>

// Opens path with mode or ends the run. For mode "r" the file's last byte must be a line feed.
FILE* Myfopen(const char* path, const char* mode);
