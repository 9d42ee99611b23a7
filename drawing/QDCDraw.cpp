// Shapes to pixels: path -> flatten through the device matrix -> scan
// conversion inside the clip -> coverage runs (through the mask) -> fill.
#include <algorithm>
#include <cmath>
#include <new>
#include <unordered_set>
#include <vector>

#include "drawing/DCReceivers.h"
#include "drawing/Region.h"
#include "drawing/QDCLayer.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

using qgdi::drawing::CClipReceiver;
using qgdi::drawing::CMaskReceiver;
using qgdi::drawing::CScaleReceiver;

namespace {

// Sends a one-pixel line's polylines so that every contour ends where it
// began: open ones go out and back, so the converter's closing edge has no length.
bool SendRetraced(VPathIterator* it, VPathReceiver* rx) {
    std::vector<SQPOINT> pts;
    auto flush = [&](bool closed) {
        if (pts.empty()) return true;
        bool ok = rx->MoveTo(pts[0], nullptr);
        for (size_t i = 1; ok && i < pts.size(); ++i) ok = rx->LineTo(pts[i], nullptr);
        if (closed) ok = ok && rx->ClosePath(nullptr);
        else
            for (size_t i = pts.size(); ok && i-- > 1;) ok = rx->LineTo(pts[i - 1], nullptr);
        pts.clear();
        return ok;
    };
    SQPATHCMD c;
    it->Reset();
    while (it->Next(c)) {
        if (c.command == keCmdMoveTo) {
            if (!flush(false)) return false;
            pts.push_back(c.end);
        } else if (c.command == keCmdClosePath) {
            if (!flush(true)) return false;
        } else {
            pts.push_back(c.end);
        }
    }
    return flush(false) && rx->EndPath();
}

// Sends a stroke's outline contours. The converter ORs a turning vertex's
// crossing into its cell, so two turning vertices of the same direction in
// one cell lose a crossing and streak the rest of that grid row. A stroke's
// two sides meet in such pairs at cusps and spikes (the inner side's corner
// points are the outer side's there): a vertex whose cell is taken moves one
// grid row outward, an eighth of a pixel at level 8.
bool SendOutline(VPathIterator* it, VPathReceiver* rx, int scale) {
    std::vector<std::vector<SQPOINT>> contours;
    SQPATHCMD c;
    it->Reset();
    while (it->Next(c)) {
        if (c.command == keCmdMoveTo) contours.emplace_back();
        if (c.command != keCmdClosePath && !contours.empty()) contours.back().push_back(c.end);
    }
    std::unordered_set<uint64_t> taken;
    auto row = [scale](double y) { return int64_t(std::floor(y * scale)); };
    for (auto& pts : contours) {
        const size_t n = pts.size();
        if (n < 3) continue;
        for (size_t i = 0; i < n; ++i) {
            const int64_t r = row(pts[i].y);
            // The nearest rows before and after that differ from this one.
            int64_t before = r, after = r;
            for (size_t k = 1; k < n && before == r; ++k) before = row(pts[(i + n - k) % n].y);
            for (size_t k = 1; k < n && after == r; ++k) after = row(pts[(i + k) % n].y);
            if ((r - before) * (after - r) >= 0) continue;  // not a turn
            const int up = after < r ? 1 : 0;
            const uint64_t column = uint64_t(int64_t(std::floor(pts[i].x * scale)) & 0xFFFFFFF);
            const uint64_t key = (uint64_t(r & 0xFFFFFFF) << 29) | (column << 1) | uint64_t(up);
            if (taken.insert(key).second) continue;
            // Outward: a turn at a top moves up, at a bottom down.
            pts[i].y += (before > r ? -1.0 : 1.0) / scale;
            const int64_t moved = row(pts[i].y);
            taken.insert((uint64_t(moved & 0xFFFFFFF) << 29) | (column << 1) | uint64_t(up));
        }
    }
    if (!rx->BeginPath()) return false;
    for (const auto& pts : contours) {
        if (pts.empty() || !rx->MoveTo(pts[0], nullptr)) return false;
        for (size_t i = 1; i < pts.size(); ++i)
            if (!rx->LineTo(pts[i], nullptr)) return false;
        if (!rx->ClosePath(nullptr)) return false;
    }
    return rx->EndPath();
}

}  // namespace

