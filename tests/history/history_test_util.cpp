#include "history/history_test_util.h"

#include <gtest/gtest.h>

#include "param/param_test_util.h"

std::unique_ptr<SimClass> SimulateHistory(const std::string& text, unsigned long seed, int threads)
{
    auto sim = EngineOf(text);
    sim->nthread = threads;
    MyRnd.InitSeed(seed);
    testing::internal::CaptureStdout();
    sim->InitializeRun();
    sim->AllocPopMem();
    sim->InitializeRep();
    HPSimulator(sim->HistoricalRun(), 1);
    testing::internal::GetCapturedStdout();
    return sim;
}

std::string HistoryParam(const std::string& hp, const std::string& genome, const std::string& globals)
{
    return "nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.3;\nphvar = 2;\n" + globals + "begin_hp;\n" + hp +
           "\nend_hp;\nbegin_pop = \"p\";\n begin_founder;\n male [n = 1, pop = \"hp\"];\n"
           " female [n = 1, pop = \"hp\"];\n end_founder;\n ls = 1;\n ng = 0;\nend_pop;\n"
           "begin_genome;\n" + genome + "end_genome;\n";
}

std::string ChromosomeBlock(int n, int len, int markers, int qtl, const std::string& extra)
{
    return "begin_chr = " + std::to_string(n) + "; chrlen = " + std::to_string(len) +
           "; nmloci = " + std::to_string(markers) + "; mpos = rnd; nma = all 2; maf = eql;"
           " nqloci = " + std::to_string(qtl) + "; qpos = rnd; nqa = all 2; qaf = eql; qae = rndg 0.4; " +
           extra + " end_chr;\n";
}
