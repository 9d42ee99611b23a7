#include "drawing/Stroke.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "drawing/StrokeOutline.h"
#include "geometry/MatrixFunctions.h"

namespace {

constexpr double kTol = 1e-6;
inline bool Near(double a, double b) noexcept { return std::fabs(a - b) < kTol; }

// The outline, built whole at creation like the other streams: replaying it
// (fill mask, then bounds) costs nothing more.
class CStrokeCommands final : public VPathIteratorRefed {
public:
    std::vector<SQPATHCMD> cmds;
    size_t pos = 0;
    int contours = 0;

    bool Next(SQPATHCMD& cmd) override {
        if (pos >= cmds.size()) return false;
        cmd = cmds[pos++];
        return true;
    }
    void Reset() override { pos = 0; }
    int GetContourCount() const override { return contours; }
    bool IsContourClosed(int contour) const override { return contour >= 0 && contour < contours; }

    void Push(int32_t command, const SQPOINT& p) {
        SQPATHCMD c{};
        c.command = command;
        c.end = p;
        c.contour = contours;
        cmds.push_back(c);
    }
    // One closed outline, mapped to device space; repeated points dropped.
    void AddContour(const std::vector<SQPOINT>& pts, const double* m) {
        if (pts.size() < 3) return;
        const size_t first = cmds.size();
        SQPOINT last{NAN, NAN};
        for (SQPOINT p : pts) {
            if (m) QGDI_MatrixTransform(m, p);
            if (p.x == last.x && p.y == last.y) continue;
            Push(cmds.size() == first ? keCmdMoveTo : keCmdLineTo, p);
            last = p;
        }
        if (cmds.size() - first < 3) {
            cmds.resize(first);
            return;
        }
        Push(keCmdClosePath, cmds[first].end);
        ++contours;
    }
};

struct SPolyline {
    std::vector<SQPOINT> pts;
    bool closed = false;
    bool drawn = false;  // a bare MoveTo draws nothing; a zero-length segment does
};

// Polylines of a flattened stream (MoveTo / LineTo / ClosePath only).
void ReadPolylines(VPathIterator* it, std::vector<SPolyline>& out) {
    SQPATHCMD c;
    it->Reset();
    while (it->Next(c)) {
        if (c.command == keCmdMoveTo || out.empty()) {
            out.emplace_back();
            out.back().pts.push_back(c.end);
            continue;
        }
        SPolyline& p = out.back();
        p.drawn = true;
        if (c.command == keCmdClosePath) {
            p.closed = true;
            // What follows a close starts from the contour's start.
            out.push_back(SPolyline{{p.pts.front()}, false, false});
        } else {
            p.pts.push_back(c.end);
        }
    }
}

// How the pen maps to the device: outlines are built where the pen is round
// (user space for a scaling matrix) and mapped afterwards.
struct SPenSpace {
    const double* flattenMatrix;  // matrix the centre line is flattened through
    const double* outlineMatrix;  // matrix the outline is mapped through
    double flatness;              // squared distance in the stroking space
    double halfWidth;
    bool visible;
};

SPenSpace PenSpace(const SStrokeProps& props, const double* matrix, double flatness, uint32_t flags) noexcept {
    SPenSpace s{matrix, nullptr, flatness, 0.5 * props.width, true};
    const uint32_t mf = QGDI_MatrixFlagGet(matrix);
    const bool deviceWidth = props.widthFlag || (flags & keStrokeFlagDeviceWidth);
    if (deviceWidth || (mf & ~uint32_t(keMatrixFlagTranslate)) == 0) return s;
    if (mf & keMatrixFlagProjective) {
        // No single pen shape exists under perspective: the width is scaled by
        // the matrix's mean scale and the outline built on the device.
        s.halfWidth *= std::sqrt(std::fabs(QGDI_MatrixGetDeterminant(matrix)));
        return s;
    }
    const double det = matrix[0] * matrix[4] - matrix[1] * matrix[3];
    if (std::fabs(det) < 1e-32) {
        s.visible = false;  // the pen is squashed to nothing
        return s;
    }
    // The largest stretch of the linear part bounds how far a user-space
    // deviation can grow on the device.
    const double a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
    const double t = a * a + b * b + c * c + d * d;
    const double smax2 = 0.5 * (t + std::sqrt(std::max(0.0, t * t - 4.0 * det * det)));
    s.flattenMatrix = nullptr;
    s.outlineMatrix = matrix;
    s.flatness = flatness / smax2;
    return s;
}

VPathIteratorRefed* StrokePolylines(std::vector<SPolyline>& polys, const std::vector<SPolyline>* originals,
                                    const SStrokeProps& props, const SPenSpace& space) {
    CStrokeCommands* out = new (std::nothrow) CStrokeCommands();
    if (!out) return nullptr;
    try {
        if (space.visible && space.halfWidth > 0.0 && std::isfinite(space.halfWidth)) {
            qgdi::drawing::CStrokeOutliner outliner(props, space.halfWidth, std::sqrt(space.flatness));
            std::vector<std::vector<SQPOINT>> contours;
            auto isEnd = [&](const SQPOINT& p, bool start) {
                if (!originals) return true;
                for (const SPolyline& o : *originals) {
                    if (o.closed || o.pts.empty()) continue;
                    const SQPOINT& q = start ? o.pts.front() : o.pts.back();
                    if (q.x == p.x && q.y == p.y) return true;
                }
                return false;
            };
            for (const SPolyline& p : polys) {
                if (!p.drawn) continue;
                contours.clear();
                const ELineCapPos cs = isEnd(p.pts.front(), true) ? keLineCapPosStart : keLineCapPosDashStart;
                const ELineCapPos ce = isEnd(p.pts.back(), false) ? keLineCapPosEnd : keLineCapPosDashEnd;
                outliner.Stroke(p.pts, p.closed, cs, ce, contours);
                for (const auto& c : contours) out->AddContour(c, space.outlineMatrix);
            }
        }
    } catch (const std::bad_alloc&) {
        out->Unreference();
        return nullptr;
    }
    return out;
}

}  // namespace

