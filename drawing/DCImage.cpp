// Images and whole-area operations of the context: an image drawn through a
// matrix (resampled, edges anti-aliased by the scan converter), the
// checkerboard under transparency, scrolling, row operations on areas.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "QuorRender/PixelResampler.h"
#include "QuorRender/RowOpApply.h"
#include "QuorRender/RowOpBlend.h"
#include "drawing/DCReceivers.h"
#include "drawing/QDCLayer.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {

// Composites resampled image pixels under the coverage of the image's
// outline: for each run, the source positions of the pixel centres step by
// the inverse matrix's columns, so a run is one SampleSpan and one blend.
class CImageReceiver final : public VScanReceiver {
public:
    CImageReceiver(CRowIterator* dst, const CPixelResampler& sampler, EQPixelFormat srcFormat, const double* inv,
                   const CRowOpDef* def)
        : m_dst(dst), m_sampler(sampler), m_inv(inv) {
        m_srcBytes = size_t(CQPixelFormat(srcFormat).GetBitsPerPixel() / 8);
        m_dstBits = size_t(CQPixelFormat(dst->GetPixelFormat()).GetBitsPerPixel());
        m_data.eDstFormat = dst->GetPixelFormat();
        m_data.eSrcFormat = srcFormat;
        m_data.nImageWidth = dst->GetWidth();
        m_data.nImageHeight = dst->GetHeight();
        m_data.nCount = 1;
        m_op.Attach(def, m_data);
    }
    bool AddScan(int x, int y, int coverage, int length) override { return Run(x, y, length, nullptr, coverage); }
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override { return Run(x, y, length, mask, 0); }
    bool ok = true;

private:
    bool Run(int x, int y, int length, const uint8_t* mask, int coverage) {
        if (length <= 0 || y < 0 || y >= m_dst->GetHeight()) return true;
        // Image positions in 1/256 pixel, pixel centres at whole numbers.
        const double cx = x + 0.5, cy = y + 0.5;
        const double w = m_inv[6] * cx + m_inv[7] * cy + m_inv[8];
        const double u = (m_inv[0] * cx + m_inv[1] * cy + m_inv[2]) / w - 0.5;
        const double v = (m_inv[3] * cx + m_inv[4] * cy + m_inv[5]) / w - 0.5;
        const double lim = 1e9;
        if (!(std::fabs(u) < lim && std::fabs(v) < lim)) return true;
        m_src.resize(m_srcBytes * size_t(length));
        if (!m_sampler.SampleSpan(int32_t(std::lround(u * 256)), int32_t(std::lround(v * 256)),
                                  int32_t(std::lround(m_inv[0] * 256)), int32_t(std::lround(m_inv[3] * 256)), length,
                                  m_src.data()))
            return ok = false;
        uint8_t* row = nullptr;
        if (m_dst->GetRow(row, y).IsError() || !row) return ok = false;
        m_data.pDst = row + size_t(x) * m_dstBits / 8;
        m_data.pSrc = m_src.data();
        m_data.nCount = length;
        m_data.x = x;
        m_data.y = y;
        const CErrorAutoThrow r = mask ? m_op.SpanMasked(m_data, mask) : m_op.Span(m_data, uint8_t(coverage));
        m_dst->ReleaseRow(y).Ignore();
        if (r.IsError()) ok = false;
        return ok;
    }

    CRowIterator* m_dst;
    const CPixelResampler& m_sampler;
    const double* m_inv;
    size_t m_srcBytes = 4, m_dstBits = 32;
    CRowOpData m_data;
    CRowOp m_op;
    std::vector<uint8_t> m_src;
};

