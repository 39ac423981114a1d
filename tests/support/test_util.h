// Helpers shared by the unit and end-to-end tests: temporary folders, files and running the
// real binary.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

// A fresh folder under /tmp, removed with everything in it when the object goes away.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
bool FileExists(const std::string& path);

// Everything one FILE*-writing call prints.
std::string CaptureFile(const std::function<void(FILE*)>& write);

struct RunResult {
    int exitCode;
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs `shellCommand` in folder `cwd` with `input` on standard input (end of input after it).
RunResult RunIn(const std::string& cwd, const std::string& shellCommand, const std::string& input = "");

// Number of times `needle` occurs in `haystack`.
int CountOf(const std::string& haystack, const std::string& needle);

// The lines of a text, without their line feeds.
std::vector<std::string> Lines(const std::string& text);
