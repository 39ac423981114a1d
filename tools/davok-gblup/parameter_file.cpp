#include "parameter_file.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

#include "inputs.h"
#include "param/reader.h"
#include "support/messages.h"

namespace gblup {

namespace {

struct ReaderStopped {};

[[noreturn]] void StopReading(int) { throw ReaderStopped(); }

// While it lives, the reader's Abort unwinds back here instead of ending the process.
class AbortThrows {
public:
    AbortThrows() : saved_(AbortExit) { AbortExit = StopReading; }
    ~AbortThrows() { AbortExit = saved_; }
    AbortThrows(const AbortThrows&) = delete;
    AbortThrows& operator=(const AbortThrows&) = delete;

private:
    void (*saved_)(int);
};

// Sends a standard stream into an anonymous temporary file while it lives. The reader's notes and
// warnings are Davok's, which has printed them before it started the evaluation; only a refusal
// is shown again. Without a temporary file the stream stays as it is.
class Diverted {
public:
    explicit Diverted(FILE* stream) : stream_(stream), file_(tmpfile())
    {
        fflush(stream_);
        saved_ = file_ ? dup(fileno(stream_)) : -1;
        if (saved_ >= 0 && dup2(fileno(file_), fileno(stream_)) < 0) close(saved_), saved_ = -1;
    }
    ~Diverted()
    {
        Restore();
        if (file_) fclose(file_);
    }
    Diverted(const Diverted&) = delete;
    Diverted& operator=(const Diverted&) = delete;

    // Puts the stream back and returns what was written to it meanwhile.
    std::string Restore()
    {
        std::string text;
        if (saved_ < 0) return text;
        fflush(stream_);
        dup2(saved_, fileno(stream_));
        close(saved_);
        saved_ = -1;
        rewind(file_);
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, file_)) > 0;) text.append(buffer, n);
        return text;
    }

private:
    FILE* stream_;
    FILE* file_;
    int saved_ = -1;
};

// Reads and cross-checks the file as Davok does before a run; false when Davok refuses it, after
// its messages (without the closing "Aborted.", the program's own error follows) are shown.
bool ReadAsDavok(SParams& prm, const std::string& paramPath)
{
    const AbortThrows throwing;
    Diverted out(stdout), err(stderr);
    try {
        prm = ReadParams(paramPath);
        CheckParams(prm);
        return true;
    } catch (const ReaderStopped&) {
        out.Restore();
        std::string messages = err.Restore();
        const size_t aborted = messages.rfind("Aborted.\n");
        if (aborted != std::string::npos && aborted + 9 == messages.size()) messages.resize(aborted);
        fprintf(stderr, "\n%s", messages.c_str());
        return false;
    }
}

}  // namespace

double SimulatorVarianceRatio(const std::string& paramPath)
{
    OpenOrThrow(paramPath, "parameter file");
    SParams prm;
    if (!ReadAsDavok(prm, paramPath))
        throw InputError("Error - Davok refuses the parameter file " + paramPath + " (see above).");
    const SGlobalParams& g = prm.global;
    const double lambda = g.varRes / (g.varPoly + g.varQTL);
    if (!(g.h2 > 0 && g.h2 < 1 && lambda > 0 && std::isfinite(lambda))) {
        char h2[32];
        snprintf(h2, sizeof h2, "%g", g.h2);
        throw InputError("Error - The parameter file " + paramPath + " has h2 = " + h2 +
                         "; a genomic evaluation needs a heritability above 0 and below 1.");
    }
    return lambda;
}

}  // namespace gblup
