#include "genotype_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/messages.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr size_t kChunk = 1 << 20;
// The (paternal, maternal) pair of each code digit 0..5; 5 and anything else is missing.
constexpr uint16_t kCodePairs[6][2] = {{1, 1}, {0, 0}, {2, 2}, {1, 2}, {2, 1}, {0, 0}};
// The .bed code of each code digit 0..9 (6 to 9 read as 5, missing).
constexpr uint8_t kCodeBed[10] = {3, 1, 0, 2, 2, 1, 1, 1, 1, 1};

// The .bed code of alleles p and m of 0..2 (label 1 A2, label 2 A1).
inline uint32_t BedCode(uint32_t p, uint32_t m)
{
    const uint32_t code = ((p & m) & 1) | ((p | m) & 1) << 1;
    return p == 0 || m == 0 ? kBedMissing : code;
}

// A locus of a text line with one-digit labels ("p m ") XOR kTextPattern and a locus of a binary
// record (p and m as 16-bit numbers) look alike: four bytes, p in byte 0 and m in byte 2, the
// other two bytes 0 when the labels are below 256.
constexpr uint32_t kTextPattern = 0x20302030u;

// The labels p and m of the four bytes of a locus; into bad a nonzero value unless both are at
// most `limit` and the other bytes 0.
inline void LabelsOfLocus(const char* at, uint32_t pattern, uint32_t mask, uint32_t limit, uint32_t& bad, uint32_t& p,
                          uint32_t& m)
{
    uint32_t w;
    memcpy(&w, at, 4);
    const uint32_t v = (w ^ pattern) & mask;
    p = v & 0xFF;
    m = v >> 16 & 0xFF;
    bad |= (v & 0xFF00FF00u) | (p > limit) | (m > limit);
}

// Calls sixteen(k, lo, hi) for the loci k..k+15 as two vectors of eight 16-bit lanes p + 256 m
// (where SSE2 is there) and one(k, p, m) for the others; nonzero when a locus breaks the bounds
// of `loci` (some loci of the record may then have been handed over).
template <class Sixteen, class One>
uint32_t ForEachLocus(const SFourByteLoci& loci, [[maybe_unused]] Sixteen sixteen, One one)
{
    uint32_t bad = 0, p = 0, m = 0;
    size_t k = 0;
#if defined(__SSE2__)
    const __m128i pattern = _mm_set1_epi32(static_cast<int>(loci.pattern));
    const __m128i limit = _mm_set1_epi32(static_cast<int>(loci.limit | loci.limit << 16));
    __m128i bad16 = _mm_setzero_si128();
    // The last locus is left to the loop below.
    for (; k + 16 < loci.n; k += 16) {
        const __m128i* in = reinterpret_cast<const __m128i*>(loci.at + 4 * k);
        const __m128i a = _mm_xor_si128(_mm_loadu_si128(in), pattern), b = _mm_xor_si128(_mm_loadu_si128(in + 1), pattern);
        const __m128i c = _mm_xor_si128(_mm_loadu_si128(in + 2), pattern), d = _mm_xor_si128(_mm_loadu_si128(in + 3), pattern);
        // Every byte within its bound, checked on the largest of the four.
        const __m128i largest = _mm_max_epu8(_mm_max_epu8(a, b), _mm_max_epu8(c, d));
        bad16 = _mm_or_si128(bad16, _mm_subs_epu8(largest, limit));
        sixteen(k, _mm_packus_epi16(a, b), _mm_packus_epi16(c, d));
    }
    bad |= _mm_movemask_epi8(_mm_cmpeq_epi8(bad16, _mm_setzero_si128())) ^ 0xFFFF;
#endif
    for (; k < loci.n; ++k) {
        LabelsOfLocus(loci.at + 4 * k, loci.pattern, k + 1 < loci.n ? 0xFFFFFFFFu : loci.lastMask, loci.limit, bad, p, m);
        one(k, p, m);
    }
    return bad;
}

