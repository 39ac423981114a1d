// Animal-model BLUP over the whole pedigree, solved by preconditioned conjugate gradients.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class CInbred;

// The mixed-model equations (Z'Z + lambda A^-1) a = y of the pedigree, one equation per entry,
// with no fixed effect. A^-1 is never formed: each product with the coefficient matrix is one
// backward pass over the pedigree adding the contributions of every entry and its parents, and
// the diagonal serves as the (Jacobi) preconditioner. Memory is a few vectors of length n.
class CMME {
public:
    // Solves the equations of ped with lambda = varRes / varA from x = 0 and writes every entry's
    // solution to its record's ebv. Prints the console line and, when the iteration limit
    // (n, or iterationLimit when above 0) is reached first, collects the non-convergence warning.
    void SolveMME(CInbred* ped, double varRes, double varA, int iterationLimit = 0);

    int Iterations() const { return iteration; }
    bool Converged() const { return converged; }
    double LastError() const { return lastError; }
    // Bytes held by the equations and the iteration vectors.
    size_t MemoryBytes() const;

private:
    void BuildEquations(const CInbred& ped, double lambda);
    // Conjugate gradients from x = 0 up to `limit` iterations.
    void CG(int limit);
    // q = C p, returning p'q.
    double MultiplyCoefficients();

    static constexpr double kTolerance = 1e-10;
    int n = 0;                   // equations: pedigree entries
    double lambda = 0;           // varRes / varA
    std::vector<int32_t> sire;   // per entry: the sire's entry, -1 when unknown
    std::vector<int32_t> dam;    // per entry: the dam's entry, -1 when unknown
    std::vector<double> weight;  // per entry: lambda / d, d the Mendelian sampling variance factor
    std::vector<double> diag;    // diagonal of the coefficient matrix
    std::vector<double> y;       // right-hand side: phenotype, or 0 without a record
    std::vector<double> x, r, z, p, q;  // solution, residual, preconditioned residual, direction, C p
    double lastError = 0;        // last relative error estimate
    int iteration = 0;           // iterations done
    bool converged = false;
};
