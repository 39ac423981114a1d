// LD by distance class on the founders of a population: against a plain recomputation from the
// individuals' haplotypes, the screening of markers by allele frequency, thread counts, markers
// with too many alleles and the labels of the classes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "param/param_test_util.h"

namespace {

// Founders (generation 0) of population "p" with `ld` in its output block, ready for
// ComputeLDStat; the historical population is run from a fixed seed.
struct SFounders {
    TempDir dir;
    std::unique_ptr<SimClass> sim;
    int last = 0;

    SFounders(const std::string& chromosomes, const std::string& ld)
    {
        sim = EngineOf("nrep = 1;\nh2 = 0.3;\nqtlh2 = 0.1;\nphvar = 1.0;\n"
                         "begin_hp;\n hg_size = 200 [0] 200 [20];\nend_hp;\n"
                         "begin_pop = \"p\";\n begin_founder;\n  male [n = 20, pop = \"hp\"];\n"
                         "  female [n = 80, pop = \"hp\"];\n end_founder;\n ls = 2;\n ng = 1;\n"
                         " begin_popoutput;\n  " + ld + "\n end_popoutput;\nend_pop;\nbegin_genome;\n" + chromosomes +
                         "end_genome;\n",
                       [&](SParams& prm) { prm.output.outputFolder = dir.path() + "/"; });
        sim->nthread = 1;
        MyRnd.InitSeed(4711);
        testing::internal::CaptureStdout();
        sim->InitializeRun();
        SimLitterSize(sim->pops, 1);
        sim->AllocPopMem();
        sim->DetermineActiveGen();
        sim->InitializeRep();
        HPSimulator(sim->HistoricalRun(), 1);
        ChooseFromHistPop(sim->replicate, sim->genomePool, sim->hp, sim->pops);
        sim->curPop = &sim->pops[0];
        testing::internal::GetCapturedStdout();
        last = sim->pops[0].genInfo[0].last;
    }
    void ComputeLD(int threads)
    {
        sim->nthread = threads;
        testing::internal::CaptureStdout();
        ComputeLDStat(sim->genome, sim->ldWork, *sim->curPop, sim->nthread, 0, 0, last);
        testing::internal::GetCapturedStdout();
    }
    std::string LDFile()
    {
        return CaptureFile([&](FILE* fp) {
            sim->files.ldDecayFp = fp;
            SaveLD(*sim->curPop, sim->files.ldDecayFp);
            sim->files.ldDecayFp = nullptr;
        });
    }
    const SLDBin* Bins() const { return sim->pops[0].genStat[0].ldBin; }
};

std::string Chromosomes(int n, int markers, const std::string& alleles)
{
    return " begin_chr = " + std::to_string(n) + ";\n  chrlen = 30;\n  nmloci = " + std::to_string(markers) +
           ";\n  mpos = rnd;\n  nma = " + alleles + ";\n  maf = eql;\n  nqloci = 2;\n  qpos = rnd;\n  nqa = all 2;\n"
           "  qaf = eql;\n  qae = rndg 0.4;\n end_chr;\n";
}

// An accepted marker as the plain computation sees it: frequencies by allele (a - 1), the pooled
// class last; pooled alleles have frequency 0.
struct SRefMarker {
    int locus = 0, chr = 0, nClass = 0;
    double pos = 0;
    std::vector<double> freq;
    int ClassOf(int allele) const { return freq[allele - 1] > 0 ? allele - 1 : static_cast<int>(freq.size()) - 1; }
};

std::vector<SRefMarker> RefAccepted(const SimClass& sim, int last)
{
    const SPopOutput& o = sim.curPop->prm.out;
    const double upper = o.ldMaft <= 0.1 ? 0.2 : o.ldMaft > 0.25 ? o.ldMaft + 0.05 * 0.25 / o.ldMaft : 0.3;
    const double twoN = 2.0 * (last + 1);
    std::vector<SRefMarker> accepted;
    int g = 0;
    for (size_t c = 0; c < sim.genome.chrom.size(); ++c)
        for (int l = 0; l < sim.genome.chrom[c].NLoci(); ++l, ++g) {
            const SLocus* locus = sim.genome.chrom[c].loci[l];
            if (locus->isQTL || locus->nAllele < 2 || !o.ldChr[c]) continue;
            std::vector<int> count(locus->nAllele, 0);
            for (int i = 0; i <= last; ++i) {
                count[sim.curPop->indiv[i].Pat()[g] - 1]++;
                count[sim.curPop->indiv[i].Mat()[g] - 1]++;
            }
            SRefMarker m{g, static_cast<int>(c) + 1, 0, locus->pos, std::vector<double>(locus->nAllele + 1, 0)};
            for (int a = 0; a < locus->nAllele; ++a) {
                m.freq[a] = count[a] / twoN;
                if (m.freq[a] < o.ldMaft) {
                    m.freq.back() += m.freq[a];
                    m.freq[a] = 0;
                } else {
                    m.nClass++;
                }
            }
            const double pooled = m.freq.back();
            if (pooled > 0 && !(o.ldMaft <= pooled && pooled < upper)) continue;
            m.nClass += pooled > 0 ? 1 : 0;
            if (m.nClass >= 2) accepted.push_back(m);
        }
    return accepted;
}

// Every pair within max_distance, counted one haplotype at a time, in one worker's order.
std::vector<SLDBin> RefBins(const SimClass& sim, const std::vector<SRefMarker>& markers, int last)
{
    const double lower[] = {0, .05, .1, .2, .3, .4, .5, .6, .7, .8, .9, 1, 2, 3, 4, 5, 6, 8, 10, 15, 20, 25, 30, 40, 50, 60, 80};
    const double twoN = 2.0 * (last + 1);
    std::vector<SLDBin> bins(kLDClasses);
    for (size_t i = 0; i < markers.size(); ++i)
        for (size_t j = i + 1; j < markers.size(); ++j) {
            const SRefMarker &mi = markers[i], &mj = markers[j];
            const double d = mj.pos - mi.pos;
            if (mj.chr != mi.chr || d > sim.curPop->prm.out.ldMaxDist) break;
            const size_t ni = mi.freq.size(), nj = mj.freq.size();
            std::vector<int> table(ni * nj, 0);
            for (int k = 0; k <= last; ++k)
                for (const uint16_t* hap : {sim.curPop->indiv[k].Pat(), sim.curPop->indiv[k].Mat()})
                    table[mi.ClassOf(hap[mi.locus]) * nj + mj.ClassOf(hap[mj.locus])]++;
            double s[3] = {0, 0, 0};
            for (size_t a = 0; a < ni; ++a)
                for (size_t b = 0; b < nj; ++b) {
                    const double p = mi.freq[a], q = mj.freq[b];
                    if (p < 1e-8 || q < 1e-8) continue;
                    const double dd = table[a * nj + b] / twoN - p * q;
                    const double dMax = dd >= 0 ? std::min(p * (1 - q), (1 - p) * q) : std::min(p * q, (1 - p) * (1 - q));
                    s[0] += std::fabs(dd / dMax) * p * q;
                    s[1] += dd * dd / ((1 - p) * (1 - q));
                    s[2] += dd * dd / (p * q);
                }
            s[2] /= std::min(mi.nClass, mj.nClass) - 1;
            SLDBin& bin = bins[std::upper_bound(lower, lower + kLDClasses, d) - lower - 1];
            bin.nPair++;
            for (int m = 0; m < 3; ++m) {
                bin.mean[m] += s[m];
                bin.ldSd[m] += s[m] * s[m];
            }
        }
    for (SLDBin& b : bins)
        for (int m = 0; m < 3 && b.nPair > 0; ++m) {
            const double sum = b.mean[m];
            b.mean[m] = sum / b.nPair;
            b.ldSd[m] = b.nPair > 1 ? std::sqrt(std::max(0.0, (b.ldSd[m] - sum * sum / b.nPair) / (b.nPair - 1))) : 0;
        }
    return bins;
}

}  // namespace

