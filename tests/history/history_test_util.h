// Simulating the historical population of a parameter text inside a test.
#pragma once

#include <memory>
#include <string>

#include "app/simclass.h"

// Reads the text, seeds the main generator with `seed` and runs the historical population of
// replicate 1 with `threads` workers. Console output is swallowed.
std::unique_ptr<SimClass> SimulateHistory(const std::string& text, unsigned long seed, int threads);

// A parameter text with one population and the given historical and genome sections.
std::string HistoryParam(const std::string& hp, const std::string& genome, const std::string& globals = "");

// Standard chromosome block: `n` identical chromosomes of `len` cM with the given markers and QTL.
std::string ChromosomeBlock(int n, int len, int markers, int qtl, const std::string& extra = "");
