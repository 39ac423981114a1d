// The numbered messages of parameter-file errors.
#pragma once

#include <string>
#include <vector>

class CErrMsg {
public:
    CErrMsg();
    // Appends an entry holding a copy of text.
    void SetErrMsg(short number, const char* text);
    // The message of number; an unknown number ends the run.
    const char* GetErrMsg(short number) const;

private:
    struct Entry {
        short number;      // error number
        std::string text;  // message, without a final line end
    };
    std::vector<Entry> entries;  // in construction order
};
