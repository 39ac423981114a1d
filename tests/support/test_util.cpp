#include "support/test_util.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

TempDir::TempDir()
{
    char pattern[] = "/tmp/davok_test_XXXXXX";
    if (!mkdtemp(pattern)) abort();
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::string cmd = "chmod -R u+rwx '" + path_ + "' 2>/dev/null; rm -rf '" + path_ + "'";
    int rc = system(cmd.c_str());
    (void)rc;  // nothing to do about a folder that cannot be removed
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void WriteFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary);
    out << content;
}

bool FileExists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string CaptureFile(const std::function<void(FILE*)>& write)
{
    FILE* fp = tmpfile();
    write(fp);
    fflush(fp);
    long n = ftell(fp);
    rewind(fp);
    std::string text(n, '\0');
    if (n > 0 && fread(&text[0], 1, n, fp) != static_cast<size_t>(n)) text.clear();
    fclose(fp);
    return text;
}

RunResult RunIn(const std::string& cwd, const std::string& shellCommand, const std::string& input)
{
    TempDir io;
    WriteFile(io / "in", input);
    std::string cmd = "cd '" + cwd + "' && ( " + shellCommand + " ) < '" + io / "in" + "' > '" +
                      io / "out" + "' 2> '" + io / "err" + "'";
    int status = system(cmd.c_str());
    RunResult r;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = ReadFile(io / "out");
    r.err = ReadFile(io / "err");
    return r;
}

int CountOf(const std::string& haystack, const std::string& needle)
{
    int n = 0;
    for (size_t p = haystack.find(needle); p != std::string::npos; p = haystack.find(needle, p + 1)) ++n;
    return n;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}
