// GBLUP by a dense Cholesky factor of V = K_rr + lambda I over the recorded animals.
#include <Eigen/Dense>

#include "model.h"

namespace gblup {

namespace {

// Positions in K: recorded animals first, then the others, each in file order, so that V is the
// leading block of K and the covariances of the unrecorded with the recorded stay below it.
std::vector<int> RecordedFirst(const Model& m, size_t& nRecorded)
{
    const size_t n = m.id.size();
    std::vector<int> slot(n);
    nRecorded = 0;
    for (size_t i = 0; i < n; ++i)
        if (m.recorded[i]) slot[i] = static_cast<int>(nRecorded++);
    size_t next = nRecorded;
    for (size_t i = 0; i < n; ++i)
        if (!m.recorded[i]) slot[i] = static_cast<int>(next++);
    return slot;
}

// Rows and columns of the animals without genotypes, in file order (parents first): the parents'
// mean plus an independent Mendelian sampling term (the tabular method).
void AddUngenotyped(const Model& m, const std::vector<int>& slot, Eigen::MatrixXd& k)
{
    std::vector<Eigen::Index> done;
    for (size_t i = 0; i < m.id.size(); ++i)
        if (m.genoRow[i] >= 0) done.push_back(slot[i]);
    for (size_t i = 0; i < m.id.size(); ++i) {
        if (m.genoRow[i] >= 0) continue;
        const Eigen::Index me = slot[i];
        const Eigen::Index s = m.sire[i] < 0 ? -1 : slot[static_cast<size_t>(m.sire[i])];
        const Eigen::Index d = m.dam[i] < 0 ? -1 : slot[static_cast<size_t>(m.dam[i])];
        auto parentMean = [&](Eigen::Index j) {
            return 0.5 * ((s < 0 ? 0.0 : k(s, j)) + (d < 0 ? 0.0 : k(d, j)));
        };
        for (Eigen::Index j : done) k(me, j) = k(j, me) = parentMean(j);
        const double between = s < 0 || d < 0 ? 0.0 : k(s, d);
        k(me, me) = 0.25 * ((s < 0 ? 0.0 : k(s, s)) + (d < 0 ? 0.0 : k(d, d)) + 2 * between) + m.samplingShare[i];
        done.push_back(me);
    }
}

}  // namespace

Solution SolveGblup(const Model& m, int threads)
{
    const size_t n = m.id.size();
    size_t nr = 0;
    const std::vector<int> slot = RecordedFirst(m, nr);
    Eigen::MatrixXd k(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(n));
    std::vector<int> rowSlot(m.markers.nRow);
    for (size_t i = 0; i < n; ++i)
        if (m.genoRow[i] >= 0) rowSlot[static_cast<size_t>(m.genoRow[i])] = slot[i];
    GenomicRelationshipInto(m.markers, m.ridge, threads, rowSlot, k.data(), n);
    AddUngenotyped(m, slot, k);

    Solution sol;
    sol.ebv.assign(n, 0.0);
    if (nr == 0) return sol;  // no record: every animal stays at the mean
    const Eigen::Index r = static_cast<Eigen::Index>(nr), u = static_cast<Eigen::Index>(n - nr);
    Eigen::VectorXd y(r);
    for (size_t i = 0; i < n; ++i)
        if (m.recorded[i]) y(slot[i]) = m.y[i];

    // Factor V in place; the block of unrecorded rows below it is left as it is.
    auto v = k.topLeftCorner(r, r);
    v.diagonal().array() += m.lambda;
    Eigen::LLT<Eigen::Ref<Eigen::MatrixXd>> llt(v);
    if (llt.info() != Eigen::Success)
        throw InputError("Error - The genomic relationships of the recorded animals are not positive definite.");
    const Eigen::VectorXd vy = llt.solve(y);
    const Eigen::VectorXd v1 = llt.solve(Eigen::VectorXd::Ones(r));
    sol.mean = vy.sum() / v1.sum();
    const Eigen::VectorXd alpha = vy - sol.mean * v1;
    // K_rr alpha = (V - lambda I) alpha = y - mu - lambda alpha.
    const Eigen::VectorXd recorded = y.array() - sol.mean - m.lambda * alpha.array();
    const Eigen::VectorXd others = k.bottomLeftCorner(u, r) * alpha;
    for (size_t i = 0; i < n; ++i)
        sol.ebv[i] = m.recorded[i] ? recorded(slot[i]) : others(slot[i] - r);
    return sol;
}

}  // namespace gblup
