#include "genotype_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/messages.h"

namespace {

constexpr size_t kScanChunk = 1 << 20;
// The (paternal, maternal) pair of each code digit 0..5; 5 and anything else is missing.
constexpr uint16_t kCodePairs[6][2] = {{1, 1}, {0, 0}, {2, 2}, {1, 2}, {2, 1}, {0, 0}};

}  // namespace

void CByteReader::Seek(int64_t offset)
{
    if (offset >= start && offset <= start + static_cast<int64_t>(length)) {
        at = static_cast<size_t>(offset - start);
        return;
    }
    start = offset;
    length = at = 0;
}

bool CByteReader::Refill()
{
    start += static_cast<int64_t>(length);
    at = 0;
    const ssize_t n = pread(fd, buffer.data(), buffer.size(), start);
    length = n > 0 ? static_cast<size_t>(n) : 0;
    return length > 0;
}

bool CByteReader::Read(char* out, size_t n)
{
    while (n > 0) {
        if (at == length && !Refill()) return false;
        const size_t k = std::min(n, length - at);
        memcpy(out, buffer.data() + at, k);
        out += k;
        at += k;
        n -= k;
    }
    return true;
}

namespace {

int OpenForReading(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) Abort("Error - Could not open [%s]; %s\n", path.c_str(), strerror(errno));
    return fd;
}

}  // namespace

CGenotypeSource::CGenotypeSource(const std::string& path, int nColumns, int rep, bool merged, bool codes)
    : path(path), fd(OpenForReading(path)), nColumns(nColumns), scan(fd, kScanChunk), pick(fd, 4096)
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
}

CGenotypeSource::~CGenotypeSource()
{
    if (fd >= 0) close(fd);
}

void CGenotypeSource::Damaged(const char* what) const
{
    Abort("Error - [%s] is cut or damaged at record %d: %s (%d loci expected)\n", path.c_str(), records + 1, what,
          nColumns);
}

