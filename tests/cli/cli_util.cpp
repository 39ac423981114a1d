#include "cli/cli_util.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <dirent.h>

RunResult RunDavok(const TempDir& dir, const std::string& args, const std::string& input)
{
    return RunIn(dir.path(), std::string(DAVOK_BIN) + " " + args, input);
}

std::string TestParam(const std::string& name)
{
    return ReadFile(std::string(DAVOK_TEST_DATA) + "/cli/data/" + name);
}

void CopyTestParam(const TempDir& dir, const std::string& name, const std::string& as)
{
    WriteFile(dir / (as.empty() ? name : as), TestParam(name));
}

void RemoveClockSeedRecord(const TempDir& dir)
{
    remove((dir / "seed.prv").c_str());
}

std::set<std::string> ResultFiles(const std::string& folder)
{
    std::set<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (struct dirent* e = readdir(dir)) {
            std::string n = e->d_name;
            if (n.size() > 4 && n.compare(n.size() - 4, 4, ".txt") == 0 && n != "report.txt") names.insert(n);
        }
        closedir(dir);
    }
    return names;
}

std::set<std::string> ExpectSameResultFiles(const std::string& first, const std::string& second)
{
    const std::set<std::string> files = ResultFiles(first);
    EXPECT_EQ(ResultFiles(second), files);
    for (const std::string& f : files) EXPECT_EQ(ReadFile(second + "/" + f), ReadFile(first + "/" + f)) << f;
    return files;
}

std::vector<int> ConsoleSizes(const std::string& out, const std::string& name)
{
    std::vector<int> sizes;
    size_t at = out.find("Population \"" + name + "\"");
    size_t end = out.find("Population \"", at + 1);
    while ((at = out.find("Size=", at)) != std::string::npos && at < end) {
        at += 5;
        sizes.push_back(std::stoi(out.substr(at)));
    }
    return sizes;
}
