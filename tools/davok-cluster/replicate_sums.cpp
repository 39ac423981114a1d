#include "replicate_sums.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <type_traits>

#include "app/simclass.h"
#include "support/files.h"
#include "support/messages.h"

namespace {

constexpr const char* kHeader = "Replicate sums 1";

// Accumulator records are plain sequences of SSumSS, each a sum and a sum of squares; these read
// and add them as such, through copies of their bytes.
template <class T>
constexpr size_t AccumulatorCount()
{
    static_assert(std::is_trivially_copyable<T>::value && sizeof(SSumSS) == 2 * sizeof(double) &&
                      sizeof(T) % sizeof(SSumSS) == 0,
                  "an accumulator record holds nothing but SSumSS values");
    return sizeof(T) / sizeof(SSumSS);
}

template <class T>
void AppendSums(const T& record, std::vector<double>& out)
{
    double raw[2 * AccumulatorCount<T>()];
    memcpy(raw, &record, sizeof(T));
    for (size_t i = 0; i < AccumulatorCount<T>(); ++i) out.push_back(raw[2 * i]);
}

template <class T>
void AddValues(T& record, const double* values)
{
    double raw[2 * AccumulatorCount<T>()];
    memcpy(raw, &record, sizeof(T));
    for (size_t i = 0; i < AccumulatorCount<T>(); ++i) {
        SSumSS s{raw[2 * i], raw[2 * i + 1]};
        AddValue(s, values[i]);
        raw[2 * i] = s.sum;
        raw[2 * i + 1] = s.sumSq;
    }
    memcpy(static_cast<void*>(&record), raw, sizeof(T));
}

std::string Flags(const std::vector<uint8_t>& flags)
{
    std::string text;
    for (uint8_t f : flags) text += f ? '1' : '0';
    return text;
}

void WriteValues(FILE* fp, const char* label, const std::vector<double>& values)
{
    fprintf(fp, "%s %zu\n", label, values.size());
    for (double v : values) fprintf(fp, "%a\n", v);
}

[[noreturn]] void Invalid(const std::string& path)
{
    Abort("Error - Invalid replicate sums in [%s]\n", path.c_str());
}

// Reads "label count" and count numbers.
std::vector<double> ReadValues(std::istream& in, const char* label, const std::string& path)
{
    std::string word;
    size_t count = 0;
    if (!(in >> word >> count) || word != label || count > 100000000) Invalid(path);
    std::vector<double> values(count);
    for (double& v : values) {
        if (!(in >> word)) Invalid(path);
        char* end = nullptr;
        v = strtod(word.c_str(), &end);
        if (*end != '\0') Invalid(path);
    }
    return values;
}

std::vector<uint8_t> ReadFlags(std::istream& in, const char* label, size_t n, const std::string& path)
{
    std::string word, text;
    if (!(in >> word >> text) || word != label || text.size() != n) Invalid(path);
    std::vector<uint8_t> flags;
    for (char c : text) {
        if (c != '0' && c != '1') Invalid(path);
        flags.push_back(c == '1');
    }
    return flags;
}

}  // namespace

std::vector<double> HistoricalValues(const SimClass& sim)
{
    std::vector<double> values;
    AppendSums(sim.histRep, values);
    return values;
}

SPopulationSums PopulationValues(const CPopulation& p)
{
    SPopulationSums s;
    s.name = p.prm.name;
    s.ng = p.prm.ng;
    s.ldGen = p.ldGen;
    s.ldSkipped = p.ldSkipped;
    for (const SGenRepStat& g : p.repStat) AppendSums(g, s.values);
    return s;
}

void WriteReplicateSums(const SReplicateSums& sums, const std::string& path)
{
    FILE* fp = Myfopen(path.c_str(), "w");
    fprintf(fp, "%s\n", kHeader);
    WriteValues(fp, "historical", sums.hist);
    fprintf(fp, "populations %zu\n", sums.pops.size());
    for (const SPopulationSums& p : sums.pops) {
        fprintf(fp, "population %d %s\n", p.ng, p.name.c_str());
        fprintf(fp, "ld_gen %s\nld_skipped %s\n", Flags(p.ldGen).c_str(), Flags(p.ldSkipped).c_str());
        WriteValues(fp, "values", p.values);
    }
    fprintf(fp, "end\n");
    MyFclose(fp);
}

SReplicateSums ReadReplicateSums(const std::string& path)
{
    std::ifstream in(path);
    if (!in) Abort("Error - Could not open [%s]; %s\n", path.c_str(), strerror(errno));
    std::string line;
    if (!std::getline(in, line) || line != kHeader) Invalid(path);
    SReplicateSums sums;
    sums.hist = ReadValues(in, "historical", path);
    std::string word;
    size_t npop = 0;
    if (!(in >> word >> npop) || word != "populations" || npop > 10000) Invalid(path);
    for (size_t i = 0; i < npop; ++i) {
        SPopulationSums p;
        if (!(in >> word >> p.ng >> p.name) || word != "population" || p.ng < 0 || p.ng > 1000000) Invalid(path);
        const size_t gens = static_cast<size_t>(p.ng) + 1;
        p.ldGen = ReadFlags(in, "ld_gen", gens, path);
        p.ldSkipped = ReadFlags(in, "ld_skipped", gens, path);
        p.values = ReadValues(in, "values", path);
        if (p.values.size() != gens * AccumulatorCount<SGenRepStat>()) Invalid(path);
        sums.pops.push_back(std::move(p));
    }
    if (!(in >> word) || word != "end" || (in >> word)) Invalid(path);
    if (sums.hist.size() != AccumulatorCount<SHistRepStat>()) Invalid(path);
    return sums;
}

void AddReplicate(SimClass& sim, const SReplicateSums& sums, const std::string& path)
{
    if (sums.pops.size() != sim.pops.size())
        Abort("Error - [%s] does not hold the populations of the parameter file\n", path.c_str());
    AddValues(sim.histRep, sums.hist.data());
    for (size_t i = 0; i < sums.pops.size(); ++i) {
        CPopulation& p = sim.pops[i];
        const SPopulationSums& s = sums.pops[i];
        if (s.name != p.prm.name || s.ng != p.prm.ng)
            Abort("Error - [%s] does not hold the populations of the parameter file\n", path.c_str());
        for (size_t g = 0; g <= static_cast<size_t>(p.prm.ng); ++g) {
            AddValues(p.repStat[g], &s.values[g * AccumulatorCount<SGenRepStat>()]);
            // A generation whose LD was skipped in any replicate has no LD table, as in one run,
            // where a skip stops LD of that generation for the replicates after it.
            p.ldGen[g] = p.ldGen[g] && s.ldGen[g];
            p.ldSkipped[g] = p.ldSkipped[g] || s.ldSkipped[g];
        }
    }
}