// Moves the scan past the header line of the replicate's part.
void CGenotypeSource::FindReplicate(int rep, bool merged)
{
    std::string line;
    bool found = !merged;
    for (;;) {
        line.clear();
        for (int c; (c = scan.Peek()) >= 0 && c != '\n'; scan.Skip()) line += static_cast<char>(c);
        if (scan.Peek() < 0) break;
        scan.Skip();
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

// Parsed in place when the number and the byte after it lie in the buffer, which is nearly always.
unsigned CGenotypeSource::Number(CByteReader& in, unsigned limit)
{
    const char* const from = in.Cursor();
    const char* const end = in.Limit();
    const char* p = from;
    while (p < end && *p == ' ') ++p;
    const char* const first = p;
    uint64_t v = 0;
    for (; p < end && p - first < 10 && static_cast<unsigned>(*p - '0') < 10u; ++p) v = v * 10 + static_cast<unsigned>(*p - '0');
    if (p < end && p > first && static_cast<unsigned>(*p - '0') >= 10u && v <= limit) {
        in.Advance(static_cast<size_t>(p - from));
        return static_cast<unsigned>(v);
    }
    return NumberAcrossChunks(in, limit);
}

unsigned CGenotypeSource::NumberAcrossChunks(CByteReader& in, unsigned limit)
{
    int c;
    while ((c = in.Peek()) == ' ') in.Skip();
    if (c < '0' || c > '9') Damaged(c == '\n' ? "the line is short" : c < 0 ? "the file ends" : "not a number");
    uint64_t v = 0;
    for (; (c = in.Peek()) >= '0' && c <= '9'; in.Skip()) {
        v = v * 10 + static_cast<unsigned>(c - '0');
        if (v > limit) Damaged(limit == kMaxId ? "an identifier above 2147483647" : "an allele above 65535");
    }
    return static_cast<unsigned>(v);
}

void CGenotypeSource::ParsePairs(CByteReader& in, int n, uint16_t* pairs)
{
    for (int k = 0; k < 2 * n; ++k) pairs[k] = static_cast<uint16_t>(Number(in, kMaxAllele));
}

void CGenotypeSource::SkipPairs(CByteReader& in, int n)
{
    for (int k = 0; k < 2 * n; ++k) Number(in, kMaxAllele);
}

void CGenotypeSource::ParseCodes(const char* d, int n, uint16_t* pairs) const
{
    for (int k = 0; k < n; ++k) {
        const unsigned code = static_cast<unsigned>(d[k] - '0') < 6 ? static_cast<unsigned>(d[k] - '0') : 5u;
        pairs[2 * k] = kCodePairs[code][0];
        pairs[2 * k + 1] = kCodePairs[code][1];
    }
}

bool CGenotypeSource::NextId(int& id)
{
    const int c = scan.Peek();
    if (c < 0 || (form != EGenoForm::Binary && c == '~')) return false;
    recordStart = scan.Tell();
    if (form == EGenoForm::Binary) {
        int32_t raw;
        if (!scan.Read(reinterpret_cast<char*>(&raw), 4)) Damaged("the file ends");
        id = raw;
    } else {
        id = static_cast<int>(Number(scan, kMaxId));
    }
    ++records;
    return true;
}

void CGenotypeSource::ReadRecord(int64_t& offset, uint16_t* pairs)
{
    if (form == EGenoForm::Binary) {
        offset = scan.Tell();
        if (!scan.Read(reinterpret_cast<char*>(pairs), static_cast<size_t>(recordSize - 4))) Damaged("the file ends");
        return;
    }
    if (form == EGenoForm::Pairs) {
        offset = scan.Tell();
        ParsePairs(scan, nColumns, pairs);
    } else {
        while (scan.Peek() == ' ') scan.Skip();
        offset = scan.Tell();
        digits.resize(static_cast<size_t>(nColumns));
        if (!scan.Read(digits.data(), digits.size())) Damaged("the file ends");
        for (const char d : digits)
            if (d < '0' || d > '9') Damaged(d == '\n' ? "the line is short" : "not a code digit");
        ParseCodes(digits.data(), nColumns, pairs);
    }
    while (scan.Peek() == ' ') scan.Skip();
    const int end = scan.Peek();
    if (end != '\n') Damaged(end < 0 ? "the last line has no line feed" : "the line is long");
    scan.Skip();
    longestRecord = std::max(longestRecord, scan.Tell() - recordStart);
}

void CGenotypeSource::SkipRecord()
{
    if (form == EGenoForm::Binary) {
        scan.Seek(recordStart + recordSize);
        return;
    }
    for (;;) {
        if (scan.Peek() < 0) Damaged("the last line has no line feed");
        const char* const from = scan.Cursor();
        const void* const lf = memchr(from, '\n', static_cast<size_t>(scan.Limit() - from));
        if (lf) {
            scan.Advance(static_cast<size_t>(static_cast<const char*>(lf) - from) + 1);
            return;
        }
        scan.Advance(static_cast<size_t>(scan.Limit() - from));
    }
}

void CGenotypeSource::ReadColumns(int64_t& offset, int at, int c0, int c1, uint16_t* pairs)
{
    const int n = c1 - c0;
    if (form == EGenoForm::Pairs) {
        // One read covers the range on the longest line, so a record costs one pread.
        const int64_t perColumn = longestRecord / std::max(nColumns, 1) + 1;
        pick.Resize(static_cast<size_t>(std::min<int64_t>(perColumn * (c1 - at) + 64, longestRecord + 64)));
        pick.Seek(offset);
        SkipPairs(pick, c0 - at);
        ParsePairs(pick, n, pairs);
        offset = pick.Tell();
        return;
    }
    const int width = form == EGenoForm::Binary ? 4 : 1;
    const int64_t from = offset + static_cast<int64_t>(c0 - at) * width;
    digits.resize(static_cast<size_t>(n) * static_cast<size_t>(width));
    if (pread(fd, digits.data(), digits.size(), from) != static_cast<ssize_t>(digits.size()))
        Abort("Error - Could not read [%s]; %s\n", path.c_str(), strerror(errno));
    if (form == EGenoForm::Binary)
        memcpy(pairs, digits.data(), digits.size());
    else
        ParseCodes(digits.data(), n, pairs);
    offset = from + static_cast<int64_t>(n) * width;
}
