#include "breeding/population_test_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>

#include "param/param_test_util.h"

void RunPopulations(const std::string& text, unsigned long seed, int threads,
                    const std::function<void(const CPopulation&, int rep)>& inspect)
{
    RunEngine(text, seed, threads, [&](SimClass&, const CPopulation& p, int rep) { inspect(p, rep); });
}

void RunEngine(const std::string& text, unsigned long seed, int threads,
               const std::function<void(SimClass&, const CPopulation&, int rep)>& inspect)
{
    TempDir out;
    auto sim = EngineOf(text, [&](SParams& prm) {
        prm.global.nthread = threads;
        prm.output.outputFolder = out.path() + "/";
    });
    SimClass& engine = *sim;
    sim->onPopulationDone = [&](const CPopulation& p, int rep) { inspect(engine, p, rep); };
    MyRnd.InitSeed(seed);
    testing::internal::CaptureStdout();
    sim->Run();
    std::string console = testing::internal::GetCapturedStdout();
    // Failures inside `inspect` were printed into the capture: show them with the run's console.
    if (testing::Test::HasFailure()) std::cout << console;
}

std::string PopulationParam(const std::string& pops, int nrep, const std::string& globals, int hpSize)
{
    return "nrep = " + std::to_string(nrep) + ";\n" + globals + "\nbegin_hp;\n hg_size = " + std::to_string(hpSize) + " [0] " +
           std::to_string(hpSize) + " [10];\nend_hp;\n" + pops +
           "begin_genome;\n begin_chr = 1; chrlen = 50; nmloci = 100; mpos = rnd; nma = all 2; maf = eql;"
           " nqloci = 10; qpos = rnd; nqa = all 2; qaf = eql; qae = rndg 0.4; end_chr;\nend_genome;\n";
}

std::string PopBlock(const std::string& name, int males, int females, const std::string& body)
{
    return "begin_pop = \"" + name + "\";\n begin_founder;\n  male [n = " + std::to_string(males) +
           ", pop = \"hp\"];\n  female [n = " + std::to_string(females) + ", pop = \"hp\"];\n end_founder;\n" +
           body + "\nend_pop;\n";
}

SMeanSE MeanSE(const std::vector<double>& v)
{
    SMeanSE r;
    r.n = static_cast<int>(v.size());
    if (r.n == 0) return r;
    for (double x : v) r.mean += x;
    r.mean /= r.n;
    double ss = 0;
    for (double x : v) ss += (x - r.mean) * (x - r.mean);
    r.se = r.n > 1 ? std::sqrt(ss / (r.n - 1) / r.n) : 0;
    return r;
}

double MeanF(const CPopulation& p, int gen)
{
    double sum = 0;
    for (int i = p.genInfo[gen].first; i <= p.genInfo[gen].last; ++i) sum += p.indiv[i].inbF;
    return sum / p.genInfo[gen].nPrg;
}
