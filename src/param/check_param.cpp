// Cross-checks of statements that only make sense together. Every failed check is reported
// before the run stops, so one run lists all of them.
#include <algorithm>
#include <cmath>
#include <vector>

#include "param/reader.h"
#include "support/errmsg.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

bool SharedFrequencies(EFreqMethod m) { return m == EFreqMethod::Eql || m == EFreqMethod::All; }

// The sorted starting frequencies of a locus whose frequencies are shared by its class.
std::vector<double> SortedFrequencies(const SLocusParams* locus, EFreqMethod method)
{
    std::vector<double> f = (method == EFreqMethod::Eql)
                                ? std::vector<double>(locus->nAllele0, 1.0 / locus->nAllele0)
                                : locus->freq;
    std::sort(f.begin(), f.end());
    return f;
}

void Warning(const char* text)
{
    Warn("%s", text);
    NoWarn++;
}

// LD statistics need one map for both sexes.
void CheckLDAndMapScales(SParams& prm)
{
    bool anyLD = std::any_of(prm.pops.begin(), prm.pops.end(), [](const SPopParams& p) { return p.out.ldOut; });
    if (!anyLD) return;
    for (const SChromParams& ch : prm.genome.chrom)
        if (ch.maleScale != ch.femaleScale) {
            for (SPopParams& p : prm.pops) p.out.ldOut = false;
            Warning("Warning - Difference between male and female chromosome lengths is detected. "
                    "LD calculation is skipped.\n");
            return;
        }
}

void CheckCompleteLD(const SParams& prm, bool& error)
{
    for (const SChromParams& ch : prm.genome.chrom) {
        if ((ch.cld & kCldMarkers) &&
            !(ch.mrk.nAlleleMethod == ENumAlleleMethod::All && SharedFrequencies(ch.mrk.freqMethod))) {
            Warn("Error - chromosome %d: 'cld' for markers can be specified only if number of marker alleles "
                 "('nma') is the same for all loci ('nma' must be set to 'all n') and marker allele frequencies "
                 "should be the same for all loci ('maf' must be set to 'eql' or 'all ...')\n", ch.number);
            error = true;
        }
        if ((ch.cld & kCldQTL) &&
            !(ch.qtl.nAlleleMethod == ENumAlleleMethod::All && SharedFrequencies(ch.qtl.freqMethod))) {
            Warn("Error - chromosome %d: 'cld' for QTL can be specified only if number of QTL alleles ('nqa') "
                 "is the same for all loci ('nqa' must be set to 'all n') and QTL allele frequencies should be "
                 "the same for all loci ('qaf' must be set to 'eql' or 'all ...')\n", ch.number);
            error = true;
        }
        if (!(ch.cld & kCldQTLFollowMarkers) || !SharedFrequencies(ch.mrk.freqMethod) ||
            !SharedFrequencies(ch.qtl.freqMethod))
            continue;
        // The first marker and the first QTL: given and even positions ascend within a class, so
        // the first of a class in the statements is also its first on the map.
        if (ch.mrk.saved == 0 || ch.qtl.saved == 0) continue;
        const SLocusParams* marker = &prm.genome.loci[static_cast<size_t>(ch.firstLocus)];
        const SLocusParams* qtl = marker + ch.mrk.saved;
        if (marker->nAllele0 != qtl->nAllele0) {
            Warn("Error - chromosome %d: To create complete LD between markers and QTL using 'cld', both marker "
                 "and QTL loci should have the same number of alleles\n", ch.number);
            error = true;
            continue;
        }
        std::vector<double> fm = SortedFrequencies(marker, ch.mrk.freqMethod);
        std::vector<double> fq = SortedFrequencies(qtl, ch.qtl.freqMethod);
        for (size_t a = 0; a < fm.size(); ++a)
            if (std::fabs(fm[a] - fq[a]) > 1e-12) {
                Warn("Error - chromosome %d: To create complete LD between markers and QTL using 'cld', both "
                     "marker and QTL should have the same allele frequencies ('maf' and 'qaf' must be set to "
                     "'eql' or 'all ...')\n", ch.number);
                error = true;
                break;
            }
    }
}

// Every historical generation breeds the next one (the last gives the founders): each needs a
// male and a female. The first generation without one is named; returns whether all have both.
bool CheckHistoricalSexes(const SHistPlan& plan)
{
    for (int g = 0; g <= plan.nGen; ++g) {
        int males = plan.Males(g), females = plan.Size(g) - males;
        if (males >= 1 && females >= 1) continue;
        Warn("Error - Historical generation %d has %d male(s) and %d female(s); every historical generation needs "
             "at least one of each\n", g, males, females);
        return false;
    }
    return true;
}

