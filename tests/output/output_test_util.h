// An engine read from the minimal parameter file, writing its results into a temporary folder.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/simclass.h"
#include "param/param_test_util.h"
#include "support/test_util.h"

// The minimal parameter text with two QTL and `edits`, read completely, its output folder set
// to `dir`.
inline std::unique_ptr<SimClass> EngineIn(const TempDir& dir,
                                          std::vector<std::pair<std::string, std::string>> edits,
                                          const std::function<void(SParams&)>& adjust = nullptr)
{
    edits.insert(edits.begin(), {"nqloci = 10;", "nqloci = 2;"});
    auto sim = EngineOf(MinimalParamWith(edits), [&](SParams& prm) {
        prm.output.outputFolder = dir.path() + "/";
        if (adjust) adjust(prm);
    });
    sim->runNrep = sim->prm.global.nrep;  // as Run starts it
    sim->curPop = &sim->pops[0];
    return sim;
}

// The edit that appends an output block to the minimal parameter text.
inline std::pair<std::string, std::string> OutputBlock(const std::string& statements)
{
    return {"end_genome;", "end_genome;\nbegin_output;\n" + statements + "\nend_output;"};
}

// The edit that gives population p1 an output block.
inline std::pair<std::string, std::string> PopOutput(const std::string& statements)
{
    return {"   ng = 1;\n", "   ng = 1;\n   begin_popoutput;\n" + statements + "\n   end_popoutput;\n"};
}
