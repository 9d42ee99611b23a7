// Text layout: shaped glyphs placed along a baseline or a curve, their
// outlines handed on as world-space paths.
#include "drawing/Text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "drawing/Curve.h"

VGlyphPathReceiver::~VGlyphPathReceiver() = default;

namespace {

void Grow(SQRECT& box, bool& has, const SQRECT& r) {
    if (!has) {
        box = r;
        has = true;
        return;
    }
    box.left = std::min(box.left, r.left);
    box.top = std::min(box.top, r.top);
    box.right = std::max(box.right, r.right);
    box.bottom = std::max(box.bottom, r.bottom);
}

}  // namespace

bool QGDI_TextLayout(const CQFont& font, const STextProps& props, const char* utf8, int length,
                     const SQPOINT& origin, const CQCurve* path, VGlyphPathReceiver* receiver,
                     STextMetrics* metrics) {
    if (!utf8) return false;
    if (length < 0) length = int(std::strlen(utf8));
    if (!std::isfinite(props.size) || !std::isfinite(props.letterSpacing) || !std::isfinite(origin.x) ||
        !std::isfinite(origin.y))
        return false;
    std::vector<CQFont::SGlyph> glyphs;
    if (!font.Shape(utf8, length, props.kerning, glyphs)) return false;
    const double scale = props.size / font.GetUnitsPerEm();

    // Pen positions in world units: HarfBuzz's offsets kept, letter spacing
    // added after every character (cluster).
    std::vector<double> x(glyphs.size());
    double pen = 0.0, fontPen = 0.0;
    for (size_t i = 0; i < glyphs.size(); ++i) {
        x[i] = pen + (glyphs[i].x - fontPen) * scale;
        fontPen += glyphs[i].advance;
        const bool lastOfCluster = i + 1 == glyphs.size() || glyphs[i + 1].cluster != glyphs[i].cluster;
        pen += glyphs[i].advance * scale + (lastOfCluster ? props.letterSpacing : 0.0);
    }
    const double total = pen;
    const double shift = props.align == keTextAlignMiddle ? -0.5 * total : props.align == keTextAlignEnd ? -total : 0.0;

    STextMetrics m;
    double asc = 0, desc = 0;
    font.GetVerticalMetrics(asc, desc);
    m.ascent = asc * std::fabs(scale);
    m.descent = desc * std::fabs(scale);
    m.advance = total;
    bool hasInk = false;
    for (size_t i = 0; i < glyphs.size(); ++i) {
        const CQFont::SGlyph& g = glyphs[i];
        CQPath outline;
        if (!path) {
            if (!font.GlyphOutline(g.index, origin.x + shift + x[i], origin.y + g.y * scale, scale,
                                   outline.GetPathReceiver()))
                return false;
        } else {
            // The glyph's middle sits on the curve, turned to its direction there.
            const double half = 0.5 * g.advance * scale;
            double at = props.pathOffset + shift + x[i] + half;
            const double len = path->GetLength();
            if (!path->GetClosed() && (at < 0.0 || at > len)) continue;
            SQPOINT p, n;
            if (!path->GetPoint(at, p) || !path->GetNormal(at, n)) continue;
            if (!font.GlyphOutline(g.index, -half, g.y * scale, scale, outline.GetPathReceiver())) return false;
            // The curve's normal is its tangent turned a quarter: n = (-ty, tx).
            const double tx = n.y, ty = -n.x;
            const double mtx[9] = {tx, -ty, p.x, ty, tx, p.y, 0, 0, 1};
            outline.Transform(mtx);
        }
        ++m.glyphs;
        SQRECT b;
        if (!outline.IsEmpty() && outline.GetLooseBBox(b)) {
            SQRECT tight;
            if (outline.GetBBox(tight)) b = tight;
            Grow(m.ink, hasInk, SQRECT{b.left - origin.x, b.top - origin.y, b.right - origin.x, b.bottom - origin.y});
        }
        if (receiver && !outline.IsEmpty() && !receiver->ReceiveGlyph(outline, g.cluster)) return false;
    }
    if (metrics) *metrics = m;
    return true;
}
