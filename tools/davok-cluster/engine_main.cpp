// The engine side of davok-cluster: runs one replicate of a study exactly as Davok would and keeps
// what it adds to the summary over replicates; later writes the summary of many such replicates
// with the simulator's own code.
//
//   davok-cluster-engine run PARAM FOLDER SEED THREADS   one replicate into FOLDER, from SEED;
//                                                        THREADS 0 keeps the parameter file's
//   davok-cluster-engine summary PARAM FOLDER LIST       FOLDER/stat_rep.txt over the replicates
//                                                        whose sums files LIST names, one a line
#include <cstdio>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "app/entry.h"
#include "app/simclass.h"
#include "param/lex.h"
#include "random/rnd.h"
#include "replicate_sums.h"
#include "support/messages.h"
#include "support/worker_error.h"

namespace {

constexpr const char* kSumsFile = "replicate_sums.txt";

[[noreturn]] void Usage()
{
    Abort("Error - Usage: davok-cluster-engine run PARAM FOLDER SEED THREADS\n"
          "       davok-cluster-engine summary PARAM FOLDER LIST\n");
}

int ThreadCount(const char* text)
{
    char* end = nullptr;
    long n = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || n < 0 || n > 200) Abort("Error - Invalid number of threads: %s\n", text);
    return static_cast<int>(n);
}

// One replicate: the parameter file's own output folder, seed and number of replicates give way
// to the job's. The sums are written last, so their file marks a run that completed.
int RunReplicate(const std::string& param, const std::string& folder, const std::string& seed, int threads)
{
    SReplicateSums sums;
    RunAdjuster adjust = [&](SimClass& sim) {
        sim.outputFolder = folder;
        sim.nrep = 1;
        if (threads > 0) sim.nthread = threads;
        MyRnd.seed_file_name = seed;
        sim.onPopulationDone = [&sim, &sums](const CPopulation& p, int) {
            sums.hist = HistoricalValues(sim);
            sums.pops.push_back(PopulationValues(p));
        };
    };
    std::string program = "Davok";
    std::vector<char*> argv = {&program[0], const_cast<char*>(param.c_str()), const_cast<char*>("-o")};
    int status = DavokMain(static_cast<int>(argv.size()), argv.data(), adjust);
    if (status == 0) WriteReplicateSums(sums, folder + "/" + kSumsFile);
    return status;
}

std::vector<std::string> ReadList(const std::string& path)
{
    std::ifstream in(path);
    if (!in) Abort("Error - Could not open [%s]; %s\n", path.c_str(), strerror(errno));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) lines.push_back(line);
    if (lines.empty()) Abort("Error - [%s] names no replicate\n", path.c_str());
    return lines;
}

int WriteSummary(const std::string& param, const std::string& folder, const std::vector<std::string>& sumFiles)
{
    SimClass sim;
    ReadParameterFile(sim, param);
    sim.CheckParam();
    sim.outputFolder = folder.empty() || folder.back() == '/' ? folder : folder + "/";
    for (CPopulation& p : sim.pops) p.repStat.assign(static_cast<size_t>(p.ng) + 1, SGenRepStat());
    for (const std::string& path : sumFiles) AddReplicate(sim, ReadReplicateSums(path), path);
    sim.nrep = static_cast<int>(sumFiles.size());
    sim.SaveStatRep();
    return 0;
}

int EngineMain(int argc, char** argv)
{
    if (argc < 2) Usage();
    const std::string mode = argv[1];
    if (mode == "run" && argc == 6) return RunReplicate(argv[2], argv[3], argv[4], ThreadCount(argv[5]));
    if (mode == "summary" && argc == 5) return WriteSummary(argv[2], argv[3], ReadList(argv[4]));
    Usage();
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return EngineMain(argc, argv);
    } catch (const std::bad_alloc&) {
        Abort("%s", kOutOfMemoryMessage);
    }
}