bool SLineCapProps::operator==(const SLineCapProps& o) const noexcept {
    return type == o.type && Near(xScale, o.xScale) && Near(yScale, o.yScale);
}

SStrokeProps::~SStrokeProps() { delete[] dash; }

SStrokeProps::SStrokeProps(const SStrokeProps& o)
    : lineJoin(o.lineJoin), width(o.width), widthFlag(o.widthFlag), miterLimit(o.miterLimit) {
    std::copy(o.caps, o.caps + keLineCapPosCount, caps);
    if (!SetDash(o.dash, o.dashCount, o.dashOffset)) throw std::bad_alloc();
}

SStrokeProps& SStrokeProps::operator=(const SStrokeProps& o) {
    if (this == &o) return *this;
    if (!SetDash(o.dash, o.dashCount, o.dashOffset)) throw std::bad_alloc();
    lineJoin = o.lineJoin;
    std::copy(o.caps, o.caps + keLineCapPosCount, caps);
    width = o.width;
    widthFlag = o.widthFlag;
    miterLimit = o.miterLimit;
    return *this;
}

bool SStrokeProps::operator==(const SStrokeProps& o) const noexcept {
    if (!Near(width, o.width) || !Near(miterLimit, o.miterLimit) || !Near(dashOffset, o.dashOffset)) return false;
    if (lineJoin != o.lineJoin || widthFlag != o.widthFlag || dashCount != o.dashCount) return false;
    for (int i = 0; i < dashCount; ++i)
        if (!Near(dash[i], o.dash[i])) return false;
    for (int i = 0; i < keLineCapPosCount; ++i)
        if (caps[i] != o.caps[i]) return false;
    return true;
}

bool SStrokeProps::SetDash(const double* lengths, int count, double offset) {
    if (!lengths || count < 0) count = 0;
    double* copy = nullptr;
    if (count > 0) {
        copy = new (std::nothrow) double[size_t(count)];
        if (!copy) return false;
        std::memcpy(copy, lengths, sizeof(double) * size_t(count));
    }
    delete[] dash;
    dash = copy;
    dashCount = count;
    dashOffset = offset;
    return true;
}

