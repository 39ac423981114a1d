// Genotype files written from hand-made haplotypes: the one-digit codes, missing genotypes and
// genotyping errors at their rates, and the true haplotypes left as they were.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "output/output_test_util.h"

namespace {

// Population p1 of an engine on the minimal genome with `n` founders, every locus bi-allelic and
// every genotype heterozygous: the paternal allele of individual i at locus g is 1 + (i + g) % 2.
struct SHandMadePopulation {
    std::unique_ptr<SimClass> sim;
    std::vector<std::vector<uint16_t>> pat, mat;
    std::vector<uint16_t*> patChr, matChr;  // the one chromosome pointer of each individual

    SHandMadePopulation(const TempDir& dir, int n, std::vector<std::pair<std::string, std::string>> edits)
        : sim(EngineIn(dir, std::move(edits))), pat(n), mat(n), patChr(n), matChr(n)
    {
        GetMrkQTLIdx(sim->genome);
        MyRnd.InitSeed(7);
        for (int g = 0; g < sim->genome.nLociTot; ++g) {
            sim->genome.LocusAt(g)->nAllele = 2;
            sim->genome.LocusAt(g)->alleleLabel = {2, 1, 2};
        }
        CPopulation& p = *sim->curPop;
        p.indiv.resize(static_cast<size_t>(n));
        p.genStat.assign(static_cast<size_t>(p.prm.ng + 2), SGenStat());
        p.genStat[0].nMale = static_cast<uint32_t>(n);
        for (int i = 0; i < n; ++i) {
            for (int g = 0; g < sim->genome.nLociTot; ++g) {
                pat[i].push_back(Allele(i, g, false));
                mat[i].push_back(Allele(i, g, true));
            }
            patChr[i] = pat[i].data();
            matChr[i] = mat[i].data();
            p.indiv[i].id = i + 1;
            p.indiv[i].patChr = &patChr[i];
            p.indiv[i].matChr = &matChr[i];
        }
    }
    ~SHandMadePopulation() { sim->curPop->indiv.clear(); }

    static uint16_t Allele(int i, int g, bool maternal) { return static_cast<uint16_t>(1 + (i + g + maternal) % 2); }

    // Writes generation 0 and returns the lines after the header of the file `kind`.
    std::vector<std::string> Write(const TempDir& dir, const std::string& kind)
    {
        sim->OpenOutputStreams(1, false);
        SaveGenResults(sim->Output(), *sim->curPop, 0, 0, static_cast<int>(pat.size()) - 1);
        sim->CloseOutputStreams(false);
        std::vector<std::string> lines = Lines(ReadFile(dir / ("p1_" + kind + "_001.txt")));
        return {lines.begin() + 1, lines.end()};
    }
};

}  // namespace

TEST(GenotypeFile, SnpCodeGivesEachOrderedPairItsDigitAndAnyOtherPairFive)
{
    TempDir dir;
    const uint16_t pairs[6][2] = {{1, 1}, {2, 2}, {1, 2}, {2, 1}, {3, 1}, {2, 3}};
    SHandMadePopulation pop(dir, 1, {{"nmloci = 5;", "nmloci = 6;"}, PopOutput("genotype /snp_code;")});
    for (int j = 0; j < 6; ++j) {
        pop.pat[0][pop.sim->genome.mrkIndex[j]] = pairs[j][0];
        pop.mat[0][pop.sim->genome.mrkIndex[j]] = pairs[j][1];
    }
    EXPECT_EQ(pop.Write(dir, "mrk"), std::vector<std::string>{"1      023455"});
}

TEST(GenotypeFile, SeqWritesOneCodePerLocusInGenomeOrderAfterAnIdentifierKeptApart)
{
    TempDir dir;
    SHandMadePopulation pop(dir, 2, {PopOutput("genotype /seq;")});
    pop.sim->curPop->indiv[1].id = 1234567;
    std::string codes[2];
    for (int i = 0; i < 2; ++i)
        for (int g = 0; g < pop.sim->genome.nLociTot; ++g) codes[i] += pop.Allele(i, g, false) == 1 ? '3' : '4';
    EXPECT_EQ(pop.Write(dir, "mrk_qtl"), (std::vector<std::string>{"1      " + codes[0], "1234567 " + codes[1]}));
}

