// Rows of equal length appended one after another and read back in column ranges: held in
// memory up to a bound, the rest in an unnamed temporary file that disappears with the program.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

class CRowStore {
public:
    CRowStore(size_t rowBytes, size_t memoryBytes);
    ~CRowStore();
    CRowStore(const CRowStore&) = delete;
    CRowStore& operator=(const CRowStore&) = delete;

    void Append(const uint8_t* row);
    size_t Rows() const { return rows; }
    // Empties the store for a new series of rows of rowBytes.
    void Reset(size_t rowBytes);
    // Calls use(row, bytes c0..c1-1 of that row, c0, c1) for every row and every range [c0, c1) of
    // at most `width` bytes, range after range, each range whole units of `unit` bytes (width a
    // multiple of it); rows kept in the file are read a range at a time within `bufferBytes`. The
    // bytes handed over stay in place until the range's last row.
    template <class Use>
    void ForEachRange(size_t width, size_t unit, size_t bufferBytes, Use use);

private:
    void Spill(const uint8_t* row);
    void ReadFileRange(size_t c0, size_t c1, std::vector<uint8_t>& out);

    size_t rowBytes;
    size_t memoryBytes;
    std::vector<uint8_t> memory;  // the first rows
    size_t rows = 0;
    size_t inMemory = 0;          // rows held in memory
    int fd = -1;                  // the temporary file of the other rows
    std::vector<uint8_t> pending; // rows not yet written to the file
};

template <class Use>
void CRowStore::ForEachRange(size_t width, size_t unit, size_t bufferBytes, Use use)
{
    const size_t inFile = rows - inMemory;
    // Rows in the file come in ranges that fit the buffer.
    if (inFile > 0) width = std::max(unit, std::min(width, bufferBytes / inFile / unit * unit));
    std::vector<uint8_t> fileRange;
    for (size_t c0 = 0; c0 < rowBytes; c0 += width) {
        const size_t c1 = std::min(rowBytes, c0 + width);
        for (size_t r = 0; r < inMemory; ++r) use(r, memory.data() + r * rowBytes + c0, c0, c1);
        if (inFile == 0) continue;
        ReadFileRange(c0, c1, fileRange);
        for (size_t r = 0; r < inFile; ++r) use(inMemory + r, fileRange.data() + r * (c1 - c0), c0, c1);
    }
}
