// Fuzz target: each input is the text of a parameter file, read completely (tokens, grammar
// check, retrieval of the statements) and cross-checked. Bad input must end through Abort; here
// Abort throws instead of exiting, so the reader's objects are released on the way out and the
// next input is read in the same process.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "app/simclass.h"
#include "param/reader.h"
#include "random/rnd.h"
#include "support/messages.h"

namespace {

struct SAborted {};

std::string initialSeedFileName;  // the generator's seed file name before any input

[[noreturn]] void ThrowInsteadOfExit(int) { throw SAborted(); }

// The reader takes a path, and reads the file again to show the line of an error.
const std::string& InputPath()
{
    static const std::string path = "/tmp/davok_param_fuzz_" + std::to_string(getpid()) + ".prm";
    return path;
}

void RemoveInputFile() { remove(InputPath().c_str()); }

void WriteInput(const uint8_t* data, size_t size)
{
    FILE* fp = fopen(InputPath().c_str(), "wb");
    if (!fp || fwrite(data, 1, size, fp) != size || fclose(fp) != 0) {
        perror(InputPath().c_str());
        std::abort();  // the harness itself cannot go on
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    AbortExit = ThrowInsteadOfExit;
    initialSeedFileName = MyRnd.seed_file_name;
    atexit(RemoveInputFile);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    WriteInput(data, size);
    // The reader's only marks on global state: each input starts from a fresh process's values.
    NoWarn = 0;
    MyRnd.seed_file_name = initialSeedFileName;
    try {
        SParams prm = EngineOf(InputPath());
        CheckParams(prm);
        SimClass sim(prm);  // builds the genome and populations from the value
    } catch (const SAborted&) {
        // The input was refused with a message: the expected end for bad input.
    }
    return 0;
}
