// Chunked in-memory writer for genotype files and crossover lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "support/messages.h"

class CWriteBuffer {
public:
    static constexpr int kPayload = 3145728;             // bytes of a chunk before it counts as full
    static constexpr int kChunkSize = kPayload + 10000;  // room for the write that passes the mark
    static constexpr int kMaxChunks = 100;                // chunks kept at most in large-memory mode

    CWriteBuffer();
    ~CWriteBuffer();
    CWriteBuffer(const CWriteBuffer&) = delete;
    CWriteBuffer& operator=(const CWriteBuffer&) = delete;

    // Keeps up to 100 chunks before anything is written (for worker threads).
    void SetLargeMem() { largeMem = true; }
    void SetFilePointer(FILE* out) { fp = out; }
    // One record (one line or one value) per call; a record of any length is kept whole.
    void Write(const char* fmt, ...) DAVOK_PRINTF(2, 3);
    void WriteBinary(const void* data, int n);
    // A blank and the decimal digits of v (v >= 0). Inline for one digit: genotype lines are
    // made of little else.
    void WriteUnsignedInt(int v)
    {
        if (static_cast<unsigned>(v) > 9) return WriteDigits(v, true);
        current[fill] = ' ';
        current[fill + 1] = static_cast<char>('0' + v);
        fill += 2;
        if (fill > kPayload) AfterWrite();
    }
    // The decimal digits of v without the blank.
    void WriteUnsignedInt_noS(int v)
    {
        if (static_cast<unsigned>(v) > 9) return WriteDigits(v, false);
        current[fill++] = static_cast<char>('0' + v);
        if (fill > kPayload) AfterWrite();
    }
    // The n values of v, each as a blank and its decimal digits: WriteUnsignedInt over a whole
    // genotype line, with the fill kept in a register between values.
    void WriteUnsignedInts(const uint16_t* v, size_t n);
    // Writes every filled chunk to the file and starts again with chunk 0.
    void Dump();

private:
    // A blank (when `blank`) and the decimal digits of v >= 0.
    void WriteDigits(int v, bool blank);
    void Append(const char* data, int n);
    void AfterWrite();

    char* chunks[kMaxChunks] = {};  // chunk 0 allocated by the constructor, the others on demand
    char* current = nullptr;        // chunk being filled
    char digits[20] = {};           // scratch of number conversion; digits[19] stays 0
    bool largeMem = false;          // keep chunks instead of writing each full one at once
    int index = 0;                  // number of the chunk being filled
    int fill = 0;                   // bytes in the chunk being filled
    int lengths[kMaxChunks] = {};   // byte count of each full chunk
    FILE* fp = nullptr;             // where Dump writes
};
