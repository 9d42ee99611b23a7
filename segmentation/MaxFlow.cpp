#include "segmentation/MaxFlow.h"

#include <algorithm>

namespace qgdi::segment {

void CMaxFlow::Reset(int nodes, int edges) {
    m_nodes.assign(static_cast<size_t>(std::max(nodes, 0)), SNode());
    m_head.clear();
    m_nextArc.clear();
    m_residual.clear();
    m_head.reserve(2 * static_cast<size_t>(std::max(edges, 0)));
    m_nextArc.reserve(2 * static_cast<size_t>(std::max(edges, 0)));
    m_residual.reserve(2 * static_cast<size_t>(std::max(edges, 0)));
    m_marked.clear();
    m_orphans.clear();
    m_queueFirst = m_queueLast = -1;
    m_time = 0;
    m_flow = 0;
    m_solved = false;
}

void CMaxFlow::AddEdge(int i, int j, Cap cap, Cap reverse) {
    const auto a = static_cast<int32_t>(m_head.size());
    m_head.push_back(j);
    m_nextArc.push_back(m_nodes[static_cast<size_t>(i)].first);
    m_residual.push_back(cap);
    m_nodes[static_cast<size_t>(i)].first = a;
    m_head.push_back(i);
    m_nextArc.push_back(m_nodes[static_cast<size_t>(j)].first);
    m_residual.push_back(reverse);
    m_nodes[static_cast<size_t>(j)].first = a + 1;
}

void CMaxFlow::AddTerminals(int i, Cap source, Cap sink) {
    // Only the difference needs an edge: what both terminals give the node
    // flows straight through it.
    SNode& n = m_nodes[static_cast<size_t>(i)];
    if (n.residual > 0) source += n.residual;
    else sink -= n.residual;
    m_flow += std::min(source, sink);
    n.residual = source - sink;
}

void CMaxFlow::ChangeTerminals(int i, Cap oldSource, Cap oldSink, Cap source, Cap sink) {
    Cap ds = source - oldSource, dt = sink - oldSink;
    // Capacity taken away may already carry flow; adding the same amount to
    // both terminals keeps every cut's difference and makes both additions
    // non-negative.
    const Cap shift = std::max<Cap>(0, std::max(-ds, -dt));
    ds += shift;
    dt += shift;
    m_flow -= shift;
    if (ds == 0 && dt == 0) return;
    AddTerminals(i, ds, dt);
    SNode& n = m_nodes[static_cast<size_t>(i)];
    if (!n.marked) {
        n.marked = 1;
        m_marked.push_back(i);
    }
}

void CMaxFlow::SetActive(int32_t i) {
    SNode& n = m_nodes[static_cast<size_t>(i)];
    if (n.next != -1) return;
    if (m_queueLast >= 0) m_nodes[static_cast<size_t>(m_queueLast)].next = i;
    else m_queueFirst = i;
    m_queueLast = i;
    n.next = i;
}

int32_t CMaxFlow::NextActive() {
    while (m_queueFirst >= 0) {
        const int32_t i = m_queueFirst;
        SNode& n = m_nodes[static_cast<size_t>(i)];
        if (n.next == i) m_queueFirst = m_queueLast = -1;
        else m_queueFirst = n.next;
        n.next = -1;
        // A queued node that lost its tree meanwhile is no longer active.
        if (n.parent != kNone) return i;
    }
    return -1;
}

void CMaxFlow::Start() {
    m_queueFirst = m_queueLast = -1;
    m_orphans.clear();
    m_time = 0;
    for (int32_t i = 0; i < Nodes(); ++i) {
        SNode& n = m_nodes[static_cast<size_t>(i)];
        n.next = -1;
        n.marked = 0;
        n.stamp = 0;
        if (n.residual != 0) {
            n.sink = n.residual < 0;
            n.parent = kTerminal;
            n.distance = 1;
            SetActive(i);
        } else {
            n.parent = kNone;
        }
    }
    m_marked.clear();
}

void CMaxFlow::Repair() {
    m_queueFirst = m_queueLast = -1;
    m_orphans.clear();
    ++m_time;
    for (const int32_t i : m_marked) m_nodes[static_cast<size_t>(i)].marked = 1;
    for (const int32_t i : m_marked) {
        SNode& n = m_nodes[static_cast<size_t>(i)];
        n.marked = 0;
        SetActive(i);
        if (n.residual == 0) {
            if (n.parent != kNone) {
                n.parent = kOrphan;
                m_orphans.push_back(i);
            }
            continue;
        }
        const bool toSink = n.residual < 0;
        if (n.parent == kNone || n.sink != toSink) {
            // The node changes trees: neighbours that hung from it lose their
            // parent, neighbours of the other tree may now reach it.
            n.sink = toSink;
            for (int32_t a = n.first; a >= 0; a = m_nextArc[static_cast<size_t>(a)]) {
                const int32_t j = m_head[static_cast<size_t>(a)];
                SNode& o = m_nodes[static_cast<size_t>(j)];
                if (o.marked) continue;
                if (o.parent == Sister(a)) {
                    o.parent = kOrphan;
                    m_orphans.push_back(j);
                }
                const Cap r = toSink ? m_residual[static_cast<size_t>(Sister(a))] : m_residual[static_cast<size_t>(a)];
                if (o.parent != kNone && o.sink != toSink && r > 0) SetActive(j);
            }
        }
        n.parent = kTerminal;
        n.stamp = m_time;
        n.distance = 1;
    }
    m_marked.clear();
    Adopt();
}

void CMaxFlow::Augment(int32_t middle) {
    // Bottleneck along source tree, middle arc and sink tree.
    Cap bottleneck = m_residual[static_cast<size_t>(middle)];
    int32_t i = m_head[static_cast<size_t>(Sister(middle))];
    for (;;) {
        const int32_t a = m_nodes[static_cast<size_t>(i)].parent;
        if (a == kTerminal) break;
        bottleneck = std::min(bottleneck, m_residual[static_cast<size_t>(Sister(a))]);
        i = m_head[static_cast<size_t>(a)];
    }
    bottleneck = std::min(bottleneck, m_nodes[static_cast<size_t>(i)].residual);
    i = m_head[static_cast<size_t>(middle)];
    for (;;) {
        const int32_t a = m_nodes[static_cast<size_t>(i)].parent;
        if (a == kTerminal) break;
        bottleneck = std::min(bottleneck, m_residual[static_cast<size_t>(a)]);
        i = m_head[static_cast<size_t>(a)];
    }
    bottleneck = std::min(bottleneck, -m_nodes[static_cast<size_t>(i)].residual);

    m_residual[static_cast<size_t>(Sister(middle))] += bottleneck;
    m_residual[static_cast<size_t>(middle)] -= bottleneck;
    // Nodes whose link to their parent saturates become orphans, nearest to
    // the middle first.
    i = m_head[static_cast<size_t>(Sister(middle))];
    for (;;) {
        SNode& n = m_nodes[static_cast<size_t>(i)];
        const int32_t a = n.parent;
        if (a == kTerminal) break;
        m_residual[static_cast<size_t>(a)] += bottleneck;
        if ((m_residual[static_cast<size_t>(Sister(a))] -= bottleneck) == 0) {
            n.parent = kOrphan;
            m_orphans.push_front(i);
        }
        i = m_head[static_cast<size_t>(a)];
    }
    if ((m_nodes[static_cast<size_t>(i)].residual -= bottleneck) == 0) {
        m_nodes[static_cast<size_t>(i)].parent = kOrphan;
        m_orphans.push_front(i);
    }
    i = m_head[static_cast<size_t>(middle)];
    for (;;) {
        SNode& n = m_nodes[static_cast<size_t>(i)];
        const int32_t a = n.parent;
        if (a == kTerminal) break;
        m_residual[static_cast<size_t>(Sister(a))] += bottleneck;
        if ((m_residual[static_cast<size_t>(a)] -= bottleneck) == 0) {
            n.parent = kOrphan;
            m_orphans.push_front(i);
        }
        i = m_head[static_cast<size_t>(a)];
    }
    if ((m_nodes[static_cast<size_t>(i)].residual += bottleneck) == 0) {
        m_nodes[static_cast<size_t>(i)].parent = kOrphan;
        m_orphans.push_front(i);
    }
    m_flow += bottleneck;
}

template <bool kSink>
void CMaxFlow::AdoptOrphan(int32_t i) {
    // A new parent must reach the node's terminal through valid links: the
    // one with the shortest known way there keeps trees shallow. Flow runs
    // from parent to child in the source tree and the other way in the sink
    // tree, so the link that must have room is j -> i or i -> j.
    const auto room = [this](int32_t a0) {
        return kSink ? m_residual[static_cast<size_t>(a0)] : m_residual[static_cast<size_t>(Sister(a0))];
    };
    int32_t bestArc = kNone;
    int32_t bestD = kInfiniteDistance;
    SNode& n = m_nodes[static_cast<size_t>(i)];
    for (int32_t a0 = n.first; a0 >= 0; a0 = m_nextArc[static_cast<size_t>(a0)]) {
        if (room(a0) == 0) continue;
        int32_t j = m_head[static_cast<size_t>(a0)];
        if (m_nodes[static_cast<size_t>(j)].sink != kSink || m_nodes[static_cast<size_t>(j)].parent == kNone) continue;
        int32_t d = 0;
        for (;;) {
            SNode& o = m_nodes[static_cast<size_t>(j)];
            if (o.stamp == m_time) {
                d += o.distance;
                break;
            }
            const int32_t a = o.parent;
            ++d;
            if (a == kTerminal) {
                o.stamp = m_time;
                o.distance = 1;
                break;
            }
            if (a == kOrphan) {
                d = kInfiniteDistance;
                break;
            }
            j = m_head[static_cast<size_t>(a)];
        }
        if (d == kInfiniteDistance) continue;
        if (d < bestD) {
            bestArc = a0;
            bestD = d;
        }
        for (j = m_head[static_cast<size_t>(a0)]; m_nodes[static_cast<size_t>(j)].stamp != m_time;
             j = m_head[static_cast<size_t>(m_nodes[static_cast<size_t>(j)].parent)]) {
            m_nodes[static_cast<size_t>(j)].stamp = m_time;
            m_nodes[static_cast<size_t>(j)].distance = d--;
        }
    }
    if (bestArc != kNone) {
        n.parent = bestArc;
        n.stamp = m_time;
        n.distance = bestD + 1;
        return;
    }
    // Free now: neighbours of its tree that could reach it try again, and
    // its children become orphans in turn.
    n.parent = kNone;
    for (int32_t a0 = n.first; a0 >= 0; a0 = m_nextArc[static_cast<size_t>(a0)]) {
        const int32_t j = m_head[static_cast<size_t>(a0)];
        SNode& o = m_nodes[static_cast<size_t>(j)];
        if (o.sink != kSink || o.parent == kNone) continue;
        if (room(a0) > 0) SetActive(j);
        if (o.parent >= 0 && m_head[static_cast<size_t>(o.parent)] == i) {
            o.parent = kOrphan;
            m_orphans.push_back(j);
        }
    }
}

void CMaxFlow::Adopt() {
    while (!m_orphans.empty()) {
        const int32_t i = m_orphans.front();
        m_orphans.pop_front();
        if (m_nodes[static_cast<size_t>(i)].sink) AdoptOrphan<true>(i);
        else AdoptOrphan<false>(i);
    }
}

bool CMaxFlow::Solve(const std::function<bool()>& cancel) {
    if (m_solved) Repair();
    else Start();
    m_solved = true;
    int32_t current = -1;
    uint32_t poll = 0;
    for (;;) {
        if ((++poll & 0xfff) == 0 && cancel && cancel()) {
            // The trees hold no half-done state between augmentations, but the
            // active queue is dropped: mark every tree node so that the next
            // solve looks at all of them again.
            for (int32_t i = 0; i < Nodes(); ++i) {
                SNode& n = m_nodes[static_cast<size_t>(i)];
                n.next = -1;
            }
            m_solved = false;
            return false;
        }
        int32_t i = current;
        if (i >= 0) {
            m_nodes[static_cast<size_t>(i)].next = -1;
            if (m_nodes[static_cast<size_t>(i)].parent == kNone) i = -1;
        }
        if (i < 0 && (i = NextActive()) < 0) break;

        // Grow the node's tree by one layer until it touches the other tree.
        SNode& n = m_nodes[static_cast<size_t>(i)];
        int32_t found = -1;
        for (int32_t a = n.first; a >= 0; a = m_nextArc[static_cast<size_t>(a)]) {
            const Cap r = n.sink ? m_residual[static_cast<size_t>(Sister(a))] : m_residual[static_cast<size_t>(a)];
            if (r == 0) continue;
            const int32_t j = m_head[static_cast<size_t>(a)];
            SNode& o = m_nodes[static_cast<size_t>(j)];
            if (o.parent == kNone) {
                o.sink = n.sink;
                o.parent = Sister(a);
                o.stamp = n.stamp;
                o.distance = n.distance + 1;
                SetActive(j);
            } else if (o.sink != n.sink) {
                found = n.sink ? Sister(a) : a;
                break;
            } else if (o.stamp <= n.stamp && o.distance > n.distance) {
                o.parent = Sister(a);
                o.stamp = n.stamp;
                o.distance = n.distance + 1;
            }
        }
        ++m_time;
        if (found >= 0) {
            // The node may have more paths: keep it current.
            n.next = i;
            current = i;
            Augment(found);
            Adopt();
        } else {
            current = -1;
        }
    }
    return true;
}

}  // namespace qgdi::segment
