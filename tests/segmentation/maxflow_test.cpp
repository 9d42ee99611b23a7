// The search-tree solver against a plain shortest-augmenting-path solver on
// small random graphs, fresh and after terminal capacities change.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <queue>
#include <random>
#include <vector>

#include "segmentation/MaxFlow.h"

using qgdi::segment::CMaxFlow;

namespace {

struct SGraph {
    int n;  // nodes 0..n-1; source n, sink n+1
    std::vector<std::vector<int64_t>> cap;
};

// Edmonds-Karp over a dense capacity matrix.
int64_t ReferenceMaxFlow(SGraph g) {
    const int s = g.n, t = g.n + 1, m = g.n + 2;
    int64_t total = 0;
    for (;;) {
        std::vector<int> prev(size_t(m), -1);
        prev[size_t(s)] = s;
        std::queue<int> q;
        q.push(s);
        while (!q.empty() && prev[size_t(t)] < 0) {
            const int u = q.front();
            q.pop();
            for (int v = 0; v < m; ++v)
                if (prev[size_t(v)] < 0 && g.cap[size_t(u)][size_t(v)] > 0) {
                    prev[size_t(v)] = u;
                    q.push(v);
                }
        }
        if (prev[size_t(t)] < 0) return total;
        int64_t b = INT64_MAX;
        for (int v = t; v != s; v = prev[size_t(v)]) b = std::min(b, g.cap[size_t(prev[size_t(v)])][size_t(v)]);
        for (int v = t; v != s; v = prev[size_t(v)]) {
            g.cap[size_t(prev[size_t(v)])][size_t(v)] -= b;
            g.cap[size_t(v)][size_t(prev[size_t(v)])] += b;
        }
        total += b;
    }
}

// The capacity of the cut the solver reports.
int64_t CutValue(const SGraph& g, const CMaxFlow& f) {
    const int s = g.n, t = g.n + 1;
    auto side = [&](int v) { return v == s ? true : v == t ? false : f.SourceSide(v); };
    int64_t c = 0;
    for (int u = 0; u < g.n + 2; ++u)
        for (int v = 0; v < g.n + 2; ++v)
            if (side(u) && !side(v)) c += g.cap[size_t(u)][size_t(v)];
    return c;
}

struct SCase {
    int nodes, edgePercent, maxCap, seed;
};

class MaxFlowRandom : public ::testing::TestWithParam<SCase> {};

TEST_P(MaxFlowRandom, MatchesAugmentingPathsAndItsCut) {
    const SCase c = GetParam();
    std::mt19937 rng(uint32_t(c.seed));
    std::uniform_int_distribution<int> capDist(0, c.maxCap), pct(0, 99);
    for (int trial = 0; trial < 40; ++trial) {
        SGraph g{c.nodes, std::vector<std::vector<int64_t>>(size_t(c.nodes + 2), std::vector<int64_t>(size_t(c.nodes + 2), 0))};
        CMaxFlow f;
        f.Reset(c.nodes);
        for (int i = 0; i < c.nodes; ++i)
            for (int j = i + 1; j < c.nodes; ++j)
                if (pct(rng) < c.edgePercent) {
                    const int a = capDist(rng), b = capDist(rng);
                    g.cap[size_t(i)][size_t(j)] += a;
                    g.cap[size_t(j)][size_t(i)] += b;
                    f.AddEdge(i, j, a, b);
                }
        std::vector<int> src(size_t(c.nodes)), snk(size_t(c.nodes));
        for (int i = 0; i < c.nodes; ++i) {
            src[size_t(i)] = pct(rng) < 50 ? capDist(rng) : 0;
            snk[size_t(i)] = pct(rng) < 50 ? capDist(rng) : 0;
            f.AddTerminals(i, src[size_t(i)], snk[size_t(i)]);
            g.cap[size_t(c.nodes)][size_t(i)] = src[size_t(i)];
            g.cap[size_t(i)][size_t(c.nodes + 1)] = snk[size_t(i)];
        }
        ASSERT_TRUE(f.Solve());
        ASSERT_EQ(f.Flow(), ReferenceMaxFlow(g)) << "trial " << trial;
        ASSERT_EQ(CutValue(g, f), f.Flow()) << "trial " << trial;

        // Several rounds of changed terminals, each solved from the last state.
        for (int round = 0; round < 4; ++round) {
            for (int i = 0; i < c.nodes; ++i) {
                if (pct(rng) < 60) continue;
                const int ns = pct(rng) < 50 ? capDist(rng) : 0, nt = pct(rng) < 50 ? capDist(rng) : 0;
                f.ChangeTerminals(i, src[size_t(i)], snk[size_t(i)], ns, nt);
                src[size_t(i)] = ns;
                snk[size_t(i)] = nt;
                g.cap[size_t(c.nodes)][size_t(i)] = ns;
                g.cap[size_t(i)][size_t(c.nodes + 1)] = nt;
            }
            ASSERT_TRUE(f.Solve());
            ASSERT_EQ(f.Flow(), ReferenceMaxFlow(g)) << "trial " << trial << " round " << round;
            ASSERT_EQ(CutValue(g, f), f.Flow()) << "trial " << trial << " round " << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Graphs, MaxFlowRandom,
                         ::testing::Values(SCase{2, 100, 5, 1}, SCase{6, 50, 3, 2}, SCase{10, 30, 10, 3},
                                           SCase{12, 80, 100, 4}, SCase{20, 15, 1, 5}, SCase{30, 10, 1000, 6}));

TEST(MaxFlow, CancelledSolveResumes) {
    // A chain the cancel poll sees many times over.
    const int n = 20000;
    CMaxFlow f;
    f.Reset(n);
    for (int i = 0; i + 1 < n; ++i) f.AddEdge(i, i + 1, 1 + i % 7, 1 + i % 5);
    for (int i = 0; i < n; i += 2) f.AddTerminals(i, 3, 0);
    for (int i = 1; i < n; i += 2) f.AddTerminals(i, 0, 2);
    int polls = 0;
    EXPECT_FALSE(f.Solve([&] { return ++polls == 1; }));
    ASSERT_TRUE(f.Solve());
    CMaxFlow g;
    g.Reset(n);
    for (int i = 0; i + 1 < n; ++i) g.AddEdge(i, i + 1, 1 + i % 7, 1 + i % 5);
    for (int i = 0; i < n; i += 2) g.AddTerminals(i, 3, 0);
    for (int i = 1; i < n; i += 2) g.AddTerminals(i, 0, 2);
    ASSERT_TRUE(g.Solve());
    EXPECT_EQ(f.Flow(), g.Flow());
}

}  // namespace
