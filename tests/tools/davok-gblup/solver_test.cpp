// GBLUP and SNP-BLUP against each other and against the mixed-model equations written out with
// the inverse of the covariance of all animals.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "model.h"
#include "test_data.h"

namespace {

using gblup::Animal;

// Deterministic draws that do not depend on the standard library's distributions.
class Draws {
public:
    explicit Draws(unsigned seed) : rng_(seed) {}
    double Unit() { return (rng_() + 0.5) / 4294967296.0; }
    double Normal() { return std::sqrt(-2 * std::log(Unit())) * std::cos(6.283185307179586 * Unit()); }
    size_t Below(size_t n) { return static_cast<size_t>(Unit() * static_cast<double>(n)); }

private:
    std::mt19937 rng_;
};

// founders founders with random genotypes, then `progeny` animals from random founder pairs whose
// genotypes are drawn from their parents'. The last `newest` progeny form the newest generation
// (flag P) and have no genotypes; every third animal has no record.
struct Population {
    std::vector<Animal> animals;
    gblup::Genotypes genotypes;
};

Population MakePopulation(size_t founders, size_t progeny, size_t newest, size_t markers, unsigned seed)
{
    Draws draw(seed);
    Population pop;
    pop.genotypes.nMarker = markers;
    std::vector<std::vector<uint8_t>> haplotypes;  // two per animal
    std::vector<double> freq(markers);
    for (double& p : freq) p = 0.1 + 0.8 * draw.Unit();
    for (size_t i = 0; i < founders + progeny; ++i) {
        Animal a;
        a.id = static_cast<long>(i + 1);
        a.inbreeding = 0;
        std::vector<uint8_t> pat(markers), mat(markers);
        if (i >= founders) {
            a.sire = static_cast<long>(1 + draw.Below(founders / 2));
            a.dam = static_cast<long>(1 + founders / 2 + draw.Below(founders - founders / 2));
            a.generation = 1;
            for (size_t j = 0; j < markers; ++j) {
                pat[j] = haplotypes[2 * static_cast<size_t>(a.sire - 1) + draw.Below(2)][j];
                mat[j] = haplotypes[2 * static_cast<size_t>(a.dam - 1) + draw.Below(2)][j];
            }
        } else {
            for (size_t j = 0; j < markers; ++j) pat[j] = draw.Unit() < freq[j], mat[j] = draw.Unit() < freq[j];
        }
        a.flag = i >= founders + progeny - newest ? 'P' : '-';
        a.recorded = i % 3 != 2;
        a.phenotype = draw.Normal();
        haplotypes.push_back(pat);
        haplotypes.push_back(mat);
        if (a.flag != 'P') {
            pop.genotypes.rowOfId.emplace(a.id, pop.genotypes.rowOfId.size());
            for (size_t j = 0; j < markers; ++j) pop.genotypes.codes.push_back(static_cast<uint8_t>(pat[j] + mat[j]));
        }
        pop.animals.push_back(a);
    }
    return pop;
}

// The mixed-model equations [1'1 1'Z; Z'1 Z'Z + lambda K^-1] of mu and the animals' values, with
// K^-1 = G^-1 on the genotyped animals plus, for each animal without genotypes and with parents
// s and d, (1/d) times the Henderson pattern (1 on itself, -1/2 with each parent, 1/4 between
// the parents).
std::vector<double> DenseSolution(const gblup::Model& m)
{
    const Eigen::Index n = static_cast<Eigen::Index>(m.id.size());
    const gblup::MarkerMatrix& z = m.markers;
    Eigen::MatrixXd zc(static_cast<Eigen::Index>(z.nRow), static_cast<Eigen::Index>(z.nMarker));
    for (size_t r = 0; r < z.nRow; ++r)
        for (size_t j = 0; j < z.nMarker; ++j) zc(r, j) = z.codes[r * z.nMarker + j] - z.centre[j];
    const Eigen::MatrixXd g = zc * zc.transpose() / z.scale + m.ridge * Eigen::MatrixXd::Identity(zc.rows(), zc.rows());
    const Eigen::MatrixXd gInv = g.inverse();
    Eigen::MatrixXd c = Eigen::MatrixXd::Zero(n + 1, n + 1);
    Eigen::VectorXd rhs = Eigen::VectorXd::Zero(n + 1);
    for (Eigen::Index i = 0; i < n; ++i)
        for (Eigen::Index k = 0; k < n; ++k)
            if (m.genoRow[i] >= 0 && m.genoRow[k] >= 0) c(1 + i, 1 + k) = m.lambda * gInv(m.genoRow[i], m.genoRow[k]);
    for (Eigen::Index i = 0; i < n; ++i) {
        if (m.genoRow[i] >= 0) continue;
        const double w = m.lambda / m.samplingShare[i];
        std::vector<std::pair<Eigen::Index, double>> terms = {{i, 1.0}};
        if (m.sire[i] >= 0) terms.push_back({m.sire[i], -0.5});
        if (m.dam[i] >= 0) terms.push_back({m.dam[i], -0.5});
        for (auto [a, wa] : terms)
            for (auto [b, wb] : terms) c(1 + a, 1 + b) += w * wa * wb;
    }
    for (Eigen::Index i = 0; i < n; ++i) {
        if (!m.recorded[i]) continue;
        c(0, 0) += 1;
        c(0, 1 + i) += 1;
        c(1 + i, 0) += 1;
        c(1 + i, 1 + i) += 1;
        rhs(0) += m.y[i];
        rhs(1 + i) += m.y[i];
    }
    const Eigen::VectorXd x = c.fullPivLu().solve(rhs);
    return std::vector<double>(x.data() + 1, x.data() + 1 + n);
}

struct SolverCase {
    const char* name;
    size_t founders, progeny, newest, markers;
};

TEST(Solvers, GblupAndSnpBlupMatchTheWrittenOutEquations)
{
    const SolverCase cases[] = {
        {"more markers than animals", 20, 40, 0, 150},
        {"more animals than markers", 30, 50, 0, 25},
        {"newest generation without genotypes", 20, 40, 15, 120},
    };
    for (const SolverCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Population pop = MakePopulation(c.founders, c.progeny, c.newest, c.markers, 7);
        const gblup::Model m = gblup::BuildModel(pop.animals, pop.genotypes, (1 - 0.35) / 0.35, 0.01, "test");
        const std::vector<double> dense = DenseSolution(m);
        const gblup::Solution g = gblup::SolveGblup(m, 2);
        const gblup::Solution s = gblup::SolveSnpBlup(m, 2);
        EXPECT_TRUE(s.converged);
        for (size_t i = 0; i < dense.size(); ++i) {
            EXPECT_NEAR(g.ebv[i], dense[i], 1e-6) << "animal " << m.id[i];
            EXPECT_NEAR(s.ebv[i], dense[i], 1e-6) << "animal " << m.id[i];
        }
        EXPECT_NEAR(g.mean, s.mean, 1e-6);
    }
}

double Variance(const std::vector<double>& a)
{
    double mean = 0, var = 0;
    for (double x : a) mean += x / a.size();
    for (double x : a) var += (x - mean) * (x - mean) / a.size();
    return var;
}

// With the QTL themselves as markers and a heritability near 1 the phenotypes pin down the QTL
// effects, and the breeding values of unrecorded animals approach their true values.
TEST(Solvers, MarkersThatAreTheQtlGiveTrueValuesAsH2ApproachesOne)
{
    const size_t n = 300, unrecorded = 100, qtl = 30;
    Population pop = MakePopulation(n, 0, 0, qtl, 11);
    Draws draw(3);
    std::vector<double> effect(qtl), tbv(n, 0.0);
    for (double& e : effect) e = draw.Normal();
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < qtl; ++j) tbv[i] += effect[j] * pop.genotypes.codes[i * qtl + j];
    const double tbvVar = Variance(tbv);
    double previous = 0;
    for (double h2 : {0.3, 0.9, 0.999}) {
        SCOPED_TRACE(h2);
        Draws noise(5);
        for (size_t i = 0; i < n; ++i) {
            pop.animals[i].recorded = i < n - unrecorded;
            pop.animals[i].phenotype = tbv[i] + std::sqrt(tbvVar * (1 - h2) / h2) * noise.Normal();
        }
        const gblup::Model m = gblup::BuildModel(pop.animals, pop.genotypes, (1 - h2) / h2, 0.01, "test");
        for (bool snp : {false, true}) {
            const gblup::Solution s = snp ? gblup::SolveSnpBlup(m, 1) : gblup::SolveGblup(m, 1);
            const std::vector<double> ebv(s.ebv.end() - unrecorded, s.ebv.end());
            const std::vector<double> truth(tbv.end() - unrecorded, tbv.end());
            const double r = Correlation(ebv, truth);
            EXPECT_GT(r, previous - 1e-9);
            if (snp) previous = r;
            if (h2 > 0.99) {
                EXPECT_GT(r, 0.995);
            }
        }
    }
}

}  // namespace
