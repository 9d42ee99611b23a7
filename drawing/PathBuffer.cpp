#include "drawing/PathBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "geometry/MatrixFunctions.h"

VPathIterator::~VPathIterator() = default;
VPathInfo::~VPathInfo() = default;

bool QGDI_PathCmdSend(VPathReceiver* r, const SQPATHCMD& c, const double* m) {
    switch (c.command) {
    case keCmdMoveTo: return r->MoveTo(c.end, m);
    case keCmdLineTo: return r->LineTo(c.end, m);
    case keCmdQuadraticCurveTo: return r->QuadraticCurveTo(c.a, c.end, m);
    case keCmdCubicCurveTo: return r->CubicCurveTo(c.a, c.b, c.end, m);
    case keCmdArcTo: return r->ArcTo(c.a, c.arc.rotation, c.arc.largeArc != 0, c.arc.sweep != 0, c.end, m);
    case keCmdClosePath: return r->ClosePath(m);
    default: return false;
    }
}

bool QGDI_PathIteratorSend(VPathIterator* it, VPathReceiver* r, bool noHooks, const double* matrix) {
    if (!r) return false;
    if (!noHooks && !r->BeginPath()) return false;
    if (it) {
        it->Reset();
        SQPATHCMD cmd;
        while (it->Next(cmd))
            if (!QGDI_PathCmdSend(r, cmd, matrix)) return false;
    }
    return noHooks || r->EndPath();
}

namespace {
SQPOINT Mapped(const SQPOINT& p, const double* m) noexcept {
    SQPOINT q = p;
    if (m) QGDI_MatrixTransform(m, q);
    return q;
}
}  // namespace

CQPathBuffer::~CQPathBuffer() { delete[] m_cmds; }

bool CQPathBuffer::Create(int capacity) {
    delete[] m_cmds;
    m_cmds = nullptr;
    m_capacity = m_used = m_contour = m_maxContour = m_read = 0;
    m_closed = false;
    if (capacity < 1) return true;
    m_cmds = new (std::nothrow) SQPATHCMD[size_t(capacity)];
    if (!m_cmds) return false;
    m_capacity = capacity;
    return true;
}

SQPATHCMD* CQPathBuffer::Slot() noexcept {
    if (m_used >= m_capacity) return nullptr;
    SQPATHCMD* c = m_cmds + m_used;
    std::memset(static_cast<void*>(c), 0, sizeof *c);
    c->contour = m_contour;
    return c;
}


bool CQPathBuffer::MoveTo(const SQPOINT& point, const double* matrix) {
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdMoveTo;
    c->end = Mapped(point, matrix);
    ++m_used;
    m_start = m_current = point;
    return true;
}

bool CQPathBuffer::LineTo(const SQPOINT& point, const double* matrix) {
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdLineTo;
    c->end = Mapped(point, matrix);
    ++m_used;
    m_current = point;
    return true;
}

bool CQPathBuffer::ClosePath(const double* matrix) {
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdClosePath;
    c->end = Mapped(m_start, matrix);
    ++m_used;
    m_current = m_start;
    return true;
}

bool CQPathBuffer::QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix) {
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdQuadraticCurveTo;
    c->a = Mapped(control, matrix);
    c->end = Mapped(end, matrix);
    ++m_used;
    m_current = end;
    return true;
}

bool CQPathBuffer::CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end,
                                const double* matrix) {
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdCubicCurveTo;
    c->a = Mapped(control1, matrix);
    c->b = Mapped(control2, matrix);
    c->end = Mapped(end, matrix);
    ++m_used;
    m_current = end;
    return true;
}

bool CQPathBuffer::ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
                         const double* matrix) {
    // A mapped arc is generally no longer the arc the record could describe:
    // it is kept as the cubics it becomes.
    if (QGDI_MatrixFlagGet(matrix) != 0) return VPathReceiver::ArcTo(radii, rotation, largeArc, sweep, end, matrix);
    SQPATHCMD* c = Slot();
    if (!c) return false;
    c->command = keCmdArcTo;
    c->a = radii;
    c->arc.rotation = rotation;
    c->arc.sweep = sweep ? 1 : 0;
    c->arc.largeArc = largeArc ? 1 : 0;
    c->end = end;
    ++m_used;
    m_current = end;
    return true;
}

bool CQPathBuffer::Next(SQPATHCMD& cmd) {
    if (m_read >= m_used) return false;
    cmd = m_cmds[m_read++];
    return true;
}

void CQPathBuffer::Reset() {
    m_read = 0;
    m_closed = false;
}

bool CQPathBuffer::IsContourClosed(int contour) const {
    for (int i = 0; i < m_used; ++i)
        if (m_cmds[i].command == keCmdClosePath && m_cmds[i].contour == contour) return true;
    return false;
}

void CQPathBuffer::SetContour(int n) noexcept {
    m_contour = n;
    if (n > m_maxContour) m_maxContour = n;
}

bool CQPathBuffer::Add(const SQPATHCMD& cmd) noexcept {
    if (m_used >= m_capacity) return false;
    m_cmds[m_used++] = cmd;
    return true;
}

bool CMeasurePathReceiver::LineTo(const SQPOINT& point, const double* matrix) {
    m_current = point;
    AddPoint(Mapped(point, matrix));
    return true;
}

void CMeasurePathReceiver::AddPoint(const SQPOINT& p) noexcept {
    if (!m_has) {
        m_rect = SQRECT{p.x, p.y, p.x, p.y};
        m_has = true;
        return;
    }
    m_rect.left = std::min(m_rect.left, p.x);
    m_rect.top = std::min(m_rect.top, p.y);
    m_rect.right = std::max(m_rect.right, p.x);
    m_rect.bottom = std::max(m_rect.bottom, p.y);
}

void CMeasurePathReceiver::Reset() noexcept {
    m_rect = SQRECT{0.0, 0.0, 0.0, 0.0};
    m_has = false;
    m_start = m_current = SQPOINT{0.0, 0.0};
}