VPathIteratorRefed* QDCBASIC::MakeStroke(VPathIterator* path, const SStrokeProps& pen, bool& lineDraw) {
    lineDraw = QGDI_ShouldUseLineDraw(pen, m_raster, m_device);
    SQPATH* p = QGDI_PathCreate();
    if (!p) return nullptr;
    if (!QGDI_PathIteratorSend(path, p, true)) {
        p->Unreference();
        return nullptr;
    }
    const double flat = m_raster.pathFlatness;
    if (lineDraw) return QGDI_PathIteratorCreateStroke(p, keQPathHairline, pen, m_device, flat, 0, true);
    if (m_transformStyle) return QGDI_PathIteratorCreateStroke(p, keQPathStroke, pen, m_device, flat, 0, true);
    // The pen lives in the style matrix's space: the centre line is taken
    // there from the device, stroked, and the outline mapped back.
    double inv[9], pre[9];
    if (!QGDI_MatrixGetInverse(m_style, inv)) {
        p->Unreference();
        return QGDI_PathIteratorCreateStroke(QGDI_PathCreate(), keQPathStroke, pen, nullptr, flat, 0, true);
    }
    QGDI_MatrixMultiply(pre, inv, m_device);
    QGDI_PathTransform(p, pre);
    return QGDI_PathIteratorCreateStroke(p, keQPathStroke, pen, m_style, flat, 0, true);
}

CErrorAutoThrow QDCBASIC::Rasterize(VPathIterator* path, bool stroke, VScanReceiver* receiver) {
    if (!path) return QERR(keQuorErrFailed);
    RECT clip;
    if (!ClipIC(clip)) return CErrorAutoThrow();
    // A matrix that squashes the plane (or holds no number) leaves nothing of any area to draw.
    for (double v : m_device)
        if (!std::isfinite(v)) return CErrorAutoThrow();
    if (std::fabs(m_device[0] * m_device[4] - m_device[1] * m_device[3]) < 1e-32) return CErrorAutoThrow();
    CMaskReceiver masked(receiver, m_mask, m_maskOffset);
    VScanReceiver* rx = m_mask ? static_cast<VScanReceiver*>(&masked) : receiver;

    VPathIteratorRefed* outline = nullptr;
    bool lineDraw = false;
    const int strokeScale =
        QGDI_PolygonAntialiasingLevelToScale(m_raster.antialiasingFilter, m_raster.antialiasingLevel, keQPathStroke);
    CScaleReceiver fainter(rx, 256);
    if (stroke) {
        // A pen narrower than two grid cells puts both sides of its outline
        // in the same cells, which the converter cannot tell apart: it is
        // drawn two cells wide and fainter by as much.
        const double* pm = m_transformStyle ? m_device : m_style;
        const double scaleOfPen = m_stroke.widthFlag ? 1.0 : std::sqrt(std::fabs(pm[0] * pm[4] - pm[1] * pm[3]));
        const double deviceWidth = m_stroke.width * scaleOfPen;
        const double minimum = 2.0 / strokeScale;
        const SStrokeProps* pen = &m_stroke;
        SStrokeProps wider;
        if (deviceWidth > 0.0 && deviceWidth < minimum && !QGDI_ShouldUseLineDraw(m_stroke, m_raster, m_device)) {
            wider = m_stroke;
            wider.width = m_stroke.width * minimum / deviceWidth;
            pen = &wider;
            fainter = CScaleReceiver(rx, std::max(1, int(std::lround(256.0 * deviceWidth / minimum))));
            rx = &fainter;
        }
        outline = MakeStroke(path, *pen, lineDraw);
        if (!outline) return QERR(keQuorErrOutOfMemory);
    }
    const EQPATHTYPE type = !stroke ? keQPathFill : lineDraw ? keQPathOutline : keQPathStroke;
    const int scale =
        lineDraw ? 1 : QGDI_PolygonAntialiasingLevelToScale(m_raster.antialiasingFilter, m_raster.antialiasingLevel, type);
    // Outlines of strokes overlap themselves at joins: they are always filled non-zero.
    const EPolyFillMode mode = stroke ? kePolyFillNonZero : m_raster.polyFillMode;
    SQPolygon* poly = QGDI_PolygonCreate(clip, mode, scale, kePolygonTableAuto, type);
    if (!poly) {
        if (outline) outline->Unreference();
        return QERR(keQuorErrOutOfMemory);
    }
    CPolygonPathReceiver prx(poly);
    prx.SetFlatness(m_raster.pathFlatness);
    bool sent;
    if (lineDraw) sent = SendRetraced(outline, &prx);
    else if (outline) sent = SendOutline(outline, &prx, scale);
    else sent = QGDI_PathIteratorSend(path, &prx, false, m_device);
    if (outline) outline->Unreference();
    // A path with NaN or infinite points draws nothing, as an empty one does.
    const bool filled = !sent || poly->Fill(rx, m_raster.antialiasingFilter);
    poly->Unreference();
    return filled ? CErrorAutoThrow() : QERR(keQuorErrFailed);
}