VPathIteratorRefed* QGDI_PathIteratorCreateStroke(SQPATH* path, EQPATHTYPE type, const SStrokeProps& props,
                                                  const double* matrix, double flatness, uint32_t flags,
                                                  bool takeOwnership) {
    struct SRelease {
        SQPATH* p;
        bool own;
        ~SRelease() {
            if (own && p) p->Unreference();
        }
    } release{path, takeOwnership};
    if (!path) return nullptr;
    if (!(flatness > 0.0)) flatness = QGDI_GetFlatnessFactor();
    if (type == keQPathHairline || type == keQPathOutline) return QGDI_PathIteratorCreateFlat(path, flatness, matrix);

    const SPenSpace space = PenSpace(props, matrix, flatness, flags);
    const bool dashed = props.dashCount > 0 && props.dash;
    VPathIteratorRefed* flat = nullptr;
    if (dashed) {
        const SQDASH d{props.dash, props.dashCount, props.dashOffset};
        flat = QGDI_PathIteratorCreateDash(path, &d, space.flatness, space.flattenMatrix);
    } else {
        flat = QGDI_PathIteratorCreateFlat(path, space.flatness, space.flattenMatrix);
    }
    if (!flat) return nullptr;
    try {
        std::vector<SPolyline> polys, originals;
        ReadPolylines(flat, polys);
        flat->Unreference();
        flat = nullptr;
        // Dash ends that are the contours' own ends take the start and end
        // caps; telling them apart needs the undashed centre line.
        const bool capsDiffer = props.caps[keLineCapPosStart] != props.caps[keLineCapPosDashStart] ||
                                props.caps[keLineCapPosEnd] != props.caps[keLineCapPosDashEnd];
        if (dashed && capsDiffer) {
            VPathIteratorRefed* whole = QGDI_PathIteratorCreateFlat(path, space.flatness, space.flattenMatrix);
            if (!whole) return nullptr;
            ReadPolylines(whole, originals);
            whole->Unreference();
        }
        return StrokePolylines(polys, dashed && capsDiffer ? &originals : nullptr, props, space);
    } catch (const std::bad_alloc&) {
        if (flat) flat->Unreference();
        return nullptr;
    }
}

VPathIteratorRefed* QGDI_PolylineIteratorCreateStroke(const SQPOINT* points, int count, bool closed,
                                                      const SStrokeProps& props, const double* matrix,
                                                      double flatness, uint32_t flags) {
    if (!points || count < 1) return nullptr;
    if (!(flatness > 0.0)) flatness = QGDI_GetFlatnessFactor();
    const SPenSpace space = PenSpace(props, matrix, flatness, flags);
    try {
        std::vector<SPolyline> polys(1);
        polys[0].pts.assign(points, points + count);
        polys[0].closed = closed;
        polys[0].drawn = true;
        if (space.flattenMatrix)
            for (SQPOINT& p : polys[0].pts) QGDI_MatrixTransform(space.flattenMatrix, p);
        if (props.dashCount > 0 && props.dash) {
            // The dash walk lives with the path iterators: hand it the polyline as a path.
            SQPATH* path = QGDI_PathCreate();
            if (!path) return nullptr;
            path->MoveTo(polys[0].pts[0], nullptr);
            for (int i = 1; i < count; ++i) path->LineTo(polys[0].pts[size_t(i)], nullptr);
            if (closed) path->ClosePath(nullptr);
            SStrokeProps device = props;
            return QGDI_PathIteratorCreateStroke(path, keQPathStroke, device, space.outlineMatrix ? matrix : nullptr,
                                                 flatness, flags | (space.outlineMatrix ? 0u : keStrokeFlagDeviceWidth),
                                                 true);
        }
        return StrokePolylines(polys, nullptr, props, space);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

bool QGDI_ShouldUseLineDraw(const SStrokeProps& props, const SRasterProps& raster, const double* matrix) noexcept {
    if (!raster.lineDraw) return false;
    if (props.dash || props.dashCount > 0) return false;
    if (!(props.width <= 1.0)) return false;
    if (!QGDI_MatrixIsTranslateOnly(matrix) && !props.widthFlag) return false;
    if (raster.antialiasingLevel != 1) return false;
    for (const SLineCapProps& c : props.caps)
        if (c.type != keLineCapButt && c.type != keLineCapRound && c.type != keLineCapSquare) return false;
    return true;
}

bool QGDI_GetMiterVector(SQPOINT& out, double distance, const SQPOINT& previous, const SQPOINT& vertex,
                         const SQPOINT& next) noexcept {
    const double l1 = std::hypot(vertex.x - previous.x, vertex.y - previous.y);
    const double l2 = std::hypot(vertex.x - next.x, vertex.y - next.y);
    if (!(l1 >= 1e-6) || !(l2 >= 1e-6)) return false;
    const double mx = (vertex.x - previous.x) / l1 + (vertex.x - next.x) / l2;
    const double my = (vertex.y - previous.y) / l1 + (vertex.y - next.y) / l2;
    const double lm = std::hypot(mx, my);
    if (!(lm >= 1e-6)) return false;
    out = SQPOINT{distance * mx / lm, distance * my / lm};
    return true;
}
