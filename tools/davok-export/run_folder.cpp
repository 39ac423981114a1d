#include "run_folder.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <set>
#include <sys/stat.h>

#include "support/messages.h"

namespace {

// The words of a line, separated by white space as a stream reads them, into `words`.
void SplitWords(const std::string& line, std::vector<std::string>& words)
{
    words.clear();
    const auto blank = [&](size_t k) { return isspace(static_cast<unsigned char>(line[k])) != 0; };
    for (size_t k = 0; k < line.size();) {
        while (k < line.size() && blank(k)) ++k;
        const size_t start = k;
        while (k < line.size() && !blank(k)) ++k;
        if (k > start) words.emplace_back(line, start, k - start);
    }
}

const char* const kGenotypeKinds[] = {"_mrk_qtl", "_mrk", "_qtl"};
// Result files whose names end like a population's genotype file but are not one: those of the
// run (whole names) and the frequency files of a population (endings).
const char* const kRunFiles[] = {"hp_homo_mrk", "hp_homo_qtl", "lm_mrk", "lm_qtl", "lm_mrk_qtl", "effect_qtl"};
const char* const kFrequencyKinds[] = {"_freq_mrk", "_freq_qtl"};

bool EndsWith(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool EndsWithLineFeed(const std::string& path)
{
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in || in.tellg() <= 0) return true;
    in.seekg(-1, std::ios::end);
    return in.get() == '\n';
}

bool FileExists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// "p1_mrk_002.txt" and "p1_mrk.txt" give "p1_mrk".
std::string WithoutReplicateSuffix(std::string name)
{
    if (!EndsWith(name, ".txt")) return "";
    name.resize(name.size() - 4);
    const size_t us = name.rfind('_');
    if (us != std::string::npos && name.size() - us - 1 >= 3 &&
        std::all_of(name.begin() + static_cast<long>(us) + 1, name.end(), ::isdigit))
        name.resize(us);
    return name;
}

// "~~~ Replicate   2 ~~~" gives 2, any other line -1.
int ReplicateHeading(const std::string& line)
{
    if (line.empty() || line[0] != '~') return -1;
    int rep = -1;
    return sscanf(line.c_str(), "%*[~] Replicate %d", &rep) == 1 ? rep : -1;
}

double ToDouble(const std::string& text, const std::string& path, const std::string& line)
{
    char* end = nullptr;
    const double v = strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0') Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
    return v;
}

}  // namespace

std::vector<std::string> GenotypedPopulations(const std::string& folder)
{
    std::set<std::string> pops;
    DIR* dir = opendir(folder.c_str());
    if (!dir) Abort("Error - Could not open the run folder [%s]; %s\n", folder.c_str(), strerror(errno));
    while (const dirent* e = readdir(dir)) {
        const std::string base = WithoutReplicateSuffix(e->d_name);
        if (std::any_of(std::begin(kRunFiles), std::end(kRunFiles), [&](const char* k) { return base == k; }) ||
            std::any_of(std::begin(kFrequencyKinds), std::end(kFrequencyKinds), [&](const char* k) { return EndsWith(base, k); }))
            continue;
        for (const char* kind : kGenotypeKinds) {
            if (EndsWith(base, kind) && base.size() > strlen(kind)) {
                pops.insert(base.substr(0, base.size() - strlen(kind)));
                break;
            }
        }
    }
    closedir(dir);
    return {pops.begin(), pops.end()};
}

CRunFolder::CRunFolder(const SExportOptions& o) : folder(o.folder), pop(o.pop), rep(o.rep)
{
    if (folder.empty() || folder.back() != '/') folder += '/';
    const std::vector<std::string> pops = GenotypedPopulations(folder);
    if (pops.empty()) Abort("Error - No genotype files in [%s]\n", folder.c_str());
    if (pop.empty()) {
        if (pops.size() > 1) {
            std::string names;
            for (const std::string& p : pops) names += " " + p;
            Abort("Error - [%s] holds genotypes of several populations; choose one with --pop:%s\n", folder.c_str(),
                  names.c_str());
        }
        pop = pops[0];
    } else if (std::find(pops.begin(), pops.end(), pop) == pops.end()) {
        Abort("Error - No genotype files of population \"%s\" in [%s]\n", pop.c_str(), folder.c_str());
    }
    for (const char* kind : kGenotypeKinds)
        if (FileExists(folder + pop + kind + ".txt")) merged = true;
    if (!merged && !Exists("mrk_qtl") && !Exists("mrk") && !Exists("qtl"))
        Abort("Error - Replicate %d is not in [%s]: no genotype files of population \"%s\"\n", rep, folder.c_str(), pop.c_str());
}

std::string CRunFolder::Path(const std::string& kind, bool ofPop) const
{
    const std::string base = folder + (ofPop ? pop + "_" : "") + kind;
    if (merged) return base + ".txt";
    char suffix[32];
    snprintf(suffix, sizeof(suffix), "_%03d.txt", rep);
    return base + suffix;
}

bool CRunFolder::Exists(const std::string& kind, bool ofPop) const
{
    return FileExists(Path(kind, ofPop));
}

void CRunFolder::ForEachLine(const std::string& path, const std::function<void(const std::string&)>& use) const
{
    std::ifstream in(path);
    if (!in) Abort("Error - Could not open [%s]; %s\n", path.c_str(), strerror(errno));
    bool inside = !merged;
    bool found = !merged;
    std::string line;
    while (std::getline(in, line)) {
        const int heading = merged ? ReplicateHeading(line) : -1;
        if (heading >= 0) {
            if (inside) break;
            inside = found = heading == rep;
            continue;
        }
        if (inside) use(line);
    }
    if (!found) Abort("Error - Replicate %d is not in [%s]\n", rep, path.c_str());
}

