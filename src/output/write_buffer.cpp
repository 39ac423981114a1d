#include "output/write_buffer.h"

#include <cstdarg>
#include <cstring>

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

void CWriteBuffer::Write(const char* fmt, ...)
{
    // fill never exceeds kPayload between calls, so at least the 10,000 bytes of headroom are
    // left; vsnprintf cuts a longer record instead of running past the chunk.
    const int room = kChunkSize - fill;
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(current + fill, static_cast<size_t>(room), fmt, ap);
    va_end(ap);
    if (n < 0) n = 0;
    fill += n < room ? n : room - 1;
    AfterWrite();
}

void CWriteBuffer::WriteBinary(const void* data, int n)
{
    const int room = kChunkSize - fill;
    if (n > room) n = room;
    if (n > 0) {
        memcpy(current + fill, data, static_cast<size_t>(n));
        fill += n;
    }
    AfterWrite();
}

void CWriteBuffer::WriteUnsignedInt(int v)
{
    WriteDigits(v, true);
}

void CWriteBuffer::WriteUnsignedInt_noS(int v)
{
    WriteDigits(v, false);
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
    for (int i = 0; i < kMaxChunks && lengths[i] >= 1; ++i) {
        fwrite(chunks[i], 1, static_cast<size_t>(lengths[i]), fp);
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
