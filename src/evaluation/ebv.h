// Breeding value estimation of a population and the accuracy of its estimated breeding values.
#pragma once

#include "breeding/population.h"
#include "evaluation/blup.h"
#include "breeding/inbred.h"
#include "param/run_params.h"

// What an evaluation works with besides the population: the trait's variances, the pedigree
// and its BLUP equations, and the last identifier given in the replicate.
struct SEvaluation {
    const SGlobalParams& global;
    CInbred& inbred;
    CMME& mme;
    int nextId;
};

// EBVs of the founders of p, then the accuracy statistics of generation 0.
void EstimateEBV_Base(const SEvaluation& ev, CPopulation& p);
// EBVs after generation gen (individuals first..last), then its accuracy statistics.
void EstimateEBV(const SEvaluation& ev, CPopulation& p, int gen, int first, int last);
// The approximation from simulated progeny tests and own records.
void EstimateEBV_Approx(const SGlobalParams& global, CPopulation& p, int nextId, int gen, int first, int last);
// EBVs of the accuracy given for the population.
void EstimateEBV_P_Accur(CPopulation& p, int first, int last);
// Weights a (of the TBV) and b (of a normal deviate) giving an EBV of variance varA and
// correlation r with a TBV of variance varA.
void GetCholesky(double varA, double r, double* a, double* b);
// Writes "data.tmp", runs the population's external command and reads "my_bv.txt".
void InputBV(CInbred& inbred, CPopulation& p, int nextId, int gen, int first, int last, bool base);

// Pearson correlation of ebv with TBV over a[lo..hi]; 0 for an empty range or when either is
// constant.
void Corr_EBV(SRec* const* a, int lo, int hi, double* r);
// The same over recs[lo..hi], over its males and over its females; a group without members gives 0.
void Corr_EBV_MF(const SRec* recs, int lo, int hi, double* all, double* male, double* female);
