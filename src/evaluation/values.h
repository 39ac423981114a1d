// Polygenic effects, residuals and phenotypes of new individuals, the statistics of a generation,
// and the true additive variance rule.
#pragma once

#include "breeding/population.h"
#include "param/run_params.h"

// Polygenic effects, residuals and phenotypes of individuals first..last of p.
void SetProgenyValues(const SGlobalParams& global, CPopulation& p, int first, int last);
// Inbreeding, homozygosity and the value statistics of generation gen (individuals first..last).
void ComputeMeanVar(const SGlobalParams& global, CPopulation& p, int gen, int first, int last);
void ComputeMeanVarEBV(CPopulation& p, int gen, int first, int last);
// true_av: the additive variance of the evaluation becomes the variance of generation gen's TBV.
void Update_VarAdd(CPopulation& p, int gen);
