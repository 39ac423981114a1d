// Helpers of the generator tests: placing chosen outputs at the head of the stream, counting
// the outputs a call consumed, and expecting a body to end the process.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

#include "random/rnd.h"

// Inverse of the MT19937 tempering: the state word that tempers into `out`.
inline unsigned long Untemper(uint32_t out)
{
    uint32_t y = out;
    y ^= y >> 18;
    y ^= (y << 15) & 0xefc60000U;
    uint32_t z = y;
    for (int i = 0; i < 4; ++i) z = y ^ ((z << 7) & 0x9d2c5680U);
    y = z;
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

// A pattern that matches exactly `text` and nothing else.
inline std::string Exactly(const std::string& text)
{
    std::string pattern = "^";
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) pattern += '\\';
        pattern += c;
    }
    return pattern + "$";
}

// `body` stops the run with exit code 1 and exactly `err` on standard error.
inline void ExpectStops(const std::function<void()>& body, const std::string& err)
{
    EXPECT_EXIT(body(), testing::ExitedWithCode(1), Exactly(err));
}
