#pragma once
// Minimum s-t cut by augmenting paths found with two search trees, one grown
// from the source and one from the sink, that are repaired rather than rebuilt
// after each augmentation. After a solve, terminal capacities may be changed
// and the next solve starts from the previous flow and trees, so a small
// change of the problem costs a small amount of work.
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace qgdi::segment {

class CMaxFlow {
public:
    using Cap = int32_t;

    // Drops everything and makes `nodes` nodes without edges; room is kept
    // for `edges` edges so that adding them does not reallocate.
    void Reset(int nodes, int edges = 0);
    int Nodes() const noexcept { return static_cast<int>(m_nodes.size()); }

    // An edge i -> j of capacity `cap` and j -> i of `reverse` (both >= 0).
    void AddEdge(int i, int j, Cap cap, Cap reverse);
    // Adds capacities from the source and to the sink of node i (>= 0).
    void AddTerminals(int i, Cap source, Cap sink);
    // After a solve: moves node i's terminal capacities from (oldSource,
    // oldSink) to (source, sink). The flow pushed so far stays; the node is
    // remembered and the next Solve repairs the trees around it.
    void ChangeTerminals(int i, Cap oldSource, Cap oldSink, Cap source, Cap sink);

    // Augments until no path is left. `cancel` is polled now and then; when it
    // returns true the solve stops between augmentations (the flow stays
    // valid, the cut is not yet minimal) and false is returned.
    bool Solve(const std::function<bool()>& cancel = {});
    // The total flow. Changes of terminal capacities add constants to it
    // (capacity both terminals share is flow that cannot be avoided).
    int64_t Flow() const noexcept { return m_flow; }
    // True when node i is on the source side of the minimum cut.
    bool SourceSide(int i) const noexcept {
        const SNode& n = m_nodes[static_cast<size_t>(i)];
        return n.parent != kNone && !n.sink;
    }

private:
    static constexpr int32_t kNone = -1, kTerminal = -2, kOrphan = -3;
    static constexpr int32_t kInfiniteDistance = 0x7fffffff;

    struct SNode {
        int32_t first = -1;   // first outgoing arc
        int32_t parent = kNone;
        int32_t next = -1;    // next in the active queue; itself when last; -1 when not queued
        int32_t stamp = 0;    // time its distance to the terminal was last known
        int32_t distance = 0;
        Cap residual = 0;     // to the sink when negative, from the source when positive
        uint8_t sink = 0;
        uint8_t marked = 0;
    };

    static int32_t Sister(int32_t a) noexcept { return a ^ 1; }
    void SetActive(int32_t i);
    int32_t NextActive();
    void Augment(int32_t middle);
    template <bool kSink>
    void AdoptOrphan(int32_t i);
    void Adopt();
    // Marked nodes back into the trees before a repeated solve.
    void Repair();
    void Start();

    std::vector<SNode> m_nodes;
    std::vector<int32_t> m_head, m_nextArc;
    std::vector<Cap> m_residual;
    std::vector<int32_t> m_marked;
    std::deque<int32_t> m_orphans;
    int32_t m_queueFirst = -1, m_queueLast = -1;
    int32_t m_time = 0;
    int64_t m_flow = 0;
    bool m_solved = false;
};

}  // namespace qgdi::segment