void CheckHistoricalSizes(const SParams& prm, bool& error)
{
    bool planValid = true;
    if (prm.hist.nmfhg > prm.hist.FirstSize()) {
        Warn("Error - Value for 'nmfhg' (Number of males) cannot be larger than size of the first historical "
             "generation\n");
        planValid = false;
    }
    if (prm.hist.nmlhg > prm.hist.LastSize()) {
        Warn("Error - Value for 'nmlhg' (Number of males) cannot be larger than size of the last historical "
             "generation\n");
        planValid = false;
    }
    for (int i = 1; i < prm.hist.nSizeEntries; ++i)
        if (prm.hist.gens[i] <= prm.hist.gens[i - 1]) {
            Warn("Error - Historical generation numbers are not in ascending order\n");
            planValid = false;
            break;
        }
    // The sizes and males of the generations are only defined by a valid plan.
    if (planValid) planValid = CheckHistoricalSexes(prm.hist);
    if (!planValid) error = true;
}


void CheckPopulation(const SParams& prm, const SPopParams& p, bool& error)
{
    const char* name = p.name.c_str();
    for (int g = 1; g <= p.ng; ++g) {
        int s = p.plan[g].nSires, d = p.plan[g].nDams;
        // Without sires or dams no progeny can be made, and the ratio below is undefined.
        if (s < 1 || d < 1) {
            Warn("Error - Pop \"%s\" G%d: At least one sire and one dam are needed (sires: %d, dams: %d)\n",
                 name, g, s, d);
            error = true;
            continue;
        }
        if (p.md == kMdRndUg) continue;
        if (d % s != 0) {
            Warn("Warning - Pop \"%s\" G%d: Sires do not have equal number of mates\n", name, g);
            NoWarn++;
        }
        if (s > d) {
            Warn("Error - Pop \"%s\" G%d: Number of sires is larger than number of dams\n", name, g);
            error = true;
        }
    }
    if (p.pmpMode == kPmpFixLitter) {
        if (p.md == kMdRndUg) {
            Warn("Error - Pop \"%s\": Inappropriate sex ratio option. 'fix_litter' cannot be used when mating "
                 "design is based on random union of gametes ('rnd_ug')\n", name);
            error = true;
        }
        Info("Info - Proportion of male progeny has been fixed within litters\n");
        for (int s : p.ls) {
            int m = MyRound(p.pmp * s);
            Info("Litter size %2d: %5d male(s) %5d female(s)\n", s, m, s - m);
        }
        Info("\n");
    }

    bool usesEbv = p.cd == kEbv || p.sd == kEbv ||
                   ((p.md == kMdPAssort || p.md == kMdNAssort) && p.assortBy == kEbv);
    if (usesEbv && p.ebvMethod == kEbvNone) {
        Warn("Error - Pop \"%s\": EBV estimation method is not specified\n", name);
        error = true;
    }
    if (!prm.global.malesHaveRecords) {
        if (p.sd == kPhen) {
            Warn("Warning - Pop \"%s\": Males do not have phenotypic record therefore selection design for males "
                 "is set to random.\n", name);
            NoWarn++;
        }
        if (p.cd == kPhen) {
            Warn("Warning - Pop \"%s\": Males do not have phenotypic record therefore culling design for males is "
                 "set to random.\n", name);
            NoWarn++;
        }
        for (int i = 0; i < p.nFounderLine; ++i) {
            const SFounderLine& l = p.founderLine[i];
            if (!l.male || l.select != kPhen) continue;
            if (!l.FromHistorical())
                Warn("Warning - Pop \"%s\": Males do not have phenotypic record therefore male founders are "
                     "selected randomly from generation %d of population \"%s\".\n", name, l.gen,
                     prm.pops[l.srcPop].name.c_str());
            else
                Warn("Warning - Pop \"%s\": Males do not have phenotypic record therefore male founders are "
                     "selected randomly from the historical population.\n", name);
            NoWarn++;
        }
    }
    if (prm.global.skip_inbreeding) {
        if (p.ebvMethod == kEbvBlup) {
            Warn("Warning - Pop \"%s\": Inbreeding is ignored in BLUP estimation of breeding values.\n"
                 "To account for inbreeding, remove 'skip_inbreeding' command.\n", name);
            NoWarn++;
        }
        if (p.md == kMdMinf || p.md == kMdMaxf) {
            Warn("Warning - Pop \"%s\": Inbreeding is ignored in optimization of matings.\n"
                 "To account for inbreeding, remove 'skip_inbreeding' command.\n", name);
            NoWarn++;
        }
    }
}