// Ors the .bed codes of the loci into out, shifted by `shift` (loci.limit 2).
uint32_t OrBedCodes(const SFourByteLoci& loci, uint8_t* out, unsigned shift)
{
#if defined(__SSE2__)
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(shift));
    // The product p * m (0, 1, 2 or 4; 0 when an allele is missing) gives the code as bits 2-3 of
    // 11 p m + 4: 1, 3, 2 and 0.
    const auto codes = [](__m128i pm) {
        const __m128i product = _mm_mullo_epi16(pm, _mm_srli_epi16(pm, 8));
        const __m128i t = _mm_add_epi16(_mm_mullo_epi16(product, _mm_set1_epi16(11)), _mm_set1_epi16(4));
        return _mm_and_si128(_mm_srli_epi16(t, 2), _mm_set1_epi16(3));
    };
    const auto sixteen = [&](size_t k, __m128i lo, __m128i hi) {
        __m128i* to = reinterpret_cast<__m128i*>(out + k);
        // Codes of 0 to 3 shifted by at most 6 stay within their byte.
        const __m128i shifted = _mm_sll_epi16(_mm_packus_epi16(codes(lo), codes(hi)), count);
        _mm_storeu_si128(to, _mm_or_si128(_mm_loadu_si128(to), shifted));
    };
#else
    const auto sixteen = [](size_t, int, int) {};
#endif
    return ForEachLocus(loci, sixteen, [&](size_t k, uint32_t p, uint32_t m) {
        out[k] = static_cast<uint8_t>(out[k] | BedCode(p, m) << shift);
    });
}

// Writes each locus as the byte p + 16 m (loci.limit at most 15).
uint32_t NibblePairs(const SFourByteLoci& loci, uint8_t* out)
{
#if defined(__SSE2__)
    const auto sixteen = [&](size_t k, __m128i lo, __m128i hi) {
        const auto bytes = [](__m128i pm) { return _mm_and_si128(_mm_or_si128(pm, _mm_srli_epi16(pm, 4)), _mm_set1_epi16(0xFF)); };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), _mm_packus_epi16(bytes(lo), bytes(hi)));
    };
#else
    const auto sixteen = [](size_t, int, int) {};
#endif
    return ForEachLocus(loci, sixteen, [&](size_t k, uint32_t p, uint32_t m) { out[k] = static_cast<uint8_t>(p | m << 4); });
}

int OpenForReading(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) Abort("Error - Could not open [%s]; %s\n", path.c_str(), strerror(errno));
    return fd;
}

}  // namespace

CGenotypeSource::CGenotypeSource(const std::string& path, int nColumns, int rep, bool merged, bool codes)
    : path(path), fd(OpenForReading(path)), nColumns(nColumns), buffer(kChunk)
{
    struct stat st;
    if (fstat(fd, &st) != 0) Abort("Error - Could not read [%s]; %s\n", path.c_str(), strerror(errno));
    fileSize = st.st_size;
    char head[2] = {0, 0};
    const bool text = pread(fd, head, 2, 0) == 2 && (memcmp(head, "ID", 2) == 0 || head[0] == '~');
    form = text ? (codes ? EGenoForm::Codes : EGenoForm::Pairs) : EGenoForm::Binary;
    if (form == EGenoForm::Binary) {
        recordSize = 4 + 4 * static_cast<int64_t>(nColumns);
        if (fileSize % recordSize != 0)
            Abort("Error - [%s] is truncated: %lld bytes after the last whole record of %lld bytes (%d loci)\n",
                  path.c_str(), static_cast<long long>(fileSize % recordSize), static_cast<long long>(recordSize),
                  nColumns);
    } else {
        FindReplicate(rep, merged);
    }
    firstRecord = Tell();
}

CGenotypeSource::~CGenotypeSource()
{
    if (fd >= 0) close(fd);
}

void CGenotypeSource::Damaged(const char* what) const
{
    Abort("Error - [%s] is cut or damaged at record %d: %s (%d loci expected)\n", path.c_str(), records, what,
          nColumns);
}