std::vector<SMapLocus> CRunFolder::ReadMap(const std::string& kind) const
{
    const std::string path = Path(kind, false);
    if (!FileExists(path))
        Abort("Error - The linkage map [%s] is missing: add linkage_map; to the output block of the run\n", path.c_str());
    if (!EndsWithLineFeed(path)) Abort("Error - The linkage map [%s] is cut: its last line has no line feed\n", path.c_str());
    std::vector<SMapLocus> loci;
    std::vector<std::string> words;
    ForEachLine(path, [&](const std::string& line) {
        SplitWords(line, words);
        if (words.empty() || words[0] == "ID") return;
        if (words.size() < 3) Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
        const std::string& id = words[0];
        const double c = ToDouble(words[1], path, line);
        if ((id[0] != 'M' && id[0] != 'Q') || c < 1 || c > 100000 || c != static_cast<int>(c))
            Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
        const double cM = ToDouble(words[2], path, line);
        if (!(cM >= 0 && cM <= 1e6)) Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
        loci.push_back({id, static_cast<int>(c), cM, id[0] == 'Q'});
    });
    return loci;
}

namespace {

// The lines of the run report, empty without one.
std::vector<std::string> ReportLines(const std::string& folder)
{
    std::vector<std::string> lines;
    std::ifstream in(folder + "report.txt");
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The number after the colon of the report line that begins with `title`; -1 if none.
int ReportCount(const std::vector<std::string>& lines, const char* title)
{
    for (const std::string& line : lines) {
        int n = -1;
        if (line.rfind(title, 0) == 0 && sscanf(line.c_str() + line.find(':') + 1, "%d", &n) == 1) return n;
    }
    return -1;
}

}  // namespace

int CRunFolder::ReportedLoci(const std::string& kind) const
{
    const std::vector<std::string> lines = ReportLines(folder);
    const int markers = ReportCount(lines, "No. markers in total"), qtl = ReportCount(lines, "No. QTL in total");
    if (kind == "mrk") return markers;
    if (kind == "qtl") return qtl;
    return markers < 0 || qtl < 0 ? -1 : markers + qtl;
}

std::vector<SMapLocus> CRunFolder::UnmappedLoci(const std::string& kind, int count) const
{
    const bool qtl = kind == "qtl";
    if (kind != "mrk" && !qtl)
        Abort("Error - [%s] cannot be read without its linkage map [%s]\n", Path(kind).c_str(), Path("lm_" + kind, false).c_str());
    // The first table "Chr Length No. Markers No. QTLs" of the report.
    std::vector<int> perChr;
    bool inTable = false;
    for (const std::string& line : ReportLines(folder)) {
        int chr = 0, markers = 0, qtls = 0;
        double length = 0;
        if (line.rfind("Chr ", 0) == 0 && line.find("No. Markers") != std::string::npos) {
            inTable = perChr.empty();
        } else if (inTable && sscanf(line.c_str(), "%d %lf %d %d", &chr, &length, &markers, &qtls) == 4) {
            perChr.push_back(qtl ? qtls : markers);
        } else {
            inTable = false;
        }
    }
    std::vector<SMapLocus> loci;
    int chr = perChr.empty() ? 0 : 1, onChr = 0;
    for (int k = 1; k <= count; ++k) {
        while (chr > 0 && chr <= static_cast<int>(perChr.size()) && onChr == perChr[static_cast<size_t>(chr - 1)]) {
            ++chr;
            onChr = 0;
        }
        ++onChr;
        loci.push_back({(qtl ? "Q" : "M") + std::to_string(k), chr > static_cast<int>(perChr.size()) ? 0 : chr, 0.0, qtl});
    }
    return loci;
}

std::vector<SAnimalInfo> CRunFolder::ReadAnimals() const
{
    std::vector<SAnimalInfo> animals;
    if (!Exists("data")) return animals;
    const std::string path = Path("data");
    std::vector<std::string> names;
    auto column = [&](const char* name) {
        const auto it = std::find(names.begin(), names.end(), name);
        return it == names.end() ? -1 : static_cast<int>(it - names.begin());
    };
    int id = -1, sire = -1, dam = -1, sex = -1, gen = -1, phen = -1;
    std::vector<std::string> f;
    ForEachLine(path, [&](const std::string& line) {
        SplitWords(line, f);
        if (f.empty()) return;
        if (f[0] == "Progeny") {
            names = f;
            id = column("Progeny");
            sire = column("Sire*") >= 0 ? column("Sire*") : column("Sire");
            dam = column("Dam*") >= 0 ? column("Dam*") : column("Dam");
            sex = column("Sex"), gen = column("G"), phen = column("Phen");
            return;
        }
        if (std::min({id, sire, dam, sex, gen, phen}) < 0 || f.size() < names.size())
            Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
        auto whole = [&](int column) {
            const double v = ToDouble(f[static_cast<size_t>(column)], path, line);
            if (v < 0 || v > 2147483647) Abort("Error - Unexpected line in [%s]: %s\n", path.c_str(), line.c_str());
            return static_cast<int>(v);
        };
        SAnimalInfo a;
        a.id = whole(id);
        a.sire = whole(sire);
        a.dam = whole(dam);
        a.gen = whole(gen);
        a.sex = f[static_cast<size_t>(sex)][0];
        a.hasPhen = f[static_cast<size_t>(phen)] != "---";
        if (a.hasPhen) a.phen = ToDouble(f[static_cast<size_t>(phen)], path, line);
        animals.push_back(a);
    });
    std::sort(animals.begin(), animals.end(), [](const SAnimalInfo& a, const SAnimalInfo& b) { return a.id < b.id; });
    return animals;
}
