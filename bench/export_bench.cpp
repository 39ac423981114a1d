// davok-export on 20,000 markers (bench/export_10k.prm, the marker genotypes as text): the
// 10,000 founders to PLINK binary and to VCF, to PLINK with a 32 MB bound, and 5,000, 10,000 and
// 15,000 animals to PLINK, each with its wall and processor time and the peak memory of the
// process, against reading the input file once and plink1.9 --make-bed reading and writing the
// exported .bed.
//   export_bench   (the simulated run is kept in build/bench/export_work and reused; remove the
//                   folder to simulate it again)
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench_util.h"

namespace {

struct SChild {
    double wall = 0, processor = 0;
    double peakMB = 0;
};

// Runs argv in folder cwd with standard output (and error) sent to /dev/null; its times and
// peak resident memory come from wait4.
SChild RunChild(const std::string& cwd, const std::vector<std::string>& argv)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        if (chdir(cwd.c_str()) != 0) _exit(127);
        const int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        dup2(devnull, 2);
        std::vector<char*> args;
        for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    struct rusage u;
    wait4(pid, &status, 0, &u);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "%s failed (status %d)\n", argv[0].c_str(), status);
        exit(1);
    }
    SChild c;
    c.wall = SecondsSince(start);
    c.processor = u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
    c.peakMB = u.ru_maxrss / 1024.0;
    return c;
}

double ProcessorSeconds()
{
    struct rusage u;
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Reads path once with read(2) into a 1 MiB buffer, in this process: the least any reader of
// the file must spend.
SChild ReadOnce(const std::string& path)
{
    std::vector<char> buffer(1 << 20);
    const double processor = ProcessorSeconds();
    const auto start = std::chrono::steady_clock::now();
    const int fd = open(path.c_str(), O_RDONLY);
    while (read(fd, buffer.data(), buffer.size()) > 0) {
    }
    close(fd);
    SChild c;
    c.wall = SecondsSince(start);
    c.processor = ProcessorSeconds() - processor;
    return c;
}

std::string Folder(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

void PrintRow(const char* name, const SChild& c, const SChild& reference)
{
    printf("%-40s %8.2f %8.2f %9.1f %8.1f\n", name, c.wall, c.processor, c.peakMB,
           reference.processor > 0 ? c.processor / reference.processor : 0.0);
}

}  // namespace

int main()
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (n <= 0) return 1;
    self[n] = '\0';
    const std::string build = Folder(Folder(self));
    const std::string work = build + "/bench/export_work";
    const std::string run = work + "/r_export_10k";
    const std::string exporter = build + "/davok-export";

    if (!Exists(run + "/p_mrk_001.txt")) {
        mkdir(work.c_str(), 0755);
        const std::string prm = std::string(DAVOK_BENCH_DIR) + "/export_10k.prm";
        printf("Simulating %s (about two minutes) ...\n", prm.c_str());
        fflush(stdout);
        RunChild(work, {build + "/Davok", prm, "-o"});
    }
    struct stat input;
    stat((run + "/p_mrk_001.txt").c_str(), &input);
    printf("Input: 10,000 founders and 5,000 progeny x 20,000 markers, text genotype file of %.0f MB\n\n",
           input.st_size / 1e6);
    printf("%-40s %8s %8s %9s %8s\n", "Step", "wall s", "cpu s", "peak MB", "cpu/read");

    const SChild cat = ReadOnce(run + "/p_mrk_001.txt");
    PrintRow("read the input once (read(2), 1 MiB)", cat, cat);
    const SChild bed = RunChild(work, {exporter, run, "--gen", "0", "--out", "out"});
    PrintRow("plink, 10,000 founders (--gen 0)", bed, cat);
    const SChild bounded = RunChild(work, {exporter, run, "--gen", "0", "--memory", "32", "--out", "out32"});
    PrintRow("plink, 10,000 founders, --memory 32", bounded, cat);
    const SChild vcf = RunChild(work, {exporter, run, "--gen", "0", "--format", "vcf", "--out", "out"});
    PrintRow("vcf, 10,000 founders", vcf, cat);
    PrintRow("plink, 5,000 progeny (--gen 1)", RunChild(work, {exporter, run, "--gen", "1", "--out", "out5k"}), cat);
    PrintRow("plink, all 15,000 animals", RunChild(work, {exporter, run, "--out", "out15k"}), cat);
    const SChild plink = RunChild(work, {"plink1.9", "--bfile", "out", "--make-bed", "--chr-set", "95", "--out", "copy"});
    PrintRow("plink1.9 --make-bed of the .bed", plink, cat);

    printf("\nThe founders' genotypes take %.0f MB as .bed codes; the export stores them within --memory\n"
           "(default 64 MB), the rest in a temporary file.\n",
           10000.0 * 20000 / 4 / 1e6);
    printf("Ratio: davok-export to PLINK %.2f cpu s / plink1.9 --make-bed %.2f cpu s = %.1f\n", bed.processor,
           plink.processor, plink.processor > 0 ? bed.processor / plink.processor : 0.0);
    for (const char* name : {"out", "out32", "out5k", "out15k", "copy"})
        for (const char* ext : {".bed", ".bim", ".fam", ".log", ".vcf"}) remove((work + "/" + name + ext).c_str());
    return 0;
}
