// davok-gblup: genomic breeding values for Davok's external_bv evaluation. Reads the population
// ("data.tmp") and the marker genotypes of the run, writes "my_bv.txt".
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <unordered_map>

#include "inputs.h"
#include "model.h"
#include "parameter_file.h"

namespace {

const char* const kUsage =
    "Usage: davok-gblup --geno FILE|PREFIX (--h2 X | --prm FILE) [--method gblup|snpblup]\n"
    "                   [--data data.tmp] [--out my_bv.txt] [--ridge 0.01] [--threads N]\n";

struct Options {
    std::string method = "gblup";
    std::string geno, prm, data = "data.tmp", out = "my_bv.txt";
    double h2 = -1, ridge = 0.01;  // h2 -1: not given
    int threads = 0;               // 0: not given
};

// Beyond the cores of any machine this runs on; every one is a system thread of its own.
constexpr long kMaxThreads = 256;

gblup::InputError BadValue(const std::string& key, const std::string& wanted, const char* text)
{
    return gblup::InputError("Error - " + key + " needs " + wanted + ", not \"" + text + "\".");
}

// The values a numeric option takes: above low, and below high or up to it.
struct Range {
    double low, high;
    bool highIncluded;
    const char* words;
};
const Range kHeritability = {0, 1, false, "a number above 0 and below 1"};
// The ridge is the genetic variance outside the markers, as a share of the markers' own.
const Range kRidge = {0, 1, true, "a number above 0 and at most 1"};

double NumberArgument(const std::string& key, const char* text, const Range& r)
{
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    const bool inside = v > r.low && (v < r.high || (r.highIncluded && v == r.high));  // false for NaN
    if (end == text || *end != '\0' || !inside) throw BadValue(key, r.words, text);
    return v;
}

int ThreadsArgument(const std::string& key, const char* text)
{
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || v < 1 || v > kMaxThreads)
        throw BadValue(key, "a whole number from 1 to " + std::to_string(kMaxThreads), text);
    return static_cast<int>(v);
}

Options ParseOptions(int argc, char** argv)
{
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string key = argv[i];
        if (i + 1 >= argc) throw gblup::InputError("Error - " + key + " needs a value.\n" + kUsage);
        const char* value = argv[++i];
        if (key == "--method") o.method = value;
        else if (key == "--geno") o.geno = value;
        else if (key == "--prm") o.prm = value;
        else if (key == "--data") o.data = value;
        else if (key == "--out") o.out = value;
        else if (key == "--h2") o.h2 = NumberArgument(key, value, kHeritability);
        else if (key == "--ridge") o.ridge = NumberArgument(key, value, kRidge);
        else if (key == "--threads") o.threads = ThreadsArgument(key, value);
        else throw gblup::InputError("Error - Unknown option " + key + ".\n" + kUsage);
    }
    if (o.method != "gblup" && o.method != "snpblup")
        throw gblup::InputError("Error - --method is gblup or snpblup, not \"" + o.method + "\".");
    if (o.geno.empty()) throw gblup::InputError(std::string("Error - --geno is missing.\n") + kUsage);
    if (o.h2 < 0 && o.prm.empty()) throw gblup::InputError(std::string("Error - Give --h2 or --prm.\n") + kUsage);
    if (o.h2 > 0 && !o.prm.empty()) throw gblup::InputError("Error - Give either --h2 or --prm, not both.");
    if (o.threads < 1) o.threads = static_cast<int>(std::max(1u, std::min(2u, std::thread::hardware_concurrency())));
    return o;
}

void WriteBreedingValues(const std::string& path, const gblup::Model& m, const gblup::Solution& s)
{
    FILE* fp = fopen(path.c_str(), "w");
    if (!fp) throw gblup::InputError("Error - Could not write [" + path + "]; " + strerror(errno));
    fprintf(fp, "ID EBV\n");
    for (size_t i = 0; i < m.id.size(); ++i) fprintf(fp, "%ld %.10g\n", m.id[i], s.ebv[i]);
    if (fclose(fp) != 0) throw gblup::InputError("Error - Could not write [" + path + "].");
}

int Run(int argc, char** argv)
{
    const Options o = ParseOptions(argc, argv);
    const double lambda = o.prm.empty() ? (1 - o.h2) / o.h2 : gblup::SimulatorVarianceRatio(o.prm);
    const std::vector<gblup::Animal> animals = gblup::ReadDataFile(o.data);
    std::unordered_map<long, size_t> wanted;
    for (size_t i = 0; i < animals.size(); ++i) wanted.emplace(animals[i].id, i);
    const std::string genoPath = gblup::ResolveGenotypePath(o.geno);
    gblup::Model model = gblup::BuildModel(animals, gblup::ReadGenotypes(genoPath, wanted), lambda, o.ridge, genoPath);
    const gblup::Solution s =
        o.method == "gblup" ? gblup::SolveGblup(model, o.threads) : gblup::SolveSnpBlup(model, o.threads);
    if (!s.converged)
        fprintf(stderr, "\nWarning - SNP-BLUP did not converge after %d iterations; the last iterate is used.\n",
                s.iterations);
    WriteBreedingValues(o.out, model, s);
    return 0;
}

}  // namespace

// Every message starts with a line feed: Davok runs the plug-in in the middle of its progress line
// ("G3     Size=40     "), and the message must not be glued to it.
int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const gblup::InputError& e) {
        fprintf(stderr, "\ndavok-gblup: %s\n", e.what());
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "\ndavok-gblup: Error - Not enough memory for this evaluation.\n");
    }
    return 1;
}
