// Building one gamete from the two haplotypes of a parent.
#pragma once

#include <cstdint>

#include "genome/records.h"

// Copies into out the n alleles of one gamete: the starting haplotype (0 paternal,
// 1 maternal) up to the first crossover, then the other one, and so on. Crossovers xs ascend;
// `pos` holds the n locus positions in map order; one at a locus position leaves that locus with the segment to its left, and one before the
// first locus changes nothing.
void CopyGamete(const uint16_t* pat, const uint16_t* mat, int startMaternal, const double* xs, int nx,
                const double* pos, int n, uint16_t* out);
