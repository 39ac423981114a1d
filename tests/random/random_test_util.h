// Helpers of the generator tests: placing chosen outputs at the head of the stream, counting
// the outputs a call consumed, sample moments, and running a body that ends the process.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "random/rnd.h"
#include "support/test_util.h"

// Inverse of the MT19937 tempering: the state word that tempers into `out`.
inline unsigned long Untemper(uint32_t out)
{
    uint32_t y = out;
    y ^= y >> 18;
    y ^= (y << 15) & 0xefc60000U;
    uint32_t z = y;
    for (int i = 0; i < 4; ++i) z = y ^ ((z << 7) & 0x9d2c5680U);
    y = z;
    z = y;
    for (int i = 0; i < 2; ++i) z = y ^ (z >> 11);
    return z;
}

// Seeds gen so that its next outputs are `outputs`. With words 0..k of the state zero, the
// regeneration copies word 397 + i unchanged into word i for i < k, and tempering then turns
// it into output i.
inline void ArrangeNextOutputs(CMyRnd& gen, std::initializer_list<uint32_t> outputs)
{
    gen.InitSeed(1UL);
    unsigned long* mt = gen.Get_mt();
    int k = 0;
    for (uint32_t out : outputs) {
        mt[k] = 0;
        mt[CMyRnd::kM + k] = Untemper(out);
        ++k;
    }
    mt[k] = 0;
}

// True when both generators continue with the same outputs (checked on copies).
inline bool SamePosition(CMyRnd a, CMyRnd b)
{
    for (int i = 0; i < 8; ++i)
        if (a.genrand_int32() != b.genrand_int32()) return false;
    return true;
}

// Number of 32-bit outputs between `before` and `after` on the same stream; -1 beyond limit.
inline int OutputsBetween(const CMyRnd& before, const CMyRnd& after, int limit = 5000)
{
    CMyRnd walker = before;
    for (int k = 0; k <= limit; ++k) {
        if (SamePosition(walker, after)) return k;
        walker.genrand_int32();
    }
    return -1;
}

// Sample mean and variance (Welford) of n draws.
struct Moments {
    double mean = 0.0;
    double var = 0.0;
};

inline Moments SampleMoments(long n, const std::function<double()>& draw)
{
    double mean = 0.0, m2 = 0.0;
    for (long i = 1; i <= n; ++i) {
        double value = draw();
        double delta = value - mean;
        mean += delta / i;
        m2 += delta * (value - mean);
    }
    return {mean, m2 / (n - 1)};
}

// Mean and variance within four standard errors of the theory. mu4 is the distribution's
// fourth central moment, which sets the standard error of the sample variance.
inline void ExpectMoments(const Moments& got, long n, double mean, double var, double mu4)
{
    EXPECT_NEAR(got.mean, mean, 4.0 * std::sqrt(var / n)) << "mean";
    EXPECT_NEAR(got.var, var, 4.0 * std::sqrt((mu4 - var * var) / n)) << "variance";
}

struct ChildResult {
    int exitCode;     // -1 when the child did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error
};

// Runs body in a child process with its output captured; the child exits 0 if body returns.
inline ChildResult RunInChild(const std::function<void()>& body)
{
    TempDir io;
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        if (!freopen((io / "out").c_str(), "w", stdout) || !freopen((io / "err").c_str(), "w", stderr)) _exit(2);
        body();
        fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(io / "out"), ReadFile(io / "err")};
}

// body, run in a child process, stops the run with exit code 1, nothing on standard output and
// exactly `err` on standard error.
inline void ExpectStops(const std::function<void()>& body, const std::string& err)
{
    ChildResult r = RunInChild(body);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, err);
}
