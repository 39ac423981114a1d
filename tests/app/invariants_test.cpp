// The invariant checker: runs of every kind of population pass it, and each kind of fault planted
// into a finished population is named.
#include <gtest/gtest.h>

#include <cstdlib>

#include "app/invariants.h"
#include "breeding/population_test_util.h"

namespace {

// Turns the checks of the run loop on, whatever the environment says (ctest sets it already).
void ChecksOn() { setenv("DAVOK_CHECK_INVARIANTS", "1", 1); }

// Population "a" founds "b" with its last generation, so that when "a" has ended the genomes of
// that generation are still held, once by each founder line of "b".
std::string TwoPopulations(const std::string& aBody = "ls = 2; ng = 2; pmp = 0.5 /fix;",
                           const std::string& globals = "")
{
    return PopulationParam(PopBlock("a", 4, 8, aBody) +
                               "begin_pop = \"b\";\n begin_founder;\n  male [n = 2, pop = \"a\", gen = 2];\n"
                               "  female [n = 4, pop = \"a\", gen = 2];\n end_founder;\n ls = 2;\n ng = 1;\nend_pop;\n",
                           1, "h2 = 0.4; qtlh2 = 0.2; phvar = 2;" + globals);
}

// The text with only the loci that segregate in the last historical generation kept.
std::string WithSegregatingLoci(std::string text)
{
    const std::string genome = "begin_genome;\n";
    return text.replace(text.find(genome), genome.size(), genome + " select_seg_loci /maft 0.1;\n");
}

// Everything the checker verifies of population p once it has ended. With joint_pop its end gave
// the sources of its founders the values of their copies, progeny counts included: those counts
// are checked while it runs only.
std::string CheckEnded(const SimClass& sim, const CPopulation& p)
{
    const int index = static_cast<int>(&p - sim.pops.data());
    std::string fault = CheckPedigree(p, p.prm.ng, sim.replicate.unknownParent, sim.prm.global.joint_pop);
    if (fault.empty()) fault = CheckGenerationCounts(p, p.prm.ng);
    if (fault.empty() && !sim.prm.global.joint_pop) fault = CheckProgenyCounts(sim.pops, p, p.prm.ng, false);
    if (fault.empty())
        fault = CheckGenomeUse(sim.pops, sim.hp, sim.replicate.genomeUseCount, sim.replicate.nextGenomeSlot, {1, index, p.prm.ng, true});
    const std::vector<uint16_t> nAllele = AlleleCounts(sim.genome.chrom);
    for (const SRec& r : p.indiv)
        if (fault.empty() && r.patChr && *r.genomeUse != kGenomeReleased) fault = CheckAlleles(r, nAllele);
    return fault;
}

// Sets field to value; what is returned sets it back.
template <typename T>
std::function<void()> Set(T& field, T value)
{
    T old = field;
    field = value;
    return [&field, old] { field = old; };
}

SRec& Progeny(CPopulation& p, int g, int k)
{
    return p.indiv[static_cast<size_t>(p.genInfo[g].first + k)];
}

SRec* FirstOfSex(CPopulation& p, int g, uint8_t sex)
{
    for (int i = p.genInfo[g].first; i <= p.genInfo[g].last; ++i)
        if (p.indiv[static_cast<size_t>(i)].sex == sex) return &p.indiv[static_cast<size_t>(i)];
    return nullptr;
}

}  // namespace

TEST(Invariants, RunsOfEveryKindPassTheChecks)
{
    ChecksOn();
    const std::string cases[] = {
        TwoPopulations(),
        // Founders from another population keep their pedigree and progeny counts.
        TwoPopulations("ls = 2; ng = 2; pmp = 0.5 /fix;", " joint_pop;"),
        // Overlapping generations: parents kept from earlier generations.
        TwoPopulations("ls = 1 3 [0.5]; ng = 2; pmp = 0.5 /fix; sr = 0.5; dr = 0.3; sd = phen;"),
        TwoPopulations("ls = 3; ng = 2; md = rnd_ug; pmp = 0.5 /fix;"),
        WithSegregatingLoci(TwoPopulations("ls = 2; ng = 2; pmp = 0.5 /fix; md = minf;")),
        // A population without generations keeps its founders as parents to the end.
        PopulationParam(PopBlock("a", 4, 8, "ls = 2; ng = 0;") + PopBlock("c", 2, 4, "ls = 2; ng = 1;")),
    };
    for (const std::string& text : cases) {
        int ended = 0;
        RunEngine(text, 11, 2, [&](SimClass& sim, const CPopulation& p, int) {
            EXPECT_EQ(CheckEnded(sim, p), "") << text;
            ++ended;
        });
        EXPECT_EQ(ended, 2) << text;
    }
}

