// Process entry: command line, start-up order, final message and exit code.
#pragma once

#include <functional>

class SimClass;
struct SParams;

// Lets a program that runs the engine for someone else (one job of a study, say) settle the
// run: `params` is called once the parameter file has been read, before the output folder is
// made (the output folder, the seed file, the number of replicates or threads); `engine` once
// the engine is built, before it runs (its hooks).
struct RunAdjuster {
    std::function<void(SParams& prm)> params;
    std::function<void(SimClass& sim)> engine;
};

int DavokMain(int argc, char** argv, const RunAdjuster& adjust = RunAdjuster());