bool CGenotypeSource::Fill(size_t n)
{
    if (length - at >= n) return true;
    memmove(buffer.data(), buffer.data() + at, length - at);
    bufferStart += static_cast<int64_t>(at);
    length -= at;
    at = 0;
    if (buffer.size() < n) buffer.resize(std::max(n, 2 * buffer.size()));
    while (length < n) {
        const ssize_t got = pread(fd, buffer.data() + length, buffer.size() - length, bufferStart + static_cast<int64_t>(length));
        if (got < 0) Abort("Error - Could not read [%s]; %s\n", path.c_str(), strerror(errno));
        if (got == 0) return false;
        length += static_cast<size_t>(got);
    }
    return true;
}

// False at the end of the file; a last line without its line feed is damage.
bool CGenotypeSource::FillLine()
{
    size_t from = at;
    for (;;) {
        const void* lf = memchr(buffer.data() + from, '\n', length - from);
        if (lf) {
            lineEnd = static_cast<size_t>(static_cast<const char*>(lf) - buffer.data());
            return true;
        }
        const size_t seen = length - at;
        if (!Fill(seen + 1)) {
            if (length == at) return false;
            Damaged("the last line has no line feed");
        }
        from = at + seen;
    }
}

void CGenotypeSource::Rewind()
{
    bufferStart = firstRecord;
    length = at = 0;
    records = 0;
}

// Moves past the header line of the replicate's part.
void CGenotypeSource::FindReplicate(int rep, bool merged)
{
    bool found = !merged;
    while (FillLine()) {
        const std::string line(buffer.data() + at, lineEnd - at);
        at = lineEnd + 1;
        if (found && line.compare(0, 2, "ID") == 0) {
            if (line.find("0 = a1,a1") != std::string::npos) form = EGenoForm::Codes;
            return;
        }
        int heading = -1;
        if (merged && sscanf(line.c_str(), "%*[~] Replicate %d", &heading) == 1 && heading == rep) found = true;
    }
    if (!found) Abort("Error - Replicate %d is not in [%s]\n", rep, path.c_str());
    Abort("Error - [%s] has no header line\n", path.c_str());
}

unsigned CGenotypeSource::Number(unsigned limit)
{
    const char* p = buffer.data() + at;
    while (*p == ' ') ++p;
    if (static_cast<unsigned>(*p - '0') >= 10u) Damaged(*p == '\n' ? "the line is short" : "not a number");
    uint64_t v = 0;
    for (; static_cast<unsigned>(*p - '0') < 10u; ++p) {
        v = v * 10 + static_cast<unsigned>(*p - '0');
        if (v > limit) Damaged(limit == kMaxId ? "an identifier above 2147483647" : "an allele above 65535");
    }
    at = static_cast<size_t>(p - buffer.data());
    return static_cast<unsigned>(v);
}

void CGenotypeSource::ParsePairs(uint16_t* pairs)
{
    for (int k = 0; k < 2 * nColumns; ++k) pairs[k] = static_cast<uint16_t>(Number(kMaxAllele));
    EndOfLine();
}

void CGenotypeSource::EndOfLine()
{
    while (buffer[at] == ' ') ++at;
    if (at != lineEnd) Damaged("the line is long");
    at = lineEnd + 1;
}

// The nColumns code digits of a /snp_code or /seq record, checked.
const char* CGenotypeSource::Digits()
{
    while (buffer[at] == ' ') ++at;
    const char* d = buffer.data() + at;
    if (lineEnd - at < static_cast<size_t>(nColumns)) Damaged("the line is short");
    for (int k = 0; k < nColumns; ++k)
        if (static_cast<unsigned>(d[k] - '0') >= 10u) Damaged("not a code digit");
    at += static_cast<size_t>(nColumns);
    EndOfLine();
    return d;
}

bool CGenotypeSource::NextId(int& id)
{
    if (form == EGenoForm::Binary) {
        if (!Fill(static_cast<size_t>(recordSize))) return false;
        int32_t raw;
        memcpy(&raw, buffer.data() + at, 4);
        at += 4;
        id = raw;
    } else {
        if (!FillLine() || buffer[at] == '~') return false;
        ++records;
        id = static_cast<int>(Number(kMaxId));
        return true;
    }
    ++records;
    return true;
}

