// The engine side of davok-cluster: runs one job of a study, a run of one or more replicates exactly
// as Davok would, and keeps what each replicate adds to the summary over replicates; later writes
// the summary of many such replicates with the simulator's own code.
//
//   davok-cluster-engine run PARAM FOLDER SEED REPLICATES THREADS
//       the job into FOLDER, from SEED; THREADS 0 keeps the parameter file's
//   davok-cluster-engine summary PARAM FOLDER LIST
//       FOLDER/stat_rep.txt over the replicates whose sums files LIST names, one a line
//   davok-cluster-engine folder PARAM
//       prints the output folder a run of PARAM writes into, after checking the file's syntax
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "app/entry.h"
#include "app/folder.h"
#include "app/simclass.h"
#include "param/reader.h"
#include "random/rnd.h"
#include "replicate_sums.h"
#include "support/messages.h"
#include "support/worker_error.h"

namespace {

[[noreturn]] void Usage()
{
    Abort("Error - Usage: davok-cluster-engine run PARAM FOLDER SEED REPLICATES THREADS\n"
          "       davok-cluster-engine summary PARAM FOLDER LIST\n"
          "       davok-cluster-engine folder PARAM\n");
}

int Number(const char* text, long lowest, long highest)
{
    char* end = nullptr;
    long n = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || n < lowest || n > highest) Abort("Error - Invalid number: %s\n", text);
    return static_cast<int>(n);
}

std::string SumsFile(const std::string& folder, int rep)
{
    char name[64];
    snprintf(name, sizeof name, "/replicate_sums_%03d.txt", rep);
    return folder + name;
}

// Starts every accumulator of the run again from 0, so that after the next replicate they hold
// that replicate's values alone.
void ClearAccumulators(SimClass& sim)
{
    sim.histRep = SHistRepStat();
    for (CPopulation& p : sim.pops) std::fill(p.repStat.begin(), p.repStat.end(), SGenRepStat());
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
    SParams prm = ReadParams(param);
    CheckParams(prm);
    prm.output.outputFolder = folder.empty() || folder.back() == '/' ? folder : folder + "/";
    SimClass sim(prm);
    for (CPopulation& p : sim.pops) p.repStat.assign(static_cast<size_t>(p.prm.ng) + 1, SGenRepStat());
    for (const std::string& path : sumFiles) AddReplicate(sim, ReadReplicateSums(path), path);
    sim.runNrep = static_cast<int>(sumFiles.size());
    SaveStatRep(sim.prm, sim.pops, sim.histRep, sim.runNrep);
    return 0;
}

int PrintOutputFolder(const std::string& param)
{
    const SParams prm = ReadParams(param);
    printf("%s\n", (prm.output.outputFolder.empty() ? GetOutPutFolderName(param) : prm.output.outputFolder).c_str());
    return 0;
}

// One job: the parameter file's output folder, seed and number of replicates give way to the
// job's. After the last population of each replicate its values are kept and the accumulators
// cleared; the run's own summary, written from the cleared accumulators, is then written again
// from the kept values, which gives what the run would have written.
int RunJob(const std::string& param, const std::string& folder, const std::string& seed, int replicates,
           int threads)
{
    std::vector<SReplicateSums> kept;
    SReplicateSums current;
    RunAdjuster adjust;
    adjust.params = [&](SParams& prm) {
        prm.output.outputFolder = folder;
        prm.global.nrep = replicates;
        if (threads > 0) prm.global.nthread = threads;
        MyRnd.seed_file_name = seed;
    };
    adjust.engine = [&](SimClass& sim) {
        sim.onPopulationDone = [&sim, &kept, &current](const CPopulation& p, int) {
            current.pops.push_back(PopulationValues(p));
            if (&p != &sim.pops.back()) return;
            current.hist = HistoricalValues(sim);
            kept.push_back(std::move(current));
            current = SReplicateSums();
            ClearAccumulators(sim);
        };
    };
    std::string program = "Davok";
    std::vector<char*> argv = {&program[0], const_cast<char*>(param.c_str()), const_cast<char*>("-o")};
    if (DavokMain(static_cast<int>(argv.size()), argv.data(), adjust) != 0) return 1;

    std::vector<std::string> sumFiles;
    for (size_t r = 0; r < kept.size(); ++r) {
        sumFiles.push_back(SumsFile(folder, static_cast<int>(r) + 1));
        WriteReplicateSums(kept[r], sumFiles.back());
    }
    if (kept.size() >= 2) WriteSummary(param, folder, sumFiles);
    return 0;
}

int EngineMain(int argc, char** argv)
{
    if (argc < 2) Usage();
    const std::string mode = argv[1];
    if (mode == "run" && argc == 7)
        return RunJob(argv[2], argv[3], argv[4], Number(argv[5], 1, 20000), Number(argv[6], 0, 200));
    if (mode == "summary" && argc == 5) return WriteSummary(argv[2], argv[3], ReadList(argv[4]));
    if (mode == "folder" && argc == 3) return PrintOutputFolder(argv[2]);
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
