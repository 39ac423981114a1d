// One genotype file of a run, read two ways: a scan of the replicate's records in file order,
// and the reading of a range of columns of one record from a remembered byte offset, so that
// loci can be collected block by block without holding the whole file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The three layouts of a genotype file: allele pairs as text, one code digit per locus
// (/snp_code, /seq), or binary records of a 4-byte identifier and 2 + 2 bytes per locus.
enum class EGenoForm { Pairs, Codes, Binary };

// Buffered reads at any offset of a file through pread.
class CByteReader {
public:
    CByteReader(int fd, size_t chunk) : fd(fd), buffer(chunk) {}
    void Seek(int64_t offset);
    int64_t Tell() const { return start + static_cast<int64_t>(at); }
    // The byte at the position, or -1 at the end of the file.
    int Peek()
    {
        if (at == length && !Refill()) return -1;
        return static_cast<unsigned char>(buffer[at]);
    }
    void Skip() { ++at; }
    // Copies the next n bytes to out; false when the file ends first.
    bool Read(char* out, size_t n);
    // The buffered bytes from the position on, for parsing in place.
    const char* Cursor() const { return buffer.data() + at; }
    const char* Limit() const { return buffer.data() + length; }
    void Advance(size_t n) { at += n; }
    // Reads chunks of n bytes from now on.
    void Resize(size_t n)
    {
        if (n == buffer.size()) return;
        buffer.resize(n);
        start += static_cast<int64_t>(at);
        length = at = 0;
    }

private:
    bool Refill();
    int fd;
    std::vector<char> buffer;
    int64_t start = 0;  // file offset of buffer[0]
    size_t length = 0;  // valid bytes in buffer
    size_t at = 0;      // position within buffer
};

class CGenotypeSource {
public:
    static constexpr unsigned kMaxAllele = 65535;
    static constexpr unsigned kMaxId = 2147483647;

    // path holds nColumns loci; merged: attach_rep file whose replicate rep is read.
    CGenotypeSource(const std::string& path, int nColumns, int rep, bool merged, bool codes);
    ~CGenotypeSource();
    CGenotypeSource(const CGenotypeSource&) = delete;
    CGenotypeSource& operator=(const CGenotypeSource&) = delete;

    const std::string& Path() const { return path; }
    int Columns() const { return nColumns; }
    // The identifier of the replicate's next record; false after the last. Then either
    // ReadRecord, for the offset of its first column and the paternal and maternal allele of
    // every column (0 = missing), or SkipRecord.
    bool NextId(int& id);
    void ReadRecord(int64_t& offset, uint16_t* pairs);
    void SkipRecord();
    // Columns c0..c1-1 of the record whose column `at` starts at offset; afterwards offset is that
    // of column c1. c0 >= at.
    void ReadColumns(int64_t& offset, int at, int c0, int c1, uint16_t* pairs);

private:
    void FindReplicate(int rep, bool merged);
    [[noreturn]] void Damaged(const char* what) const;
    // The next decimal number after blanks, at most `limit` (kMaxAllele or kMaxId).
    unsigned Number(CByteReader& in, unsigned limit);
    unsigned NumberAcrossChunks(CByteReader& in, unsigned limit);
    void ParsePairs(CByteReader& in, int n, uint16_t* pairs);
    void SkipPairs(CByteReader& in, int n);
    void ParseCodes(const char* digits, int n, uint16_t* pairs) const;

    std::string path;
    int fd = -1;
    int nColumns;
    EGenoForm form = EGenoForm::Pairs;
    int64_t fileSize = 0;
    int64_t recordSize = 0;      // bytes per binary record
    int records = 0;             // records scanned so far
    int64_t recordStart = 0;     // offset of the record being scanned
    CByteReader scan;            // sequential reading of the records
    CByteReader pick;            // reading of column ranges of text lines
    int64_t longestRecord = 0;   // bytes of the longest text line scanned, to size the reads of pick
    std::vector<char> digits;    // scratch of one range of code digits or binary pairs
};
