// The command line of davok-export.
#pragma once

#include <string>
#include <vector>

enum class ELoci { Markers, Qtl, Both };
enum class EFormat { Plink, Vcf };

struct SExportOptions {
    std::string folder;            // the run's output folder
    std::string pop;               // population name; empty: the folder's only one
    int rep = 1;                   // replicate, from 1
    std::vector<int> gens;         // generations to export; empty: all that were genotyped
    ELoci loci = ELoci::Markers;   // which loci
    EFormat format = EFormat::Plink;
    std::string out;               // output prefix (PLINK) or file name (VCF, "-" = standard output)
    long long memoryBytes = 64LL << 20;   // bound on the genotypes held at once
};

// Reads the command line; prints the help and exits 0 on --help; bad options end through Abort.
SExportOptions ParseCommandLine(int argc, char** argv);
