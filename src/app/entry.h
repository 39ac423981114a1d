// Process entry: command line, start-up order, final message and exit code.
#pragma once

#include <functional>

class SimClass;

// Called once the parameter file has been read, before the output folder is made: lets a
// program that runs the engine for someone else (one job of a study, say) settle the
// output folder, the seed file, the number of replicates or threads, and attach its hooks.
using RunAdjuster = std::function<void(SimClass& sim)>;

int DavokMain(int argc, char** argv, const RunAdjuster& adjust = nullptr);