TEST(LDStat, EqualsAPlainRecomputationFromTheHaplotypes)
{
    struct Case {
        const char* what;
        std::string chromosomes, ld;
        int leastClasses;  // the largest class count among the accepted markers is at least this
    } cases[] = {
        {"two alleles, two chromosomes", Chromosomes(2, 60, "all 2"), "ld /nmrk 500;", 2},
        {"four alleles with rare ones pooled", Chromosomes(1, 80, "all 4"),
         "ld /nmrk 500 /maft 0.2 /max_distance 30;", 3},
        {"sixteen alleles, counted per haplotype byte", Chromosomes(1, 30, "all 2") + Chromosomes(1, 40, "all 16"),
         "ld /nmrk 500 /maft 0.001 /max_distance 100;", 13},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SFounders f(c.chromosomes, c.ld);
        f.ComputeLD(1);
        std::vector<SRefMarker> ref = RefAccepted(*f.sim, f.last);
        const std::vector<SLDMarker>& got = f.sim->ldWork.markers;
        ASSERT_EQ(got.size(), ref.size());
        int most = 0;
        for (size_t m = 0; m < ref.size(); ++m) {
            EXPECT_EQ(got[m].locus, ref[m].locus);
            EXPECT_EQ(got[m].nClass, ref[m].nClass);
            most = std::max(most, got[m].nClass);
        }
        EXPECT_GE(most, c.leastClasses);
        std::vector<SLDBin> want = RefBins(*f.sim, ref, f.last);
        int pairs = 0;
        for (int k = 0; k < kLDClasses; ++k) {
            EXPECT_EQ(f.Bins()[k].nPair, want[k].nPair) << k;
            pairs += want[k].nPair;
            for (int m = 0; m < 3; ++m) {
                EXPECT_EQ(f.Bins()[k].mean[m], want[k].mean[m]) << k << " " << m;
                EXPECT_EQ(f.Bins()[k].ldSd[m], want[k].ldSd[m]) << k << " " << m;
            }
        }
        EXPECT_GT(pairs, 100);
    }
}