CErrorAutoThrow QDCBASIC::RunFill(VQFILL* fill, const std::function<CErrorAutoThrow(VScanReceiver*)>& send) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    if (!fill) return CErrorAutoThrow();
    QGDI_TRY(fill->Attach(m_dst));
    CErrorAutoThrow r = send(fill->GetScanReceiver());
    fill->Detach();
    QGDI_TRY(std::move(r));
    return fill->IsOk() ? CErrorAutoThrow() : QERR(keQuorErrOutOfMemory);
}

CErrorAutoThrow QDCBASIC::FillPath(VPathIterator* path) {
    QGDI_PROFILE_SCOPE("fill path");
    if (Busy()) return CErrorAutoThrow();
    return RunFill(m_fill, [&](VScanReceiver* rx) { return Rasterize(path, false, rx); });
}

CErrorAutoThrow QDCBASIC::StrokePath(VPathIterator* path) {
    QGDI_PROFILE_SCOPE("stroke path");
    if (Busy() || !IsThereStrokeToRender()) return CErrorAutoThrow();
    return RunFill(m_strokeFill, [&](VScanReceiver* rx) { return Rasterize(path, true, rx); });
}

CErrorAutoThrow QDCBASIC::FillPath(const CQPath& path) {
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(path.GetPath());
    if (!it) return QERR(keQuorErrOutOfMemory);
    CErrorAutoThrow r = FillPath(it);
    it->Unreference();
    return r;
}

CErrorAutoThrow QDCBASIC::StrokePath(const CQPath& path) {
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(path.GetPath());
    if (!it) return QERR(keQuorErrOutOfMemory);
    CErrorAutoThrow r = StrokePath(it);
    it->Unreference();
    return r;
}

