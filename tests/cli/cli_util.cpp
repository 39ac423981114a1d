#include "cli/cli_util.h"

#include <cstdio>

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
