#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/messages.h"

namespace {

const char* const kUsage =
    "Usage: davok-export RUN_FOLDER [options]\n"
    "Converts the genotype files of a Davok run to PLINK binary (.bed/.bim/.fam) or VCF 4.2.\n"
    "\n"
    "  --pop NAME          population (default: the only one with genotype files)\n"
    "  --rep N             replicate (default 1)\n"
    "  --gen LIST          generations, e.g. 3 or 0,2-4 (default: all genotyped; needs the data file)\n"
    "  --loci mrk|qtl|both loci to export (default mrk)\n"
    "  --format plink|vcf  output format (default plink)\n"
    "  --out PREFIX        PLINK: PREFIX.bed/.bim/.fam; VCF: PREFIX.vcf, or - for standard output\n"
    "                      (default: POP_REP, e.g. p1_001, in the current folder)\n"
    "  --memory MB         genotypes held in memory at once (default 64)\n"
    "  --help              this text\n";

// A whole decimal number in [lo, hi] or the end of the run.
long long WholeNumber(const char* text, const char* option, long long lo, long long hi)
{
    char* end = nullptr;
    errno = 0;
    const long long v = strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || v < lo || v > hi)
        Abort("Error - %s needs a whole number from %lld to %lld, not \"%s\"\n", option, lo, hi, text);
    return v;
}

// "0,2-4" gives 0, 2, 3, 4.
std::vector<int> GenerationList(const std::string& text)
{
    std::vector<int> gens;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const size_t dash = item.find('-', 1);
        const int first = static_cast<int>(WholeNumber(item.substr(0, dash).c_str(), "--gen", 0, 1000000));
        const int last = dash == std::string::npos
                             ? first
                             : static_cast<int>(WholeNumber(item.substr(dash + 1).c_str(), "--gen", first, 1000000));
        for (int g = first; g <= last; ++g) gens.push_back(g);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return gens;
}

}  // namespace

SExportOptions ParseCommandLine(int argc, char** argv)
{
    SExportOptions o;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            fputs(kUsage, stdout);
            exit(0);
        }
        if (arg.rfind("--", 0) != 0) {
            if (!o.folder.empty()) Abort("Error - Only one run folder, please: [%s] and [%s]\n", o.folder.c_str(), argv[i]);
            o.folder = arg;
            continue;
        }
        if (i + 1 >= argc) Abort("Error - %s needs a value\n%s", arg.c_str(), kUsage);
        const std::string value = argv[++i];
        if (arg == "--pop")
            o.pop = value;
        else if (arg == "--rep")
            o.rep = static_cast<int>(WholeNumber(value.c_str(), "--rep", 1, 1000000));
        else if (arg == "--gen")
            o.gens = GenerationList(value);
        else if (arg == "--loci" && (value == "mrk" || value == "qtl" || value == "both"))
            o.loci = value == "mrk" ? ELoci::Markers : value == "qtl" ? ELoci::Qtl : ELoci::Both;
        else if (arg == "--format" && (value == "plink" || value == "vcf"))
            o.format = value == "plink" ? EFormat::Plink : EFormat::Vcf;
        else if (arg == "--out")
            o.out = value;
        else if (arg == "--memory")
            o.memoryBytes = WholeNumber(value.c_str(), "--memory", 1, 1 << 20) << 20;
        else
            Abort("Error - Unknown option or value: %s %s\n%s", arg.c_str(), value.c_str(), kUsage);
    }
    if (o.folder.empty()) Abort("Error - No run folder given\n%s", kUsage);
    if (o.out == "-" && o.format == EFormat::Plink) Abort("Error - --out - (standard output) is for --format vcf only\n");
    return o;
}
