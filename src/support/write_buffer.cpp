#include "support/write_buffer.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>

#include "support/files.h"

CWriteBuffer::CWriteBuffer()
{
    chunks[0] = new char[kChunkSize];
    current = chunks[0];
}

// Frees without writing: the owner dumps what it wants kept before the buffer goes away.
CWriteBuffer::~CWriteBuffer()
{
    for (char* chunk : chunks) delete[] chunk;
}

// A record is formatted straight into the chunk when it fits in the room left (at least the
// 10,000 bytes of headroom, as fill never exceeds kPayload between calls); a longer one is
// formatted aside and copied across as many chunks as it needs.
void CWriteBuffer::Write(const char* fmt, ...)
{
    const int room = kChunkSize - fill;
    va_list ap;
    va_start(ap, fmt);
    va_list again;
    va_copy(again, ap);
    const int n = vsnprintf(current + fill, static_cast<size_t>(room), fmt, ap);
    va_end(ap);
    if (n >= room) {
        std::string record(static_cast<size_t>(n) + 1, '\0');
        vsnprintf(&record[0], record.size(), fmt, again);
        Append(record.data(), n);
    } else if (n > 0) {
        fill += n;
        AfterWrite();
    }
    va_end(again);
}

void CWriteBuffer::WriteBinary(const void* data, int n)
{
    if (n > 0) Append(static_cast<const char*>(data), n);
}

// Copies n bytes, closing each chunk the bytes fill before the rest goes on in the next one.
void CWriteBuffer::Append(const char* data, int n)
{
    while (n > 0) {
        const int piece = n < kChunkSize - fill ? n : kChunkSize - fill;
        memcpy(current + fill, data, static_cast<size_t>(piece));
        fill += piece;
        data += piece;
        n -= piece;
        AfterWrite();
    }
}

// The digits of v are built right to left in `digits`, whose last character stays the
// terminating zero; at most ten digits and the blank, well inside the headroom.
void CWriteBuffer::WriteDigits(int v, bool blank)
{
    int p = static_cast<int>(sizeof(digits)) - 1;
    unsigned int u = static_cast<unsigned int>(v);
    do {
        digits[--p] = static_cast<char>('0' + u % 10);
        u /= 10;
    } while (u > 0);
    if (blank) digits[--p] = ' ';
    const int n = static_cast<int>(sizeof(digits)) - 1 - p;
    memcpy(current + fill, digits + p, static_cast<size_t>(n));
    fill += n;
    AfterWrite();
}

// Values go in runs short enough for the headroom (six bytes at most per 16-bit value), each run
// closed like a single write; a one-digit value, the usual allele, is two byte stores.
void CWriteBuffer::WriteUnsignedInts(const uint16_t* v, size_t n)
{
    constexpr size_t kRun = 1500;
    static_assert(kRun * 6 < kChunkSize - kPayload, "a run must fit in the headroom");
    while (n > 0) {
        const size_t run = n < kRun ? n : kRun;
        char* out = current + fill;
        for (size_t k = 0; k < run; ++k) {
            unsigned u = v[k];
            if (u <= 9) {
                out[0] = ' ';
                out[1] = static_cast<char>('0' + u);
                out += 2;
                continue;
            }
            char text[6];
            int p = 6;
            do {
                text[--p] = static_cast<char>('0' + u % 10);
                u /= 10;
            } while (u > 0);
            *out++ = ' ';
            memcpy(out, text + p, static_cast<size_t>(6 - p));
            out += 6 - p;
        }
        fill = static_cast<int>(out - current);
        AfterWrite();
        v += run;
        n -= run;
    }
}

// Closes the chunk once it passes the payload: written at once in normal mode or when the last
// chunk is full, otherwise kept while filling goes on in the next one.
void CWriteBuffer::AfterWrite()
{
    if (fill <= kPayload) return;
    lengths[index] = fill;
    fill = 0;
    if (!largeMem || index == kMaxChunks - 1) {
        Dump();
        return;
    }
    ++index;
    if (!chunks[index]) chunks[index] = new char[kChunkSize];
    current = chunks[index];
}

void CWriteBuffer::Dump()
{
    if (lengths[index] == 0) lengths[index] = fill;
    // Dump may run in a worker thread, so a failed write is only noted; the main thread's
    // checked close of the file stops the run.
    for (int i = 0; i < kMaxChunks && lengths[i] >= 1; ++i) {
        const size_t n = static_cast<size_t>(lengths[i]);
        if (fwrite(chunks[i], 1, n, fp) != n) NoteWriteFailure(fp, errno);
        lengths[i] = 0;
    }
    for (int i = 1; i < kMaxChunks; ++i) {
        delete[] chunks[i];
        chunks[i] = nullptr;
    }
    index = 0;
    fill = 0;
    current = chunks[0];
}
