#include "inputs.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace gblup {

namespace {

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool ParseLong(const std::string& s, long& v)
{
    char* end = nullptr;
    errno = 0;
    v = std::strtol(s.c_str(), &end, 10);
    return !s.empty() && *end == '\0' && errno == 0;
}

bool ParseDouble(const std::string& s, double& v)
{
    char* end = nullptr;
    errno = 0;
    v = std::strtod(s.c_str(), &end);
    return !s.empty() && *end == '\0' && errno == 0 && std::isfinite(v);
}

// One data line: Progeny Sire Dam Flag Sex G NMPrg NFPrg F Homo Phen Res Polygene QTL Inputed_BV.
bool ParseAnimal(const std::string& line, Animal& a)
{
    std::istringstream in(line);
    std::vector<std::string> f;
    for (std::string t; in >> t;) f.push_back(t);
    if (f.size() != 15) return false;
    long gen = 0;
    if (!ParseLong(f[0], a.id) || a.id < 1 || !ParseLong(f[1], a.sire) || a.sire < 0 || !ParseLong(f[2], a.dam) ||
        a.dam < 0 || !ParseLong(f[5], gen) || gen < 0 || !ParseDouble(f[8], a.inbreeding))
        return false;
    if (f[3].size() != 1 || !strchr("SDP-", f[3][0]) || (f[4] != "M" && f[4] != "F")) return false;
    a.flag = f[3][0];
    a.generation = static_cast<int>(gen);
    a.recorded = f[10] != "---";
    return !a.recorded || ParseDouble(f[10], a.phenotype);
}

// Beyond this a value is no phenotype of a simulated trait (the phenotypic variance is at most
// 1e7, a standard deviation of 3,162), and sums of squares over any population stay far from the
// largest double.
constexpr double kMaxPhenotype = 1e12;

void CheckPhenotype(const Animal& a, int lineNo, const std::string& path)
{
    if (!a.recorded || std::fabs(a.phenotype) <= kMaxPhenotype) return;
    char value[32];
    snprintf(value, sizeof value, "%g", a.phenotype);
    throw InputError("Error - Line " + std::to_string(lineNo) + " of " + path + " has the phenotype " + value +
                     ", beyond the +-1e12 a simulated trait can reach.");
}

// Parents are animals of the file, except those of founders: under joint_pop a founder taken from
// another population keeps its parents there; they count as unknown.
void CheckParents(const std::vector<Animal>& animals, const std::unordered_map<long, int>& lineOf,
                  const std::string& path)
{
    for (const Animal& a : animals) {
        if (a.generation == 0) continue;
        for (const auto& [role, parent] : {std::pair<const char*, long>{"sire", a.sire}, {"dam", a.dam}})
            if (parent != 0 && !lineOf.count(parent))
                throw InputError("Error - Line " + std::to_string(lineOf.at(a.id)) + " of " + path + " names " + role +
                                 " " + std::to_string(parent) + ", which is not an animal of the file.");
    }
}

}  // namespace

std::ifstream OpenOrThrow(const std::string& path, const char* what)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) throw InputError("Error - Could not open the " + std::string(what) + " [" + path + "]; " + strerror(errno));
    return in;
}

std::vector<Animal> ReadDataFile(const std::string& path)
{
    std::ifstream in = OpenOrThrow(path, "population file");
    std::vector<Animal> animals;
    std::unordered_map<long, int> seen;
    std::string line;
    if (!std::getline(in, line) || line.rfind("Progeny", 0) != 0)
        throw InputError("Error - " + path + " does not begin with the heading line \"Progeny Sire Dam ...\".");
    for (int lineNo = 2; std::getline(in, line); ++lineNo) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        Animal a;
        if (!ParseAnimal(line, a))
            throw InputError("Error - Line " + std::to_string(lineNo) + " of " + path +
                             " is not a line of the population file: \"" + line + "\"");
        CheckPhenotype(a, lineNo, path);
        if (!seen.emplace(a.id, lineNo).second)
            throw InputError("Error - Animal " + std::to_string(a.id) + " appears twice in " + path + ".");
        animals.push_back(a);
    }
    if (animals.empty()) throw InputError("Error - " + path + " holds no animals.");
    CheckParents(animals, seen, path);
    return animals;
}

