// Running the Davok binary in a temporary folder for end-to-end tests, writing its parameter
// files and reading its result files back.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "support/test_util.h"

// Runs Davok with `args` in `dir`, with `input` on standard input.
RunResult RunDavok(const TempDir& dir, const std::string& args, const std::string& input = "");
// Writes `text` as dir/<name>.prm and runs Davok on it with `args`. The clock seed of an earlier
// run in dir ("seed.prv") is forgotten first, so that a run started within the same second is
// not refused for repeating it.
RunResult RunParam(const TempDir& dir, const std::string& name, const std::string& text, const std::string& args = "");
// Copies a parameter file of tests/cli/data into dir under the same or a new name.
void CopyTestParam(const TempDir& dir, const std::string& name, const std::string& as = "");
// The text of a parameter file of tests/cli/data.
std::string TestParam(const std::string& name);
// `text` with its first `from` replaced by `to`; the test fails where `from` does not occur.
std::string Edited(std::string text, const std::string& from, const std::string& to);
// minimal.prm with its "nrep = 1;" line replaced by `globals`.
std::string Minimal(const std::string& globals);

// Blocks of a parameter file: a genome of `chromosomes` chromosomes of `length` cM with
// `markers` markers and `qtl` two-allele QTL each, `extra` statements in front of them; the
// founders of a population from the historical one; a population.
std::string Genome(int chromosomes, int length, int markers, int qtl, const std::string& extra = "",
                   const std::string& markerAlleles = "all 2");
std::string HpFounders(int males, int females);
std::string Population(const std::string& name, const std::string& founders, const std::string& body);
// The output block of a population.
std::string PopOutput(const std::string& statements);
// Population "a" (litters of 2 or 3, `generations` generations, half the parents replaced) from
// the historical population of 200, and "b" (litters of 2, two generations) founded from a's last
// two generations; `a` and `b` end their blocks, `globals` stands in front.
std::string TwoPopulations(const std::string& globals, int generations, const std::string& a, const std::string& b);

// Names of the result files (".txt", without "report.txt") in folder.
std::set<std::string> ResultFiles(const std::string& folder);
// Expects the two folders to hold the same result files with the same bytes; returns their names.
std::set<std::string> ExpectSameResultFiles(const std::string& first, const std::string& second);
// The console's "Size=" of each generation of the population printed under `name` (of the first
// replicate).
std::vector<int> ConsoleSizes(const std::string& out, const std::string& name);
// Whitespace-separated fields of a line, and those of every line after the header of a text.
std::vector<std::string> Fields(const std::string& line);
std::vector<std::vector<std::string>> Rows(const std::string& text);
