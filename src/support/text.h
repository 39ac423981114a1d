// Small text helpers shared by the parameter reader and the boxes.
#pragma once

#include <string>

// Tabs, line feeds and carriage returns become blanks; leading and trailing blanks go;
// every run of blanks becomes one blank.
void MakeCleanString(std::string& s);
// Removes leading and trailing blanks, tabs, carriage returns and line feeds; returns the new length.
size_t TrimLeftRight(std::string& s);
