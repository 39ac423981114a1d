#include "cli/cli_util.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <dirent.h>
#include <sstream>

RunResult RunDavok(const TempDir& dir, const std::string& args, const std::string& input)
{
    return RunIn(dir.path(), std::string(DAVOK_BIN) + " " + args, input);
}

RunResult RunParam(const TempDir& dir, const std::string& name, const std::string& text, const std::string& args)
{
    WriteFile(dir / (name + ".prm"), text);
    remove((dir / "seed.prv").c_str());
    return RunDavok(dir, name + ".prm " + args);
}

std::string TestParam(const std::string& name)
{
    return ReadFile(std::string(DAVOK_TEST_DATA) + "/cli/data/" + name);
}

void CopyTestParam(const TempDir& dir, const std::string& name, const std::string& as)
{
    WriteFile(dir / (as.empty() ? name : as), TestParam(name));
}

std::string Edited(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    if (at == std::string::npos) {
        ADD_FAILURE() << "no \"" << from << "\" to replace";
        return text;
    }
    return text.replace(at, from.size(), to);
}

std::string Minimal(const std::string& globals) { return Edited(TestParam("minimal.prm"), "nrep = 1;\n", globals); }

std::string Genome(int chromosomes, int length, int markers, int qtl, const std::string& extra,
                   const std::string& markerAlleles)
{
    return "begin_genome;\n" + extra + " begin_chr = " + std::to_string(chromosomes) + ";\n  chrlen = " +
           std::to_string(length) + ";\n  nmloci = " + std::to_string(markers) + ";\n  mpos = rnd;\n  nma = " +
           markerAlleles + ";\n  maf = eql;\n  nqloci = " + std::to_string(qtl) +
           ";\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n end_chr;\nend_genome;\n";
}

std::string HpFounders(int males, int females)
{
    return " begin_founder;\n  male [n = " + std::to_string(males) + ", pop = \"hp\"];\n  female [n = " +
           std::to_string(females) + ", pop = \"hp\"];\n end_founder;\n";
}

std::string Population(const std::string& name, const std::string& founders, const std::string& body)
{
    return "begin_pop = \"" + name + "\";\n" + founders + body + "end_pop;\n";
}

std::string PopOutput(const std::string& statements)
{
    return " begin_popoutput;\n  " + statements + "\n end_popoutput;\n";
}

std::string TwoPopulations(const std::string& globals, int generations, const std::string& a, const std::string& b)
{
    const std::string last = std::to_string(generations), before = std::to_string(generations - 1);
    return globals + "phvar = 1.0;\nbegin_hp;\n hg_size = 200 [0] 200 [5];\nend_hp;\n" +
           Population("a", HpFounders(6, 30), " ls = 2 3 [0.5];\n ng = " + last + ";\n sr = 0.5;\n dr = 0.5;\n" + a) +
           Population("b",
                      " begin_founder;\n  male [n = 3, pop = \"a\", gen = " + last + "];\n  female [n = 10, pop = \"a\", gen = " +
                          before + "];\n end_founder;\n",
                      " ls = 2;\n ng = 2;\n" + b) +
           Genome(2, 100, 60, 6);
}

std::set<std::string> ResultFiles(const std::string& folder)
{
    std::set<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (struct dirent* e = readdir(dir)) {
            std::string n = e->d_name;
            if (n.size() > 4 && n.compare(n.size() - 4, 4, ".txt") == 0 && n != "report.txt") names.insert(n);
        }
        closedir(dir);
    }
    return names;
}

std::set<std::string> ExpectSameResultFiles(const std::string& first, const std::string& second)
{
    const std::set<std::string> files = ResultFiles(first);
    EXPECT_EQ(ResultFiles(second), files);
    for (const std::string& f : files) EXPECT_EQ(ReadFile(second + "/" + f), ReadFile(first + "/" + f)) << f;
    return files;
}

std::vector<int> ConsoleSizes(const std::string& out, const std::string& name)
{
    std::vector<int> sizes;
    size_t at = out.find("Population \"" + name + "\"");
    size_t end = out.find("Population \"", at + 1);
    while ((at = out.find("Size=", at)) != std::string::npos && at < end) {
        at += 5;
        sizes.push_back(std::stoi(out.substr(at)));
    }
    return sizes;
}

std::vector<std::string> Fields(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> fields;
    for (std::string f; in >> f;) fields.push_back(f);
    return fields;
}

std::vector<std::vector<std::string>> Rows(const std::string& text)
{
    std::vector<std::vector<std::string>> rows;
    const std::vector<std::string> lines = Lines(text);
    for (size_t i = 1; i < lines.size(); ++i) rows.push_back(Fields(lines[i]));
    return rows;
}
