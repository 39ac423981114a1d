#include "genome/genome_pool.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace {

constexpr size_t kHugePage = size_t(2) << 20;
constexpr size_t kSlabBytes = size_t(64) << 20;

size_t RoundUp(size_t n, size_t to)
{
    return (n + to - 1) / to * to;
}

}  // namespace

void* CGenomePool::Take(size_t bytes)
{
    // A new size with nothing out (a new replicate after select_seg_loci): start afresh.
    if (outstanding == 0 && !kept.empty() && kept.find(bytes) == kept.end()) Clear();
    SHeader* h;
    std::vector<SHeader*>& ready = kept[bytes];
    if (!ready.empty()) {
        h = ready.back();
        ready.pop_back();
    } else {
        h = Carve(bytes);
        if (!h) return nullptr;
    }
    ++outstanding;
    return h + 1;
}

CGenomePool::SHeader* CGenomePool::Carve(size_t bytes)
{
    size_t need = RoundUp(sizeof(SHeader) + bytes, 64);
    if (slabs.empty() || used + need > slabs.back().size) {
        size_t size = RoundUp(std::max(kSlabBytes, need), kHugePage);
        char* base = static_cast<char*>(std::aligned_alloc(kHugePage, size));
        if (!base) return nullptr;
        madvise(base, size, MADV_HUGEPAGE);  // a hint: without huge pages the slab still works
        try {
            slabs.push_back({base, size});
        } catch (const std::bad_alloc&) {
            std::free(base);
            return nullptr;
        }
        used = 0;
    }
    SHeader* h = reinterpret_cast<SHeader*>(slabs.back().base + used);
    used += need;
    h->bytes = bytes;
    return h;
}

void CGenomePool::Give(void* block)
{
    if (!block) return;
    SHeader* h = static_cast<SHeader*>(block) - 1;
    --outstanding;
    // The list already holds room for every block of its size that was ever out, except when
    // the size is new to it; a block that cannot be listed stays in its slab until Clear.
    try {
        kept[h->bytes].push_back(h);
    } catch (const std::bad_alloc&) {
    }
}

void CGenomePool::Clear()
{
    for (SSlab& s : slabs) std::free(s.base);
    slabs.clear();
    kept.clear();
    used = 0;
}
