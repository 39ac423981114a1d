// Result files written under a temporary name in the folder of their final name and renamed
// only when complete, so that an interrupted or failed export never leaves a cut file behind a
// name that looks finished. Temporary files still open when the program ends are removed.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

class COutputFile {
public:
    // "-" writes to standard output, without a temporary file.
    explicit COutputFile(const std::string& finalName);
    ~COutputFile();
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    FILE* Stream() const { return fp; }
    void Write(const void* data, size_t n);
    // Closes the file, checks that everything reached it and gives it its final name.
    void Commit();

private:
    std::string finalName;  // the name the file gets when complete
    std::string tempName;   // where it is written meanwhile; empty for standard output
    FILE* fp = nullptr;     // owned unless standard output
    std::vector<char> buffer;  // the stream's buffer: large, so that it is written in long blocks
};
