// Reader of the parameter file.
#pragma once

#include <string>

class CLex {
public:
    // Tokenises the parameter file, builds the grammar and reports syntax errors.
    // Not written yet: the parameter language comes with its own change.
    void RunLex() {}

    std::string fileName;  // the parameter file name as given by the user
};