TEST(LDStat, OneAndTwoWorkersWriteTheSameFile)
{
    SFounders f(Chromosomes(2, 60, "all 3"), "ld /nmrk 500 /max_distance 20;");
    f.ComputeLD(1);
    const std::string one = f.LDFile();
    f.ComputeLD(2);
    EXPECT_EQ(f.sim->ldWork.workers.size(), 2u);
    EXPECT_EQ(f.LDFile(), one);
    EXPECT_NE(one.find("--------------- LD decay ---------------\n\nNo. marker pairs\n--------------------\n"
                       "Bin\\Gen.              0              1 \n[0,.05)  "),
              std::string::npos);
}

// 100 founders, 200 haplotypes: maft 0.05 is 10 of them, the pooled limit 0.2 is 40.
TEST(LDStat, AcceptsACandidateByItsPooledRareAlleles)
{
    struct Case {
        const char* what;
        std::vector<int> haplotypes;  // per allele
        int nClass;                   // 0: rejected
    } cases[] = {
        {"rare alleles pooled below maft", {120, 74, 6}, 0},
        {"every allele at maft or more", {120, 70, 10}, 3},
        {"an allele exactly at maft", {190, 10}, 2},
        {"rare alleles pooled into a class", {176, 8, 8, 8}, 2},
        {"pooled class above the limit", {155, 9, 9, 9, 9, 9}, 0},
        {"one allele left", {200}, 0},
    };
    SFounders f(Chromosomes(1, 40, "all 2"), "ld /nmrk 500;");
    const int n = static_cast<int>(std::size(cases));
    for (int t = 0; t < n; ++t) {
        const int g = f.sim->genome.mrkIndex[static_cast<size_t>(t)];
        f.sim->genome.LocusAt(g)->nAllele = 6;
        int h = 0;
        for (size_t a = 0; a < cases[t].haplotypes.size(); ++a)
            for (int k = 0; k < cases[t].haplotypes[a]; ++k, ++h) {
                const SRec& r = f.sim->pops[0].indiv[static_cast<size_t>(h / 2)];
                (h % 2 ? r.Mat() : r.Pat())[g] = static_cast<uint16_t>(a + 1);
            }
        ASSERT_EQ(h, 2 * (f.last + 1));
    }
    f.ComputeLD(1);
    for (int t = 0; t < n; ++t) {
        const int g = f.sim->genome.mrkIndex[static_cast<size_t>(t)];
        const auto& m = f.sim->ldWork.markers;
        auto found = std::find_if(m.begin(), m.end(), [g](const SLDMarker& x) { return x.locus == g; });
        EXPECT_EQ(found == m.end() ? 0 : found->nClass, cases[t].nClass) << cases[t].what;
    }
}

TEST(LDStat, AMarkerWithTwentyOneAllelesSkipsTheGenerationWithOneWarning)
{
    SFounders f(Chromosomes(1, 40, "all 2"), "ld /gen 0 1;");
    f.sim->genome.LocusAt(f.sim->genome.mrkIndex[3])->nAllele = 21;
    const unsigned warnings = NoWarn;
    f.ComputeLD(1);
    EXPECT_EQ(NoWarn, warnings + 1);
    const std::string collected = CaptureFile([](FILE* fp) { PW.DumpWarn(fp); });
    EXPECT_EQ(CountOf(collected, "Warning - Number of alleles is too large (>20). LD calculation is skipped.\n"), 1);
    EXPECT_EQ(f.sim->pops[0].ldGen[0], 0);
    EXPECT_EQ(f.sim->pops[0].ldSkipped[0], 1);
    const std::string file = f.LDFile();
    EXPECT_EQ(file.rfind("LD calculation is skipped for generation   0. Number of alleles is too large (>20).\n"
                         "--------------- LD decay",
                         0),
              0u);
    EXPECT_NE(file.find("Bin\\Gen.              1 \n"), std::string::npos);
}

TEST(LDStat, PrintsTheClassesBelowMaxDistance)
{
    struct Case {
        double maxDist;
        int printed;
        const char* lastLabel;
    } cases[] = {{5, 15, "[4,5)    "}, {100, 27, "[80,100] "}, {4.5, 15, "[4,5)    "}, {0.1, 2, "[.05,.1) "}};
    for (const Case& c : cases) {
        int printed = 0;
        const std::string text = CaptureFile([&](FILE* fp) {
            for (int k = 0; k <= kLDClasses; ++k) printed += PrintLDBin(k, c.maxDist, fp) && k < kLDClasses ? 1 : 0;
        });
        EXPECT_EQ(printed, c.printed) << c.maxDist;
        EXPECT_EQ(text.size(), 9u * c.printed) << c.maxDist;
        EXPECT_EQ(text.substr(text.size() - 9), c.lastLabel) << c.maxDist;
    }
}