TEST(Invariants, EachPlantedFaultIsNamed)
{
    struct Case {
        const char* what;
        std::function<std::function<void()>()> plant;  // gives back what undoes it
        std::string message;                            // part of it
    };
    int checked = 0;
    RunEngine(TwoPopulations(), 5, 1, [&](SimClass& sim, const CPopulation& ended, int) {
        if (ended.prm.name != "a") return;
        CPopulation& a = sim.pops[0];
        ASSERT_EQ(CheckEnded(sim, a), "");
        SRec& child = Progeny(a, 1, 0);
        SRec& held = Progeny(a, 2, 0);  // its genome waits for the founder lines of "b"
        std::vector<int16_t>& litters = a.genInfo[1].litterSize;
        const uint16_t nAllele6 = AlleleCounts(sim.genome.chrom)[5];
        const Case cases[] = {
            {"sire younger than its progeny", [&] { return Set(child.sire, FirstOfSex(a, 2, 1)); },
             "has a sire born after it"},
            {"female sire", [&] { return Set(child.sire, FirstOfSex(a, 0, 0)); }, "has a female sire"},
            {"founder with a parent", [&] { return Set(a.indiv[1].dam, FirstOfSex(a, 0, 0)); },
             "is a founder with a known parent"},
            {"wrong generation", [&] { return Set(held.gen, int16_t(1)); },
             "is in generation 2 but records generation 1"},
            {"use counter off by one", [&] { return Set(*held.genomeUse, uint16_t(*held.genomeUse + 1)); },
             "counter of individual " + std::to_string(held.id) + " of population \"a\" is 3, its holders 2"},
            {"allele 0", [&] { return Set(held.Pat()[3], uint16_t(0)); },
             "carries allele 0 at locus 4 of its paternal genome"},
            {"allele nAllele + 1", [&] { return Set(held.Mat()[5], uint16_t(nAllele6 + 1)); },
             "carries allele " + std::to_string(nAllele6 + 1) + " at locus 6 of its maternal genome, which has " +
                 std::to_string(nAllele6) + " alleles"},
            {"progeny count off by one", [&] { return Set(a.indiv[0].nMPrg, a.indiv[0].nMPrg + 1); },
             "individual 1 of population \"a\" counts"},
            {"litter size off by one",
             [&] {
                 auto first = Set(litters[0], int16_t(litters[0] + 1));
                 auto second = Set(litters[1], int16_t(litters[1] - 1));
                 return std::function<void()>([=] {
                     first();
                     second();
                 });
             },
             "litter 1 of generation 1 of population \"a\""},
            {"two litters joined",
             [&] {
                 const std::vector<int16_t> saved = litters;
                 litters[0] = int16_t(litters[0] + litters.back());
                 litters.pop_back();
                 return std::function<void()>([&litters, saved] { litters = saved; });
             },
             "generation 1 of population \"a\" has"},
            {"males of a generation off by one", [&] { return Set(a.genStat[1].nMale, a.genStat[1].nMale + 1); },
             "generation 1 of population \"a\" counts"},
        };
        for (const Case& c : cases) {
            std::function<void()> undo = c.plant();
            const std::string fault = CheckEnded(sim, a);
            EXPECT_NE(fault.find(c.message), std::string::npos) << c.what << ": " << fault;
            undo();
            ++checked;
        }
        EXPECT_EQ(CheckEnded(sim, a), "");
    });
    EXPECT_EQ(checked, 11);
}

TEST(Invariants, AViolationStopsTheRunAsAnInternalError)
{
    ChecksOn();
    RunEngine(TwoPopulations(), 5, 1, [&](SimClass& sim, const CPopulation& ended, int) {
        if (ended.prm.name != "a") return;
        CPopulation& a = sim.pops[0];
        auto undo = Set(Progeny(a, 1, 0).sire, FirstOfSex(a, 2, 1));
        EXPECT_EXIT(CheckInvariants(sim, {1, 0, a.prm.ng, false}), testing::ExitedWithCode(1),
                    "Error - Internal error: individual [0-9]+ of population \"a\" has a sire born after it "
                    "\\(replicate 1, population \"a\", generation 2\\)\\.\nPlease report the error to");
        undo();
    });
}
