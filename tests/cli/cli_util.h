// Running the Davok binary in a temporary folder for end-to-end tests.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "support/test_util.h"

// Runs Davok with `args` in `dir`, with `input` on standard input.
RunResult RunDavok(const TempDir& dir, const std::string& args, const std::string& input = "");
// Copies a parameter file of tests/cli/data into dir under the same or a new name.
void CopyTestParam(const TempDir& dir, const std::string& name, const std::string& as = "");
// The text of a parameter file of tests/cli/data.
std::string TestParam(const std::string& name);
// Forgets the clock seed of the previous run in dir ("seed.prv"), so that a second run started
// within the same second is not refused for repeating it.
void RemoveClockSeedRecord(const TempDir& dir);
// Names of the result files (".txt", without "report.txt") in folder.
std::set<std::string> ResultFiles(const std::string& folder);
// Expects the two folders to hold the same result files with the same bytes; returns their names.
std::set<std::string> ExpectSameResultFiles(const std::string& first, const std::string& second);
// The console's "Size=" of each generation of the population printed under `name` (of the first
// replicate).
std::vector<int> ConsoleSizes(const std::string& out, const std::string& name);