namespace {

template <class Fn>
VQRegion* Capture(Fn&& rasterize) {
    try {
        CRegionReceiver rx;
        if (rasterize(&rx) || !rx.IsOk()) return nullptr;
        return rx.GrabRegion();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

VQRegion* QDCBASIC::CreateFillRegion(VPathIterator* path) {
    return Capture([&](VScanReceiver* rx) { return m_dst && Rasterize(path, false, rx).IsError(); });
}

VQRegion* QDCBASIC::CreateStrokeRegion(VPathIterator* path) {
    return Capture(
        [&](VScanReceiver* rx) { return m_dst && IsThereStrokeToRender() && Rasterize(path, true, rx).IsError(); });
}

namespace {

CErrorAutoThrow SendRegion(const VQRegion* region, VScanReceiver* rx, const RECT& clip, EAntialiasingFilter filter) {
    CClipReceiver clipped(rx, clip);
    return region->Fill(&clipped, filter) ? CErrorAutoThrow() : QERR(keQuorErrFailed);
}

CErrorAutoThrow SendMask(const CRowIterator* mask, POINT offset, VScanReceiver* rx, const RECT& clip) {
    if (!mask || !mask->IsAttached()) return QERR(keQuorErrIteratorState);
    if (mask->GetPixelFormat() != keFormatGrey) return QERR(keQuorErrFormatNotSupported);
    CClipReceiver clipped(rx, clip);
    for (int y = 0; y < mask->GetHeight(); ++y) {
        if (y + offset.y < clip.top || y + offset.y >= clip.bottom) continue;
        const uint8_t* row = nullptr;
        QGDI_TRY(mask->GetRow(row, y));
        const bool ok = clipped.AddScanMask(offset.x, y + offset.y, row, mask->GetWidth());
        QGDI_TRY(mask->ReleaseRow(y));
        if (!ok) return QERR(keQuorErrFailed);
    }
    return CErrorAutoThrow();
}

}  // namespace

CErrorAutoThrow QDCBASIC::FillRegionWith(VQFILL* fill, const VQRegion* region) {
    if (!region) return QERR(keQuorErrFailed);
    RECT clip;
    if (Busy() || !ClipIC(clip)) return CErrorAutoThrow();
    return RunFill(fill, [&](VScanReceiver* rx) {
        CMaskReceiver masked(rx, m_mask, m_maskOffset);
        return SendRegion(region, m_mask ? &masked : rx, clip, m_raster.antialiasingFilter);
    });
}

CErrorAutoThrow QDCBASIC::FillMaskWith(VQFILL* fill, const CRowIterator* mask, POINT offset) {
    RECT clip;
    if (Busy() || !ClipIC(clip)) return CErrorAutoThrow();
    return RunFill(fill, [&](VScanReceiver* rx) { return SendMask(mask, offset, rx, clip); });
}

CErrorAutoThrow QDCBASIC::FillFillRegion(const VQRegion* region) { return FillRegionWith(m_fill, region); }
CErrorAutoThrow QDCBASIC::FillStrokeRegion(const VQRegion* region) { return FillRegionWith(m_strokeFill, region); }
CErrorAutoThrow QDCBASIC::FillFillMask(const CRowIterator* mask, POINT offset) { return FillMaskWith(m_fill, mask, offset); }
CErrorAutoThrow QDCBASIC::FillStrokeMask(const CRowIterator* mask, POINT offset) {
    return FillMaskWith(m_strokeFill, mask, offset);
}

CErrorAutoThrow QDCBASIC::FillRect(const SQRECT& rect) {
    if (Busy()) return CErrorAutoThrow();
    const uint32_t flags = QGDI_MatrixFlagGet(m_device);
    if (flags & (keMatrixFlagShearX | keMatrixFlagShearY | keMatrixFlagProjective)) {
        CQPath p;
        if (!p.CreateRect(rect)) return QERR(keQuorErrOutOfMemory);
        return FillPath(p);
    }
    // Upright: the exact coverage of the rectangle, no scan conversion.
    SQRECT r = rect;
    QGDI_MatrixTransform(m_device, r);
    if (!(r.right > r.left) || !(r.bottom > r.top)) return CErrorAutoThrow();
    RECT clip;
    if (!ClipIC(clip)) return CErrorAutoThrow();
    r.left = std::max(r.left, double(clip.left));
    r.top = std::max(r.top, double(clip.top));
    r.right = std::min(r.right, double(clip.right));
    r.bottom = std::min(r.bottom, double(clip.bottom));
    if (!(r.right > r.left) || !(r.bottom > r.top)) return CErrorAutoThrow();
    CQRegionRect* region = QGDI_RegionCreateRect(r);
    if (!region) return QERR(keQuorErrOutOfMemory);
    CErrorAutoThrow result = RunFill(m_fill, [&](VScanReceiver* rx) {
        CMaskReceiver masked(rx, m_mask, m_maskOffset);
        return SendRegion(region, m_mask ? &masked : rx, clip, m_raster.antialiasingFilter);
    });
    region->Unreference();
    return result;
}

CErrorAutoThrow QDCBASIC::FillCanvas() {
    RECT clip;
    if (Busy() || !ClipIC(clip)) return CErrorAutoThrow();
    return RunFill(m_fill, [&](VScanReceiver* rx) {
        CMaskReceiver masked(rx, m_mask, m_maskOffset);
        VScanReceiver* to = m_mask ? &masked : rx;
        return to->AddScanRect(clip.left, clip.top, clip.right - clip.left, clip.bottom - clip.top, 255)
                   ? CErrorAutoThrow()
                   : QERR(keQuorErrFailed);
    });
}