// Runs a row operation under coverage.
class COpReceiver final : public VScanReceiver {
public:
    COpReceiver(CRowIterator* dst, const CRowOpDef& def) : m_dst(dst) {
        m_bits = size_t(CQPixelFormat(dst->GetPixelFormat()).GetBitsPerPixel());
        m_data.eDstFormat = dst->GetPixelFormat();
        m_data.nImageWidth = dst->GetWidth();
        m_data.nImageHeight = dst->GetHeight();
        m_data.nCount = 1;
        m_op.Attach(&def, m_data);
    }
    bool AddScan(int x, int y, int coverage, int length) override { return Run(x, y, length, nullptr, coverage); }
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override { return Run(x, y, length, mask, 0); }

private:
    bool Run(int x, int y, int length, const uint8_t* mask, int coverage) {
        uint8_t* row = nullptr;
        if (m_dst->GetRow(row, y).IsError() || !row) return false;
        m_data.pDst = row + size_t(x) * m_bits / 8;
        m_data.nCount = length;
        m_data.x = x;
        m_data.y = y;
        const CErrorAutoThrow r = mask ? m_op.SpanMasked(m_data, mask) : m_op.Span(m_data, uint8_t(coverage));
        m_dst->ReleaseRow(y).Ignore();
        return !r.IsError();
    }
    CRowIterator* m_dst;
    size_t m_bits;
    CRowOpData m_data;
    CRowOp m_op;
};

}  // namespace

CErrorAutoThrow QDCBASIC::DrawImageWC(const CRowIterator* image, const double* matrix, EQResampleMode mode) {
    if (!image || !image->IsAttached()) return QERR(keQuorErrIteratorState);
    if (!m_dst) return QERR(keQuorErrIteratorState);
    if (Busy()) return CErrorAutoThrow();
    double toDevice[9], inv[9];
    QGDI_MatrixMultiply(toDevice, m_device, matrix);
    if (!QGDI_MatrixGetInverse(toDevice, inv)) return CErrorAutoThrow();  // squashed flat: nothing shows
    CPixelResampler sampler(mode, keEdgeClamp);
    QGDI_TRY(sampler.Attach(image));
    CRowOpDefRowBlend over(keCompositeOver, m_fillOpacity);
    CImageReceiver rx(m_dst, sampler, image->GetPixelFormat(), inv, &over);
    CQPath outline;
    if (!outline.CreateRect({0, 0, double(image->GetWidth()), double(image->GetHeight())}))
        return QERR(keQuorErrOutOfMemory);
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(outline.GetPath());
    if (!it) return QERR(keQuorErrOutOfMemory);
    // The image's outline goes through the context's own matrix: draw it in
    // world space of the outline by prefixing the image matrix.
    double saved[9];
    QGDI_MatrixCopy(saved, m_current);
    double placed[9];
    QGDI_MatrixMultiply(placed, m_current, matrix);
    SetCurrentMatrix(placed);
    const EPolyFillMode fillMode = SetPolyFillMode(kePolyFillNonZero);
    CErrorAutoThrow r = Rasterize(it, false, &rx);
    SetPolyFillMode(fillMode);
    SetCurrentMatrix(saved);
    it->Unreference();
    QGDI_TRY(std::move(r));
    return rx.ok ? CErrorAutoThrow() : QERR(keQuorErrOutOfMemory);
}

