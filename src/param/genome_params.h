// The genome statements of a parameter file: genome-wide settings, chromosomes and loci.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Shape of a genotyping rate drawn per individual: -1 when not given.
struct SRate {
    double rate = 0;     // mean rate
    double shape = -1;   // gamma shape of /rndg
};

// How the positions of a class of loci on a chromosome are set.
enum class EPosMethod : uint8_t { Even, Rnd, Rnd1, Pd };
// How the numbers of alleles of a class of loci are set.
enum class ENumAlleleMethod : uint8_t { Unique, All, Rnd, Rnd1, Pd };
// How the initial allele frequencies of a class of loci are set.
enum class EFreqMethod : uint8_t { Eql, Rnd, Rnd1, Pd, All };
// How QTL allele effects are drawn.
enum class EEffectMethod : uint8_t { Pd, Rndg, Rndn, Rnd };

// Complete-LD bits of a chromosome.
enum : uint8_t { kCldMarkers = 1, kCldQTL = 2, kCldQTLFollowMarkers = 4 };

// Largest number of values of an `nma`/`nqa` rnd list.
constexpr int kMaxAlleleNumberList = 30;

// Settings of one class of loci (markers or QTL) of a chromosome.
struct SLocusClassSettings {
    int saved = 0;                       // number of loci as read (nmloci / nqloci)
    EPosMethod posMethod = EPosMethod::Even;
    double start = 0.00001;              // cM, first possible position
    double end = 0;                      // cM, last possible position; defaults to len
    ENumAlleleMethod nAlleleMethod = ENumAlleleMethod::All;
    int nAlleleList[kMaxAlleleNumberList] = {};  // numbers given after the method
    int nAlleleCount = 0;                // how many numbers were given
    EFreqMethod freqMethod = EFreqMethod::Eql;
};

// The statements of one chromosome (a copy of its begin_chr block).
struct SChromParams {
    uint16_t number = 0;          // 1-based
    double len = 0;               // cM, rounded to 5 decimals
    double maleScale = 1.0;       // male map length / len
    double femaleScale = 1.0;     // female map length / len
    uint8_t isX = 0;              // 1 for an X chromosome
    SLocusClassSettings mrk;      // marker settings (nmloci, mpos, nma, maf)
    SLocusClassSettings qtl;      // QTL settings (nqloci, qpos, nqa, qaf)
    EEffectMethod qaeMethod = EEffectMethod::Rnd;  // qae
    double gammaShape = 0;        // shape given with qae rndg
    uint8_t cld = 0;              // complete-LD bits
    int firstLocus = 0;           // index of its first locus in SGenomeParams::loci

    int NLoci() const { return mrk.saved + qtl.saved; }
    const SLocusClassSettings& Settings(bool qtlClass) const { return qtlClass ? qtl : mrk; }
    SLocusClassSettings& Settings(bool qtlClass) { return qtlClass ? qtl : mrk; }
};

// What the statements say of one locus; what they leave open is drawn per replicate.
struct SLocusParams {
    uint8_t isQTL = 0;                  // 1 = QTL, 0 = marker
    uint16_t nAllele0 = 0;              // numbers of alleles given (nma/nqa); length of freq
    double pos = 0;                     // cM, given or evenly spaced
    std::vector<double> freq;           // given frequencies, nAllele0 entries
    double targetVar = 0;               // QTL with `qae pd`: variance it must explain
};

// Positions closer than this are the same position; a position below it is zero.
constexpr double kSamePosition = 1e-10;

// The loci of chromosome ch whose positions the statements fix, as the index range [first, last]
// of its loci in map order before the random classes are placed; false when there are none.
bool FixedPositionRange(const SChromParams& ch, int& first, int& last);

// Genome-wide statements and the chromosomes.
struct SGenomeParams {
    bool select_seg_loci = false;
    double segMaft = -1;             // MAF threshold of select_seg_loci; -1 = not given
    int segNMrk = -1, segNQTL = -1;  // markers and QTL to keep; -1 = not given
    SRate rmmg, rmqg, rmge, rqge;    // missing genotypes and genotyping errors
    double mmutr = 0, qmutr = 0;     // mutation rates per allele copy and generation
    bool mmutrRecurrent = false, qmutrRecurrent = false;
    double mean_crossover = 1.0;     // crossovers per 100 cM
    double interference = 0;         // interference distance, cM
    bool interferenceComplete = false;  // /c: no two crossovers within the distance
    bool r_mpos_g = false, r1_mpos_g = false, r_qpos_g = false, r1_qpos_g = false;
    short nChr = 0;
    std::vector<SChromParams> chrom;
    std::vector<SLocusParams> loci;  // chromosome by chromosome, markers first, then QTL
    int nMrkTot = 0, nQTLTot = 0;    // loci as read
    double genomeLength = 0;         // sum of len, cM
};
