// Running recent populations of a parameter text inside a test, and looking at their records.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/simclass.h"

// Reads the text, seeds the main generator with `seed` and runs it completely with `threads`
// workers in a temporary output folder; `inspect` sees every population of every replicate
// after its last generation. Console output is swallowed.
void RunPopulations(const std::string& text, unsigned long seed, int threads,
                    const std::function<void(const CPopulation&, int rep)>& inspect);
// As RunPopulations, with the engine itself handed to `inspect`.
void RunEngine(const std::string& text, unsigned long seed, int threads,
               const std::function<void(SimClass&, const CPopulation&, int rep)>& inspect);

// A parameter text: nrep replicates, globals, a historical population of `hpSize` animals for 10 generations,
// the population blocks and one chromosome of 50 cM with 100 markers and 10 QTL.
std::string PopulationParam(const std::string& pops, int nrep = 1,
                            const std::string& globals = "h2 = 0.4; qtlh2 = 0.2; phvar = 2;", int hpSize = 200);

// A population block with the founders from "hp" and the statements of `body`.
std::string PopBlock(const std::string& name, int males, int females, const std::string& body);

// Mean and standard error of values collected over replicates.
struct SMeanSE {
    double mean = 0, se = 0;
    int n = 0;
};
SMeanSE MeanSE(const std::vector<double>& v);

// Mean inbreeding of generation gen of p.
double MeanF(const CPopulation& p, int gen);