CErrorAutoThrow QDCBASIC::BlendOverCheckboard(const RECT* rect, int cell, uint32_t rgba0, uint32_t rgba1) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    RECT area;
    if (!ClipIC(area)) return CErrorAutoThrow();
    if (rect && !IntersectRect(&area, &area, rect)) return CErrorAutoThrow();
    if (cell < 1) cell = 1;
    const int w = area.right - area.left;
    // The checkerboard row in BGRA; the image goes over it (destination-over
    // with the board as the source), leaving every pixel opaque.
    auto bgra = [](uint32_t rgba) {
        return (rgba & 0xFF00FF00u) | ((rgba & 0xFFu) << 16) | ((rgba >> 16) & 0xFFu);
    };
    const uint32_t c0 = bgra(rgba0) | 0xFF000000u, c1 = bgra(rgba1) | 0xFF000000u;
    std::vector<uint32_t> board(size_t(w) + size_t(cell) * 2);
    CRowOpDefRowBlend under(keCompositeDestinationOver);
    CRowOpData data;
    data.eDstFormat = m_dst->GetPixelFormat();
    data.eSrcFormat = keFormatBGRA;
    data.nCount = w;
    data.nImageWidth = m_dst->GetWidth();
    data.nImageHeight = m_dst->GetHeight();
    CRowOp op(&under, data);
    const size_t bits = size_t(CQPixelFormat(data.eDstFormat).GetBitsPerPixel());
    for (int y = area.top; y < area.bottom; ++y) {
        const bool odd = ((y / cell) & 1) != 0;
        for (int i = 0; i < w; ++i) board[size_t(i)] = (((area.left + i) / cell) & 1) != odd ? c1 : c0;
        uint8_t* row = nullptr;
        QGDI_TRY(m_dst->GetRow(row, y));
        data.pDst = row + size_t(area.left) * bits / 8;
        data.pSrc = reinterpret_cast<const uint8_t*>(board.data());
        data.x = area.left;
        data.y = y;
        CErrorAutoThrow r = op.Run(data);
        QGDI_TRY(m_dst->ReleaseRow(y));
        QGDI_TRY(std::move(r));
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow QDCBASIC::Scroll(int dx, int dy) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    RECT area;
    if (!ClipIC(area) || (dx == 0 && dy == 0)) return CErrorAutoThrow();
    const int w = area.right - area.left, h = area.bottom - area.top;
    if (std::abs(dx) >= w || std::abs(dy) >= h) return CErrorAutoThrow();  // everything moves out
    const size_t bpp = size_t(CQPixelFormat(m_dst->GetPixelFormat()).GetBitsPerPixel());
    if (bpp % 8) return QERR(keQuorErrFormatNotSupported);
    const size_t px = bpp / 8;
    const int n = w - std::abs(dx);
    const int srcX = area.left + std::max(0, -dx), dstX = area.left + std::max(0, dx);
    std::vector<uint8_t> buf(size_t(n) * px);
    // Rows are visited away from where they go, so none is read after it is written.
    const int first = dy > 0 ? area.bottom - 1 - dy : area.top - dy;
    const int last = dy > 0 ? area.top : area.bottom - 1;
    const int step = dy > 0 ? -1 : 1;
    for (int sy = first;; sy += step) {
        if (sy >= area.top && sy < area.bottom && sy + dy >= area.top && sy + dy < area.bottom) {
            const uint8_t* src = nullptr;
            QGDI_TRY(m_dst->GetRow(src, sy));
            std::memcpy(buf.data(), src + size_t(srcX) * px, buf.size());
            QGDI_TRY(m_dst->ReleaseRow(sy));
            uint8_t* dst = nullptr;
            QGDI_TRY(m_dst->GetRow(dst, sy + dy));
            std::memcpy(dst + size_t(dstX) * px, buf.data(), buf.size());
            QGDI_TRY(m_dst->ReleaseRow(sy + dy));
        }
        if (sy == last || (step < 0 ? sy < last : sy > last)) break;
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow QDCBASIC::ExecuteOpDC(const CRowOpDef& op, const RECT& device) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    RECT area, r = device;
    DCtoIC(r);
    if (Busy() || !ClipIC(area) || !IntersectRect(&area, &area, &r)) return CErrorAutoThrow();
    return PixelIterator_ApplyRowOp(op, *m_dst, &area) ? CErrorAutoThrow() : QERR(keQuorErrCancelled);
}

CErrorAutoThrow QDCBASIC::ExecuteOpWC(const CRowOpDef& op, const SQRECT& world) {
    if (!m_dst) return QERR(keQuorErrIteratorState);
    if (Busy()) return CErrorAutoThrow();
    CQPath p;
    if (!p.CreateRect(world)) return QERR(keQuorErrOutOfMemory);
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(p.GetPath());
    if (!it) return QERR(keQuorErrOutOfMemory);
    COpReceiver rx(m_dst, op);
    const EPolyFillMode fillMode = SetPolyFillMode(kePolyFillNonZero);
    CErrorAutoThrow r = Rasterize(it, false, &rx);
    SetPolyFillMode(fillMode);
    it->Unreference();
    return r;
}
