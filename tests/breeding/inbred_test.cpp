// Pedigree, relationships and inbreeding, checked against the tabular method on small pedigrees.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "breeding/inbred.h"
#include "breeding/population.h"
#include "evaluation/evaluation_test_util.h"
#include "support/hand_population.h"
#include "support/test_util.h"

namespace {

constexpr int kUnknown = -1;

// One progeny: positions of its parents in the generation's sires and dams (kUnknown = unknown).
struct Birth {
    int sire, dam;
};

// Parents (indices into indiv) and births of one generation.
struct GenPlan {
    std::vector<int> sires, dams;
    std::vector<Birth> births;
};

struct PopPlan {
    int nFounders;
    std::vector<GenPlan> gens;
};

// Populations whose individuals are entered in the order the run driver enters them.
class PedigreeRun {
public:
    std::deque<SPopParams> statements;  // stable addresses: the populations refer to them
    std::vector<CPopulation> pops;
    CInbred inbred;
    int nextId = 0;

    explicit PedigreeRun(const std::vector<PopPlan>& planned) : plans(planned)
    {
        pops.reserve(plans.size());
        for (const PopPlan& plan : plans) {
            SPopParams& st = statements.emplace_back(HandStatements(static_cast<int>(plan.gens.size())));
            CPopulation& pop = pops.emplace_back(st, 0.0);
            pop.nIndiv = plan.nFounders;
            for (size_t g = 0; g < plan.gens.size(); ++g) {
                st.plan[g + 1].nSires = static_cast<int>(plan.gens[g].sires.size());
                st.plan[g + 1].nDams = static_cast<int>(plan.gens[g].dams.size());
                pop.nIndiv += static_cast<int>(plan.gens[g].births.size());
            }
            pop.indiv.assign(static_cast<size_t>(pop.nIndiv), SRec());
            pop.nFounderPlaced = plan.nFounders;
            for (int i = 0; i < plan.nFounders; ++i) {
                pop.indiv[i].id = ++nextId;
                pop.indiv[i].sire = pop.indiv[i].dam = UnknownParent();
            }
        }
    }

    // Founders, then every generation: parent rows, progeny entered one by one, their F.
    void Run(int p, bool joint, bool skip)
    {
        CPopulation& pop = pops[p];
        inbred.AllocMem(&pop, pops.data(), static_cast<int>(pops.size()), joint);
        inbred.AddFounderToPed(&pop, skip);
        size_t next = static_cast<size_t>(pop.nFounderPlaced);
        for (const GenPlan& gen : plans[p].gens) {
            pop.sires = Records(pop, gen.sires);
            pop.dams = Records(pop, gen.dams);
            inbred.AddParentTorPed(pop.sires.data(), static_cast<int>(gen.sires.size()), pop.dams.data(),
                                   static_cast<int>(gen.dams.size()));
            int firstId = nextId + 1;
            for (const Birth& b : gen.births) {
                SRec& r = pop.indiv[next++];
                r.id = ++nextId;
                r.sire = b.sire == kUnknown ? UnknownParent() : pop.sires[b.sire];
                r.dam = b.dam == kUnknown ? UnknownParent() : pop.dams[b.dam];
                inbred.AddToPed(&r);
            }
            inbred.ComputeF(firstId, skip);
        }
    }

    // Every record entered, by identifier (a founder copy replaces the record it copies).
    std::vector<const SRec*> ById() const
    {
        std::vector<const SRec*> byId(static_cast<size_t>(nextId) + 1, nullptr);
        for (const CPopulation& pop : pops)
            for (const SRec& r : pop.indiv) byId[r.id] = &r;
        return byId;
    }

    // The debugging dump, one line per entry.
    std::vector<std::string> StateLines() const
    {
        return Lines(CaptureFile([this](FILE* fp) { inbred.PrintState(fp); }));
    }