std::string ResolveGenotypePath(const std::string& pathOrPrefix)
{
    if (Exists(pathOrPrefix)) return pathOrPrefix;
    if (Exists(pathOrPrefix + ".txt")) return pathOrPrefix + ".txt";
    const size_t slash = pathOrPrefix.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : pathOrPrefix.substr(0, slash + 1);
    const std::string stem = pathOrPrefix.substr(slash == std::string::npos ? 0 : slash + 1) + "_";
    long newest = 0;
    std::string found;
    if (DIR* dir = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            long rep = 0;
            if (name.rfind(stem, 0) != 0 || name.size() < stem.size() + 4 ||
                name.compare(name.size() - 4, 4, ".txt") != 0 ||
                !ParseLong(name.substr(stem.size(), name.size() - stem.size() - 4), rep) || rep <= newest)
                continue;
            newest = rep;
            found = (slash == std::string::npos ? "" : folder) + name;
        }
        closedir(dir);
    }
    if (found.empty())
        throw InputError("Error - No genotype file " + pathOrPrefix + " (nor " + pathOrPrefix + ".txt or " +
                         pathOrPrefix + "_NNN.txt) was found; the population needs \"genotype;\" in its output block.");
    return found;
}

namespace {

// Gene content of one /snp_code digit: 0 = a1,a1; 2 = a2,a2; 3 and 4 heterozygous; 5 missing.
int CodeContent(char c)
{
    switch (c) {
    case '0': return 0;
    case '2': return 2;
    case '3':
    case '4': return 1;
    case '5': return kMissingGenotype;
    default: return -1;
    }
}

// Gene contents of a line of allele pairs ("id p m p m ..."), allele 0 being missing.
bool ParsePairs(const char* s, std::vector<uint8_t>& row)
{
    row.clear();
    for (;;) {
        char* end = nullptr;
        const long pat = std::strtol(s, &end, 10);
        if (end == s) break;
        s = end;
        const long mat = std::strtol(s, &end, 10);
        if (end == s || pat < 0 || mat < 0) return false;
        s = end;
        row.push_back(pat == 0 || mat == 0 ? kMissingGenotype : static_cast<uint8_t>((pat > 1) + (mat > 1)));
    }
    return s[strspn(s, " \t\r")] == '\0';
}

bool ParseCodes(const char* s, std::vector<uint8_t>& row)
{
    row.clear();
    for (; *s && *s != '\r'; ++s) {
        const int c = CodeContent(*s);
        if (c < 0) return false;
        row.push_back(static_cast<uint8_t>(c));
    }
    return !row.empty();
}

// The genotypes of one line; false when it is neither allele pairs nor codes.
bool ParseGenotypeLine(const std::string& line, long& id, std::vector<uint8_t>& row)
{
    char* end = nullptr;
    id = std::strtol(line.c_str(), &end, 10);
    if (end == line.c_str() || id < 1) return false;
    const char* rest = end + strspn(end, " \t");
    const size_t tokenEnd = strcspn(rest, " \t\r");
    const bool codes = rest[tokenEnd + strspn(rest + tokenEnd, " \t\r")] == '\0' && tokenEnd > 1;
    return codes ? ParseCodes(rest, row) : ParsePairs(rest, row);
}

}  // namespace

Genotypes ReadGenotypes(const std::string& path, const std::unordered_map<long, size_t>& wanted)
{
    std::ifstream in = OpenOrThrow(path, "genotype file");
    Genotypes g;
    std::vector<uint8_t> row;
    std::string line;
    for (int lineNo = 1; std::getline(in, line); ++lineNo) {
        if (line.empty() || line[0] == '~') {  // a replicate heading: only the last replicate counts
            if (!line.empty()) g = Genotypes();
            continue;
        }
        if (line.rfind("ID", 0) == 0) continue;
        long id = 0;
        if (!ParseGenotypeLine(line, id, row))
            throw InputError("Error - Line " + std::to_string(lineNo) + " of " + path +
                             " is not a line of marker genotypes.");
        if (g.rowOfId.empty() && g.nMarker == 0) g.nMarker = row.size();
        if (row.size() != g.nMarker)
            throw InputError("Error - Line " + std::to_string(lineNo) + " of " + path + " has " +
                             std::to_string(row.size()) + " markers instead of " + std::to_string(g.nMarker) + ".");
        if (!wanted.count(id)) continue;
        if (!g.rowOfId.emplace(id, g.rowOfId.size()).second)
            throw InputError("Error - Animal " + std::to_string(id) + " appears twice in " + path + ".");
        g.codes.insert(g.codes.end(), row.begin(), row.end());
    }
    if (g.nMarker == 0) throw InputError("Error - The genotype file " + path + " holds no genotypes.");
    return g;
}

}  // namespace gblup