// The loci of the record in the four-byte layout of kTextPattern, with labels up to `limit`
// (text: one digit at most): every binary record and a text line "p m p m ... p m"; at = null
// for other text lines.
SFourByteLoci CGenotypeSource::FourByteLoci(uint32_t limit)
{
    const size_t n = static_cast<size_t>(nColumns);
    if (form == EGenoForm::Binary) return {buffer.data() + at, n, 0, limit, 0xFFFFFFFFu};
    while (buffer[at] == ' ') ++at;
    size_t end = lineEnd;
    while (end > at && buffer[end - 1] == ' ') --end;
    const bool layout = form == EGenoForm::Pairs && n > 0 && end - at == 4 * n - 1;
    return {layout ? buffer.data() + at : nullptr, n, kTextPattern, std::min(limit, 9u), 0x00FFFFFFu};
}

bool CGenotypeSource::ReadBedCodes(uint8_t* out, unsigned shift)
{
    const int n = nColumns;
    if (form == EGenoForm::Codes) {
        const char* d = Digits();
        for (int k = 0; k < n; ++k) out[k] = static_cast<uint8_t>(out[k] | kCodeBed[d[k] - '0'] << shift);
        return true;
    }
    const SFourByteLoci loci = FourByteLoci(2);
    if (loci.at && OrBedCodes(loci, out, shift) == 0) {
        SkipRecord();
        return true;
    }
    // Labels of several digits, blanks of another width, or damage: parsed number by number.
    if (loci.at)
        for (int k = 0; k < n; ++k) out[k] = static_cast<uint8_t>(out[k] & ~(3u << shift));
    return ReadPairsWithin(2, [&](int k, uint32_t p, uint32_t m) { out[k] = static_cast<uint8_t>(out[k] | BedCode(p, m) << shift); });
}

bool CGenotypeSource::ReadNibblePairs(uint8_t* out)
{
    const SFourByteLoci loci = FourByteLoci(15);
    if (loci.at && NibblePairs(loci, out) == 0) {
        SkipRecord();
        return true;
    }
    return ReadPairsWithin(15, [&](int k, uint32_t p, uint32_t m) { out[k] = static_cast<uint8_t>(p | m << 4); });
}

void CGenotypeSource::ReadPairs(uint16_t* pairs)
{
    if (form == EGenoForm::Binary) {
        memcpy(pairs, buffer.data() + at, static_cast<size_t>(recordSize - 4));
        at += static_cast<size_t>(recordSize - 4);
    } else if (form == EGenoForm::Pairs) {
        ParsePairs(pairs);
    } else {
        const char* d = Digits();
        for (int k = 0; k < nColumns; ++k) {
            const unsigned code = std::min(static_cast<unsigned>(d[k] - '0'), 5u);
            pairs[2 * k] = kCodePairs[code][0];
            pairs[2 * k + 1] = kCodePairs[code][1];
        }
    }
}

void CGenotypeSource::SkipRecord()
{
    if (form == EGenoForm::Binary)
        at += static_cast<size_t>(recordSize - 4);
    else
        at = lineEnd + 1;
}

int CGenotypeSource::CountColumns(const std::string& path, int rep, bool merged)
{
    CGenotypeSource source(path, 0, rep, merged, false);
    if (source.form == EGenoForm::Binary || !source.FillLine() || source.buffer[source.at] == '~') return -1;
    std::string line(source.buffer.data() + source.at, source.lineEnd - source.at);
    size_t words = 0;
    for (size_t k = 0; k < line.size(); ++k) words += line[k] != ' ' && (k == 0 || line[k - 1] == ' ');
    if (source.form == EGenoForm::Codes) {
        const size_t last = line.find_last_not_of(' ');
        const size_t first = line.find_last_of(' ', last);
        return first == std::string::npos ? -1 : static_cast<int>(last - first);
    }
    return words > 0 ? static_cast<int>((words - 1) / 2) : -1;
}
