// One genotype file of a run, read once from start to end: a record's identifier, then its
// genotypes decoded either as PLINK .bed codes (when every allele label is 0, 1 or 2) or as
// allele pairs, or the record skipped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The three layouts of a genotype file: allele pairs as text, one code digit per locus
// (/snp_code, /seq), or binary records of a 4-byte identifier and 2 + 2 bytes per locus.
enum class EGenoForm { Pairs, Codes, Binary };

// The 2-bit .bed code of a genotype when label 1 is A2 and label 2 is A1:
// 11 1/1, 10 1/2 or 2/1, 00 2/2, 01 missing.
constexpr uint8_t kBedMissing = 1;

// The n loci of a record of four bytes a locus (text "p m " with one-digit labels, or binary):
// XOR what, labels up to what, and which bytes of the last locus (a text line's last byte is its
// line feed).
struct SFourByteLoci {
    const char* at;
    size_t n;
    uint32_t pattern, limit, lastMask;
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
    EGenoForm Form() const { return form; }
    // Share of the file read so far, for the progress line.
    double Done() const { return fileSize > 0 ? static_cast<double>(Tell()) / static_cast<double>(fileSize) : 1.0; }
    // Back to the replicate's first record.
    void Rewind();
    // The identifier of the replicate's next record; false after the last. Then exactly one of
    // ReadBedCodes, ReadNibblePairs, ReadPairs or SkipRecord.
    bool NextId(int& id);
    // Ors the .bed code of every column (see kBedMissing), shifted left by `shift` (0, 2, 4 or
    // 6), into out[column], whose bits there must be clear; false, with the record read, when an
    // allele label above 2 occurs.
    bool ReadBedCodes(uint8_t* out, unsigned shift);
    // One byte per column, the paternal label + 16 x the maternal; false, with the record read,
    // when a label above 15 occurs.
    bool ReadNibblePairs(uint8_t* out);
    // The paternal and maternal allele of every column (0 = missing).
    void ReadPairs(uint16_t* pairs);
    void SkipRecord();

    // Columns of a text record given its first line after the header (for a folder without
    // linkage maps); -1 when the file has no record.
    static int CountColumns(const std::string& path, int rep, bool merged);

private:
    void FindReplicate(int rep, bool merged);
    [[noreturn]] void Damaged(const char* what) const;
    // Makes the whole next line (text) or n bytes (binary) lie in the buffer from `at` on.
    bool FillLine();
    bool Fill(size_t n);
    int64_t Tell() const { return bufferStart + static_cast<int64_t>(at); }
    // The next decimal number after blanks of the current line, at most `limit`.
    unsigned Number(unsigned limit);
    SFourByteLoci FourByteLoci(uint32_t limit);
    // Parses the record number by number and hands use(column, p, m) every pair; false, with the
    // record read, when a label above `limit` occurs.
    template <class Use>
    bool ReadPairsWithin(uint32_t limit, Use use)
    {
        scratch.resize(2 * static_cast<size_t>(nColumns));
        ReadPairs(scratch.data());
        for (int k = 0; k < nColumns; ++k) {
            const uint32_t p = scratch[2 * k], m = scratch[2 * k + 1];
            if (p > limit || m > limit) return false;
            use(k, p, m);
        }
        return true;
    }
    void ParsePairs(uint16_t* pairs);
    void EndOfLine();
    const char* Digits();

    std::string path;
    int fd = -1;
    int nColumns;
    EGenoForm form = EGenoForm::Pairs;
    int64_t fileSize = 0;
    int64_t recordSize = 0;      // bytes per binary record
    int64_t firstRecord = 0;     // offset of the replicate's first record
    int records = 0;             // records read so far
    std::vector<char> buffer;    // a stretch of the file holding at least one whole record
    int64_t bufferStart = 0;     // file offset of buffer[0]
    size_t length = 0;           // valid bytes in buffer
    size_t at = 0;               // position within buffer
    size_t lineEnd = 0;          // the line feed of the current text record within buffer
    std::vector<uint16_t> scratch;  // pairs of a record whose text takes the careful path
};
