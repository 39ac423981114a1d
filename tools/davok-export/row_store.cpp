#include "row_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include "support/messages.h"

namespace {

constexpr size_t kPendingBytes = 1 << 20;

// An unnamed file in $TMPDIR (else /tmp): removed as soon as it is made, so that no end of the
// program leaves it behind.
int TemporaryFile()
{
    const char* dir = getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/davok-export.XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd < 0) Abort("Error - Could not make a temporary file [%s]; %s\n", name.c_str(), strerror(errno));
    unlink(name.c_str());
    return fd;
}

// Asks for large pages (2 MB) within [data, data + bytes) where the system gives them on request:
// a store filling tens of megabytes then costs a few page faults instead of thousands.
void AdviseLargePages(uint8_t* data, size_t bytes)
{
#ifdef MADV_HUGEPAGE
    constexpr uintptr_t kLarge = 2 << 20;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(data) + kLarge - 1) & ~(kLarge - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(data) + bytes) & ~(kLarge - 1);
    if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)data;
    (void)bytes;
#endif
}

}  // namespace

CRowStore::CRowStore(size_t rowBytes, size_t memoryBytes) : rowBytes(rowBytes), memoryBytes(memoryBytes) {}

CRowStore::~CRowStore()
{
    if (fd >= 0) close(fd);
}

void CRowStore::Reset(size_t bytes)
{
    rowBytes = bytes;
    rows = inMemory = 0;
    memory.clear();
    // Reserved whole, so that growing never holds two copies; untouched pages cost nothing.
    if (rowBytes > 0) memory.reserve(memoryBytes / rowBytes * rowBytes);
    AdviseLargePages(memory.data(), memory.capacity());
    pending.clear();
    if (fd >= 0 && ftruncate(fd, 0) != 0) Abort("Error - Could not write the temporary file; %s\n", strerror(errno));
}

void CRowStore::Append(const uint8_t* row)
{
    ++rows;
    if (rows == inMemory + 1 && memory.size() + rowBytes <= memoryBytes) {
        memory.insert(memory.end(), row, row + rowBytes);
        ++inMemory;
        return;
    }
    Spill(row);
}

void CRowStore::Spill(const uint8_t* row)
{
    if (fd < 0) fd = TemporaryFile();
    pending.insert(pending.end(), row, row + rowBytes);
    if (pending.size() < kPendingBytes) return;
    size_t done = 0;
    while (done < pending.size()) {
        const ssize_t n = write(fd, pending.data() + done, pending.size() - done);
        if (n <= 0) Abort("Error - Could not write the temporary file; %s\n", strerror(errno));
        done += static_cast<size_t>(n);
    }
    pending.clear();
}

void CRowStore::ReadFileRange(size_t c0, size_t c1, std::vector<uint8_t>& out)
{
    const size_t inFile = rows - inMemory;
    const size_t written = inFile - pending.size() / rowBytes;
    out.resize(inFile * (c1 - c0));
    for (size_t r = 0; r < inFile; ++r) {
        uint8_t* to = out.data() + r * (c1 - c0);
        if (r >= written) {
            memcpy(to, pending.data() + (r - written) * rowBytes + c0, c1 - c0);
            continue;
        }
        const off_t at = static_cast<off_t>(r * rowBytes + c0);
        if (pread(fd, to, c1 - c0, at) != static_cast<ssize_t>(c1 - c0))
            Abort("Error - Could not read the temporary file; %s\n", strerror(errno));
    }
}