void CheckJointPopulations(const SParams& prm, bool& error)
{
    if (!prm.global.joint_pop || prm.pops.empty()) return;
    const SPopParams& a = prm.pops[0];
    for (const SPopParams& b : prm.pops)
        if (b.ebvMethod != a.ebvMethod || b.accur != a.accur || b.accur_male != a.accur_male ||
            b.accur_female != a.accur_female || b.mnp_male != a.mnp_male || b.mnp_female != a.mnp_female ||
            b.true_av != a.true_av) {
            Warn("Error - For joint analysis of populations, EBV estimation method should be the same for all "
                 "populations\n");
            error = true;
            return;
        }
}

// Largest number of alleles of a class: over the loci and over the numbers listed in nma/nqa.
int MaxAlleles(const SParams& prm, bool qtl)
{
    int most = 0;
    for (const SLocusParams& l : prm.genome.loci)
        if (static_cast<bool>(l.isQTL) == qtl) most = std::max(most, static_cast<int>(l.nAllele0));
    for (const SChromParams& ch : prm.genome.chrom) {
        const SLocusClassSettings& s = ch.Settings(qtl);
        for (int i = 0; i < s.nAlleleCount; ++i) most = std::max(most, s.nAlleleList[i]);
    }
    return most;
}

void CheckGenotypeFormats(const SParams& prm, bool& error)
{
    if (prm.pops.empty()) return;
    int am = MaxAlleles(prm, false), aq = MaxAlleles(prm, true);
    for (const SPopParams& p : prm.pops) {
        const char* name = p.name.c_str();
        if (p.out.genoOpt & kGenoSnpCode) {
            if (am >= 3) {
                Warn("Error - Pop \"%s\": '/snp_code' can be specified only when markers are bi-allelic..\n", name);
                error = true;
            } else if (prm.genome.mmutr > 0 && !prm.genome.mmutrRecurrent) {
                Warn("Error - Pop \"%s\": '/snp_code' can only be specified when markers are bi-allelic. Make sure "
                     "mutations for markers are recurrent.\n", name);
                error = true;
            }
        }
        if (p.out.genoOpt & kGenoSeq) {
            if (am >= 3 || aq >= 3) {
                Warn("Error - Pop \"%s\": '/seq' can be specified only when markers and QTLs are bi-allelic..\n",
                     name);
                error = true;
            } else if ((prm.genome.mmutr > 0 && !prm.genome.mmutrRecurrent) || (prm.genome.qmutr > 0 && !prm.genome.qmutrRecurrent)) {
                Warn("Error - Pop \"%s\": '/seq' can only be specified when markers and QTLs are bi-allelic. Make "
                     "sure mutations for both markers and QTLs are recurrent.\n", name);
                error = true;
            }
        }
    }
}

}  // namespace

void CheckParams(SParams& prm)
{
    CErrMsg messages;
    bool error = false;
    auto fail = [&](short errNo) {
        Warn("%s\n", messages.GetErrMsg(errNo));
        error = true;
    };

    // QTL variance needs QTL.
    if (prm.genome.nQTLTot == 0 && prm.global.varQTL > 1e-5) fail(48);

    if (prm.global.skip_inbreeding && prm.global.varPoly > 0)
        Warning("Warning - Inbreeding is ignored in simulating polygenic effect.\n"
                "To account for inbreeding, remove 'skip_inbreeding' command.\n");

    // QTL effect distributions: one method for all chromosomes, one gamma shape.
    int nRndg = 0, nRndn = 0, nRnd = 0;
    for (const SChromParams& ch : prm.genome.chrom) {
        nRndg += ch.qaeMethod == EEffectMethod::Rndg;
        nRndn += ch.qaeMethod == EEffectMethod::Rndn;
        nRnd += ch.qaeMethod == EEffectMethod::Rnd;
    }
    auto partial = [&](int n) { return n > 0 && n < prm.genome.nChr; };
    if (partial(nRndg) || partial(nRndn) || partial(nRnd)) fail(13);
    if (prm.genome.nChr > 0 && nRndg == prm.genome.nChr)
        for (int c = 0; c + 1 < prm.genome.nChr; ++c)
            if (prm.genome.chrom[c].gammaShape != prm.genome.chrom[c + 1].gammaShape) {
                fail(43);
                break;
            }

    CheckLDAndMapScales(prm);
    CheckCompleteLD(prm, error);
    CheckHistoricalSizes(prm, error);
    for (const SPopParams& p : prm.pops) CheckPopulation(prm, p, error);
    CheckJointPopulations(prm, error);
    CheckGenotypeFormats(prm, error);

    if (error) Abort("Error(s) detected in the control file!\n");
}