    // dFactor of each parent row, by the parent's identifier.
    std::map<int, double> DFactorById() const
    {
        std::map<int, double> d;
        int id;
        double dFactor;
        for (const std::string& line : StateLines())
            if (sscanf(line.c_str(), "row %*d id %d sire %*d dam %*d dFactor %lf", &id, &dFactor) == 2) d[id] = dFactor;
        return d;
    }

private:
    static std::vector<SRec*> Records(CPopulation& pop, const std::vector<int>& idx)
    {
        std::vector<SRec*> recs;
        for (int i : idx) recs.push_back(&pop.indiv[i]);
        return recs;
    }
    std::vector<PopPlan> plans;
};

// Additive relationships by the tabular method over identifiers (parents have smaller
// identifiers than their progeny); identifier 0, an unknown parent, is related to no one.
DenseMatrix RelationshipsById(const std::vector<const SRec*>& byId)
{
    std::vector<SDenseAnimal> ped(byId.size());
    auto index = [](const SRec* parent) { return parent->id > 0 ? parent->id : -1; };
    for (size_t id = 1; id < byId.size(); ++id)
        if (byId[id]) ped[id] = {index(byId[id]->sire), index(byId[id]->dam)};
    return TabularA(ped);
}

void ExpectFMatchesTabular(const PedigreeRun& run)
{
    std::vector<const SRec*> byId = run.ById();
    DenseMatrix a = RelationshipsById(byId);
    for (size_t id = 1; id < byId.size(); ++id)
        if (byId[id]) {
            EXPECT_NEAR(byId[id]->inbF, a[id][id] - 1.0, 1e-12) << "id " << id;
        }
}

// Founders 0 (male) and 1 (female) have two sons 2, 4 and two daughters 3, 5 in generation 1.
GenPlan FoundersLitters() { return {{0}, {1}, {{0, 0}, {0, 0}, {0, 0}, {0, 0}}}; }

}  // namespace

