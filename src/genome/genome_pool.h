// Storage blocks of individual genomes, kept for reuse.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

// Genome storage is carved from large slabs backed by transparent huge pages, and a released
// genome's block is kept for the next individual instead of going back to the system. Fresh
// memory costs a page fault per page on first touch, and a gamete copied from a parent on small
// pages loses the hardware prefetch at every page boundary: both cost several times the copy.
// Blocks have one size for a whole replicate (another only while select_seg_loci compacts the
// last historical generation). Main thread only.
class CGenomePool {
public:
    CGenomePool() = default;
    ~CGenomePool() { Clear(); }
    CGenomePool(const CGenomePool&) = delete;
    CGenomePool& operator=(const CGenomePool&) = delete;

    // A block of `bytes`, reused when one of that size is kept; null when memory runs out.
    void* Take(size_t bytes);
    // Takes back a block that Take gave out.
    void Give(void* block);
    // Frees every slab. Only when no block is out.
    void Clear();
    // Blocks given out and not yet taken back.
    long Outstanding() const { return outstanding; }

private:
    // Stands before every block: its size. Two words keep the block aligned for any type.
    struct SHeader {
        size_t bytes;
        size_t unused;
    };
    struct SSlab {
        char* base;   // aligned start; owned
        size_t size;  // bytes
    };

    // A fresh block from the current slab, or from a new one.
    SHeader* Carve(size_t bytes);

    std::map<size_t, std::vector<SHeader*>> kept;  // blocks ready for reuse, by size
    std::vector<SSlab> slabs;                      // every slab, the current one last
    size_t used = 0;                               // bytes carved from the current slab
    long outstanding = 0;                          // blocks out
};
