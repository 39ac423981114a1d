// Accuracy of estimated breeding values: correlations of EBV with TBV.
#pragma once

struct SRec;

// Pearson correlation of ebv with TBV over a[lo..hi]; 0 for an empty range or when either is
// constant.
void Corr_EBV(SRec* const* a, int lo, int hi, double* r);
// The same over recs[lo..hi], over its males and over its females; a group without members gives 0.
void Corr_EBV_MF(const SRec* recs, int lo, int hi, double* all, double* male, double* female);