TEST(Inbreeding, ClassicMatingsGiveTheTextbookCoefficients)
{
    struct Case {
        const char* name;
        PopPlan plan;
        double lastF;
    };
    const Case cases[] = {
        {"full sibs", {2, {FoundersLitters(), {{2}, {3}, {{0, 0}}}}}, 0.25},
        {"half sibs", {3, {{{0}, {1, 2}, {{0, 0}, {0, 1}}}, {{3}, {4}, {{0, 0}}}}}, 0.125},
        {"sire and daughter", {2, {{{0}, {1}, {{0, 0}}}, {{0}, {2}, {{0, 0}}}}}, 0.25},
        {"full sibs, then known sire and unknown dam", {2, {FoundersLitters(), {{2}, {3}, {{0, 0}, {0, kUnknown}}}}},
         0.0},
        {"unknown sire", {2, {FoundersLitters(), {{2}, {3}, {{0, 0}, {kUnknown, 0}}}}}, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PedigreeRun run({c.plan});
        run.Run(0, false, false);
        const CPopulation& pop = run.pops[0];
        EXPECT_DOUBLE_EQ(pop.indiv.back().inbF, c.lastF);
        for (int i = 0; i < pop.nFounderPlaced; ++i) EXPECT_EQ(pop.indiv[i].inbF, 0.0);
        ExpectFMatchesTabular(run);
    }
}

TEST(Inbreeding, FounderRowsHaveFactorOneAndSkipMakesEveryFZero)
{
    // Three generations of full-sib mating: the last parents are inbred unless inbreeding is skipped.
    PopPlan plan{2,
                 {FoundersLitters(), {{2}, {3}, {{0, 0}, {0, 0}}}, {{6}, {7}, {{0, 0}, {0, 0}}}, {{8}, {9}, {{0, 0}}}}};
    for (bool skip : {false, true}) {
        SCOPED_TRACE(skip ? "skipped" : "computed");
        PedigreeRun run({plan});
        run.Run(0, false, skip);
        const CPopulation& pop = run.pops[0];
        std::map<int, double> d = run.DFactorById();
        ASSERT_EQ(d.size(), 8u);
        EXPECT_EQ(d[pop.indiv[0].id], 1.0);
        EXPECT_EQ(d[pop.indiv[1].id], 1.0);
        EXPECT_EQ(d[pop.indiv[2].id], 0.5);
        EXPECT_EQ(d[pop.indiv[8].id], skip ? 0.5 : 0.5 - 0.25 * (0.25 + 0.25));
        if (skip) {
            for (const SRec& r : pop.indiv) EXPECT_EQ(r.inbF, 0.0);
        } else {
            EXPECT_DOUBLE_EQ(pop.indiv.back().inbF, 0.5);
        }
    }
}

TEST(Inbreeding, RandomPedigreeOfOverlappingGenerationsMatchesTheTabularMethod)
{
    // Six generations of 16 from 12 founders: 3 sires and 5 dams drawn among the last two
    // generations (even positions are males), 3 progeny per dam and one with an unknown dam.
    std::mt19937 rnd(20240611);
    PopPlan plan{12, {}};
    int candidatesFrom = 0, genStart = 0, born = plan.nFounders;
    auto draw = [&](std::vector<int>& parents, size_t n, int sex) {
        while (parents.size() < n) {
            int i = candidatesFrom + static_cast<int>(rnd() % (born - candidatesFrom));
            if (i % 2 == sex && std::find(parents.begin(), parents.end(), i) == parents.end()) parents.push_back(i);
        }
    };
    for (int g = 1; g <= 6; ++g) {
        GenPlan gp;
        draw(gp.sires, 3, 0);
        draw(gp.dams, 5, 1);
        for (int d = 0; d < 5; ++d)
            for (int k = 0; k < 3; ++k) gp.births.push_back({static_cast<int>(rnd() % 3), d});
        gp.births.push_back({0, kUnknown});
        plan.gens.push_back(gp);
        candidatesFrom = genStart;
        genStart = born;
        born += static_cast<int>(gp.births.size());
    }
    PedigreeRun run({plan});
    run.Run(0, false, false);
    ExpectFMatchesTabular(run);

    std::vector<const SRec*> byId = run.ById();
    DenseMatrix a = RelationshipsById(byId);
    double maxF = 0;
    for (const SRec* r : byId)
        if (r) maxF = std::max(maxF, r->inbF);
    EXPECT_GT(maxF, 0.1);  // the pedigree is inbred enough to exercise the factors

    for (const auto& [id, dFactor] : run.DFactorById()) {
        const SRec* r = byId[id];
        EXPECT_NEAR(dFactor, 0.5 - 0.25 * (r->sire->inbF + r->dam->inbF), 1e-15) << "id " << id;
    }

    // Coancestry of the last sires with the dams of a mating list, twice: work is left clean.
    CPopulation& pop = run.pops[0];
    int ng = pop.prm.ng, nSires = pop.prm.plan[ng].nSires, nDams = pop.prm.plan[ng].nDams;
    std::vector<SMating> matings(nDams);
    for (int j = 0; j < nDams; ++j) matings[j] = {SMD{pop.sires[j % nSires], j % nSires}, SMD{pop.dams[j], j}};
    const int stride = nDams + 2;
    for (int round = 0; round < 2; ++round) {
        std::vector<double> c(static_cast<size_t>(nSires) * stride, -7.0);
        run.inbred.CreateA(&pop, ng, matings.data(), c.data(), stride);
        for (int i = 0; i < nSires; ++i)
            for (int j = 0; j < stride; ++j) {
                double expected = j < nDams ? 0.5 * a[pop.sires[i]->id][pop.dams[j]->id] : -7.0;  // -7: untouched
                EXPECT_NEAR(c[i * stride + j], expected, 1e-12);
            }
    }
}

TEST(Inbreeding, JointPedigreeFollowsFounderCopiesAcrossPopulations)
{
    // Population A: generation 1 holds full sibs 2..5; population B takes the sons 2 and 4 and
    // the daughter 3 as founders (with their pedigree), plus a founder of its own.
    PopPlan planA{2, {FoundersLitters()}};
    PopPlan planB{4, {{{0, 1}, {2, 3}, {{0, 0}, {1, 1}, {1, 0}}}}};
    PedigreeRun run({planA, planB});
    run.Run(0, true, false);

    CPopulation& a = run.pops[0];
    CPopulation& b = run.pops[1];
    const int copied[] = {2, 4, 3};
    for (int i = 0; i < 3; ++i) {
        b.indiv[i] = a.indiv[copied[i]];
        b.indiv[i].gen = 0;
    }
    b.indiv[3].sire = b.indiv[3].dam = UnknownParent();
    b.indiv[1].nMPrg = 9;  // a count the copy gathers in population B
    run.Run(1, true, false);

    EXPECT_DOUBLE_EQ(b.indiv[4].inbF, 0.25);  // son 2 with his full sister 3
    EXPECT_DOUBLE_EQ(b.indiv[5].inbF, 0.0);   // son 4 with B's own founder
    EXPECT_DOUBLE_EQ(b.indiv[6].inbF, 0.25);  // son 4 with his full sister 3
    ExpectFMatchesTabular(run);
    std::vector<std::string> state = run.StateLines();
    long nodes = std::count_if(state.begin(), state.end(), [](const std::string& l) { return l.rfind("node", 0) == 0; });
    EXPECT_EQ(nodes, static_cast<long>(a.indiv.size() + b.indiv.size() - 3));  // copies reuse their sources' nodes

    std::vector<uint8_t> founderFlag(static_cast<size_t>(run.nextId) + 1, 0);
    for (int i : copied) founderFlag[a.indiv[i].id] = 1;
    founderFlag[a.indiv[0].id] = 1;  // a founder of A only: its node points at A's own record
    a.indiv[0].nMPrg = 2;
    run.inbred.UpdateRec(run.pops.data(), &b, founderFlag.data());
    EXPECT_EQ(a.indiv[4].nMPrg, 9);
    EXPECT_EQ(a.indiv[4].gen, 0);
    EXPECT_EQ(a.indiv[0].nMPrg, 2);
    EXPECT_EQ(a.indiv[5].nMPrg, 0);  // not a founder of B
}