TEST(GenotypeFile, MissingAndWrongGenotypesFollowTheirRatesWhileTheHaplotypesStayTrue)
{
    TempDir dir;
    const int n = 800, markers = 5;
    SHandMadePopulation pop(dir, n, {PopOutput("genotype /snp_code;"), {"end_genome;", "rmmg = 0.2;\nrmge = 0.1;\nend_genome;"}});
    const std::vector<std::string> lines = pop.Write(dir, "mrk");
    ASSERT_EQ(lines.size(), static_cast<size_t>(n));

    int missing = 0, wrong = 0;
    for (int i = 0; i < n; ++i)
        for (int g = 0; g < pop.sim->genome.nLociTot; ++g) {
            ASSERT_EQ(pop.sim->curPop->indiv[i].Pat()[g], pop.Allele(i, g, false));
            ASSERT_EQ(pop.sim->curPop->indiv[i].Mat()[g], pop.Allele(i, g, true));
        }
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < markers; ++j) {
            const char code = lines[i][7 + j];
            const char truth = pop.Allele(i, pop.sim->genome.mrkIndex[j], false) == 1 ? '3' : '4';
            missing += code == '5';
            wrong += code != '5' && code != truth;
        }
    const SGenStat& st = pop.sim->curPop->genStat[0];
    EXPECT_EQ(st.nMissMrk, static_cast<uint64_t>(missing));
    EXPECT_EQ(st.nErrMrk, static_cast<uint64_t>(wrong)) << "every error changes the genotype";
    const double total = n * markers;
    EXPECT_NEAR(missing / total, 0.2, 4 * std::sqrt(0.2 * 0.8 / total));
    EXPECT_NEAR(wrong / total, 0.8 * 0.1, 4 * std::sqrt(0.08 * 0.92 / total));

    // QTL have rates of their own, 0 here.
    EXPECT_EQ(st.nMissQTL + st.nErrQTL, 0u);
}

// One error on each kind of locus, many times over: the written genotype is never the true one.
TEST(GenotypeError, ChangesTheGenotypeAndKeepsToTheAllelesOfTheLocus)
{
    struct Case {
        const char* what;
        std::vector<uint16_t> labels;  // [0] = number of alleles
        bool useLabels;
        uint16_t truePat, trueMat;
        std::vector<uint16_t> allowed;  // values an erroneous allele may take
    };
    const Case cases[] = {
        {"bi-allelic heterozygote", {2, 1, 2}, false, 1, 2, {1, 2}},
        {"bi-allelic homozygote", {2, 1, 2}, false, 2, 2, {1, 2}},
        {"three alleles, labels", {3, 4, 9, 6}, true, 2, 3, {4, 9, 6}},
        {"monomorphic", {1, 1}, false, 1, 1, {1, 2}},
        {"monomorphic, label 7", {1, 7}, true, 1, 1, {6, 7}},
    };
    MyRnd.InitSeed(11);
    for (const Case& c : cases) {
        SLocus locus;
        locus.nAllele = c.labels[0];
        locus.alleleLabel = c.labels;
        auto shown = [&](uint16_t a) { return c.useLabels ? c.labels[a] : a; };
        unsigned short pat = c.truePat, mat = c.trueMat, outPat, outMat;
        unsigned long long counter = 0;
        for (int k = 0; k < 200; ++k) {
            InduceGenErr(locus, c.useLabels, 0, &pat, &mat, outPat, outMat, counter);
            const bool same = (outPat == shown(pat) && outMat == shown(mat)) || (outPat == shown(mat) && outMat == shown(pat));
            ASSERT_FALSE(same) << c.what;
            for (uint16_t v : {outPat, outMat})
                ASSERT_NE(std::find(c.allowed.begin(), c.allowed.end(), v), c.allowed.end()) << c.what << " " << v;
        }
        EXPECT_EQ(counter, 200u) << c.what;
    }
}
