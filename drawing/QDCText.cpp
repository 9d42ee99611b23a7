// Text in the context: glyph outlines filled like any other path, the
// selection with the stroke fill, the glyph-bounds receiver fed on the way.
#include <cmath>
#include <cstring>

#include "drawing/Curve.h"
#include "drawing/QDCLayer.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {

// Collects glyphs and draws each with the fill (or the stroke fill inside the selection).
class CGlyphPainter final : public VGlyphPathReceiver {
public:
    CGlyphPainter(QDCBASIC& dc, VPathReceiver* bounds, int first, int count)
        : m_dc(dc), m_bounds(bounds), m_first(first), m_count(count) {}
    bool ReceiveGlyph(const CQPath& glyph, int cluster) override {
        if (m_bounds) glyph.Send(m_bounds, m_dc.GetDeviceMatrix());
        const bool selected = cluster >= m_first && cluster < m_first + m_count;
        VPathIteratorRefed* it = QGDI_PathIteratorCreate(glyph.GetPath());
        if (!it) {
            code = keQuorErrOutOfMemory;
            return false;
        }
        if (selected) {
            // The selection takes the stroke fill as a fill: swap, fill, swap back.
            VQFILL* fill = m_dc.GetFill();
            fill->Reference();
            m_dc.SetFill(m_dc.GetStrokeFill());
            code = m_dc.FillPath(it);
            m_dc.SetFill(fill);
            fill->Unreference();
        } else {
            code = m_dc.FillPath(it);
        }
        it->Unreference();
        return code == keQuorErrSuccess;
    }
    // The first failure's code (the error itself was made where it arose).
    QuorErrorCode code = keQuorErrSuccess;

private:
    QDCBASIC& m_dc;
    VPathReceiver* m_bounds;
    int m_first, m_count;
};

class CForward final : public VGlyphPathReceiver {
public:
    explicit CForward(VPathReceiver* rx) : m_rx(rx) {}
    bool ReceiveGlyph(const CQPath& glyph, int) override { return glyph.Send(m_rx, nullptr, true); }

private:
    VPathReceiver* m_rx;
};

}  // namespace

bool QDCBASIC::SetFont(const char* family, int style, double size) {
    std::shared_ptr<CQFont> font = CQFont::Find(family, style);
    if (!font) return false;
    m_font = std::move(font);
    m_text.style = style;
    if (std::isfinite(size) && size > 0) m_text.size = size;
    return true;
}

CErrorAutoThrow QDCBASIC::MeasureText(const char* utf8, int length, STextMetrics& metrics) {
    metrics = STextMetrics{};
    if (!utf8) return QERR(keQuorErrFailed);
    if (!m_font && !SetFont(nullptr, m_text.style, m_text.size)) return QERR(keQuorErrFailed);
    return QGDI_TextLayout(*m_font, m_text, utf8, length, SQPOINT{0, 0}, nullptr, nullptr, &metrics)
               ? CErrorAutoThrow()
               : QERR(keQuorErrFailed);
}

CErrorAutoThrow QDCBASIC::ReceiveGlyphPath(const char* utf8, int length, const SQPOINT& origin, VPathReceiver* receiver) {
    if (!utf8 || !receiver) return QERR(keQuorErrFailed);
    if (!m_font && !SetFont(nullptr, m_text.style, m_text.size)) return QERR(keQuorErrFailed);
    CQCurve curve;
    if (m_textPath && !curve.Create(*m_textPath)) return QERR(keQuorErrFailed);
    CForward forward(receiver);
    return QGDI_TextLayout(*m_font, m_text, utf8, length, origin, m_textPath ? &curve : nullptr, &forward, nullptr)
               ? CErrorAutoThrow()
               : QERR(keQuorErrFailed);
}

bool QDCBASIC::ReceiveGlyph(const CQPath& glyph, int) { return !FillPath(glyph).IsError(); }

CErrorAutoThrow QDCBASIC::QDrawText(const char* utf8, int length, const SQPOINT* origin) {
    if (!utf8) return QERR(keQuorErrFailed);
    if (Busy()) return CErrorAutoThrow();
    if (!m_font && !SetFont(nullptr, m_text.style, m_text.size)) return QERR(keQuorErrFailed);
    if (length < 0) length = int(std::strlen(utf8));
    const SQPOINT at = origin ? *origin : m_textCP;
    CQCurve curve;
    if (m_textPath && !curve.Create(*m_textPath)) return QERR(keQuorErrFailed);
    CGlyphPainter painter(*this, m_glyphBounds, m_selFirst, m_selCount);
    STextMetrics metrics;
    const bool ok =
        QGDI_TextLayout(*m_font, m_text, utf8, length, at, m_textPath ? &curve : nullptr, &painter, &metrics);
    if (painter.code != keQuorErrSuccess) return QERR(painter.code);
    if (!ok) return QERR(keQuorErrFailed);
    if (!origin) m_textCP.x += metrics.advance;
    return CErrorAutoThrow();
}
