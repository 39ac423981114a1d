// Animal-model BLUP by Jacobi-preconditioned conjugate gradients over the pedigree.
//
// The inverse relationship matrix follows Henderson's rules with inbreeding: an entry i with
// Mendelian sampling factor d_i = 0.5 - 0.25 (F_sire + F_dam) (an unknown parent counting F = -1)
// adds w_i = lambda / d_i at (i, i), -w_i / 2 between i and each known parent, w_i / 4 on each
// known parent's diagonal, and w_i / 4 between its two parents when both are known. Those terms
// are applied on the fly, so the coefficient matrix never exists.
#include "evaluation/blup.h"

#include <cmath>
#include <cstdio>
#include <initializer_list>

#include "breeding/inbred.h"
#include "genome/records.h"
#include "support/messages.h"

namespace {

// F of a parent as the pedigree sees it: -1 for an unknown parent.
double ParentF(const SPedNode* parent)
{
    return parent->pedId == 0 ? -1.0 : parent->rec->inbF;
}

double Dot(const std::vector<double>& a, const std::vector<double>& b)
{
    double s = 0;
    for (size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
    return s;
}

}  // namespace

void CMME::BuildEquations(const CInbred& ped, double ratio)
{
    n = static_cast<int>(ped.NodeCount());
    lambda = ratio;
    const size_t size = static_cast<size_t>(n);
    sire.assign(size, -1);
    dam.assign(size, -1);
    weight.assign(size, 0.0);
    diag.assign(size, 0.0);
    y.assign(size, 0.0);
    for (int i = n - 1; i >= 0; --i) {
        const SPedNode& node = ped.NodeAt(static_cast<uint32_t>(i));
        const SRec& rec = *node.rec;
        if (rec.hasPhen) {
            y[i] = rec.phen;
            diag[i] += 1.0;
        }
        sire[i] = static_cast<int32_t>(node.sireNode->pedId) - 1;
        dam[i] = static_cast<int32_t>(node.damNode->pedId) - 1;
        double w = lambda / (0.5 - 0.25 * (ParentF(node.sireNode) + ParentF(node.damNode)));
        weight[i] = w;
        diag[i] += w;
        if (sire[i] >= 0) diag[sire[i]] += 0.25 * w;
        if (dam[i] >= 0) diag[dam[i]] += 0.25 * w;
    }
}

// Progeny follow their parents in pedigree order, so going backwards q[i] has received every
// contribution by the time i is reached and p'q can be summed in the same pass.
double CMME::MultiplyCoefficients()
{
    double pq = 0;
    for (int i = n - 1; i >= 0; --i) {
        const double w = weight[i], pi = p[i];
        const int32_t s = sire[i], d = dam[i];
        double qi = q[i];
        if (s >= 0) {
            q[s] -= 0.5 * w * pi;
            qi -= 0.5 * w * p[s];
        }
        if (d >= 0) {
            q[d] -= 0.5 * w * pi;
            qi -= 0.5 * w * p[d];
        }
        if (s >= 0 && d >= 0) {
            q[s] += 0.25 * w * p[d];
            q[d] += 0.25 * w * p[s];
        }
        q[i] = qi;
        pq += qi * pi;
    }
    return pq;
}

void CMME::CG(int limit)
{
    const size_t size = static_cast<size_t>(n);
    x.assign(size, 0.0);
    r = y;
    z.assign(size, 0.0);
    p.assign(size, 0.0);
    q.assign(size, 0.0);
    double zz = 0;
    for (int i = 0; i < n; ++i) {
        z[i] = r[i] / diag[i];
        zz += z[i] * z[i];
    }
    double zNorm = std::sqrt(zz), rho = Dot(r, z), rhoPrev = 0;
    converged = false;
    lastError = 0;
    iteration = 1;
    if (rho == 0) {  // nothing recorded (or all records 0): the solution is x = 0
        converged = true;
        return;
    }
    for (; iteration <= limit; ++iteration) {
        const double beta = iteration > 1 ? rho / rhoPrev : 0.0;
        double pp = 0;
        for (int i = 0; i < n; ++i) {
            p[i] = z[i] + beta * p[i];
            q[i] = diag[i] * p[i];
            pp += p[i] * p[i];
        }
        const double alpha = rho / MultiplyCoefficients();
        double xx = 0;
        zz = 0;
        rhoPrev = rho;
        rho = 0;
        for (int i = 0; i < n; ++i) {
            x[i] += alpha * p[i];
            r[i] -= alpha * q[i];
            z[i] = r[i] / diag[i];
            xx += x[i] * x[i];
            zz += z[i] * z[i];
            rho += r[i] * z[i];
        }
        const double zNormPrev = zNorm;
        zNorm = std::sqrt(zz);
        const double change = std::fabs(zNormPrev - zNorm);
        if (change > 1e-14 * zNorm) {
            // Error estimate from the step length and the decrease of the preconditioned residual.
            double err = std::fabs(alpha) * std::sqrt(pp) * zNorm / change;
            const double xNorm = std::sqrt(xx);
            if (err <= 0.5 * xNorm) {
                err /= xNorm;
                lastError = err;
                if (err <= kTolerance) {
                    converged = true;
                    return;
                }
            }
        }
    }
}

size_t CMME::MemoryBytes() const
{
    size_t bytes = (sire.capacity() + dam.capacity()) * sizeof(int32_t);
    for (const std::vector<double>* v : {&weight, &diag, &y, &x, &r, &z, &p, &q}) bytes += v->capacity() * sizeof(double);
    return bytes;
}

void CMME::SolveMME(CInbred* ped, double varRes, double varA, int iterationLimit)
{
    printf(", BLUP:");
    fflush(stdout);
    // Without additive variance every breeding value shrinks to 0.
    BuildEquations(*ped, varA > 0 ? varRes / varA : 0.0);
    if (varA > 0)
        CG(iterationLimit > 0 ? iterationLimit : n);
    else {
        x.assign(static_cast<size_t>(n), 0.0);
        converged = true;
        iteration = 1;
    }
    for (int i = 0; i < n; ++i) ped->NodeAt(static_cast<uint32_t>(i)).rec->ebv = x[i];
    if (converged) {
        printf(" converged %-4d", iteration);
        fflush(stdout);
        return;
    }
    printf(" not converged");
    fflush(stdout);
    PW.Warn("Warning - solutions were not converged after %d iterations.\n", iteration - 1);
    NoWarn++;
}
