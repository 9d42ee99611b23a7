#include "effects/IoBasic.h"

#include <algorithm>
#include <cmath>

#include "QuorRender/PixelResampler.h"
#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

CIoRowOp::CIoRowOp(const CRowOpDef& def, int inputs) : CImageOp(keIoRowOp), m_pDef(def.Copy()), m_nInputs(inputs) {}

CErrorAutoThrow CIoRowOp::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    if (!m_pDef) return QERR(keQuorErrFailed);
    SPixels dst, src;
    const bool two = m_nInputs == keIoRowOpTwoInputs;
    QGDI_TRY(ReadInput(data, two ? 1 : 0, dst));
    if (two) QGDI_TRY(ReadInput(data, 0, src));
    return Finish(RunRowOp(*m_pDef, dst, two ? &src : nullptr, rc, data.pStatus), data, rc, dst);
}

CIoImage::CIoImage(const CRowIterator* image, EQResampleMode mode) noexcept
    : CImageOp(keIoImage), m_pImage(image), m_eMode(mode) {}

CErrorAutoThrow CIoImage::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    if (!m_pImage || !m_pImage->IsAttached() || m_pImage->GetWidth() <= 0 || m_pImage->GetHeight() <= 0)
        return QERR(keQuorErrFailed);
    if (m_eMode < 0 || m_eMode >= keResampleModeCount) return QERR(keQuorErrFailed);
    // The resampler weighs straight colour by alpha; other formats are
    // brought to BGRA once.
    CRowIteratorBands converted;
    const CRowIterator* image = m_pImage;
    if (image->GetPixelFormat() != keFormatBGRA) {
        QGDI_TRY(converted.CreateFromCopy(*image, nullptr, keFormatBGRA));
        image = &converted;
    }
    CPixelResampler sampler(m_eMode, keEdgeConstant, 0);
    QGDI_TRY(sampler.Attach(image));
    const double iw = image->GetWidth(), ih = image->GetHeight();
    const double rw = rc.right - rc.left, rh = rc.bottom - rc.top;
    const double scale = std::min(rw / iw, rh / ih);
    const double ox = rc.left + (rw - iw * scale) / 2, oy = rc.top + (rh - ih * scale) / 2;
    SPixels out;
    QGDI_TRY(ReadPixels(nullptr, data.pDst->GetWidth(), data.pDst->GetHeight(), out));
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        const double sy = (y + 0.5 - oy) / scale - 0.5;
        uint8_t* row = out.Row(y);
        for (int x = rc.left; x < rc.right; ++x) {
            const double sx = (x + 0.5 - ox) / scale - 0.5;
            uint8_t px[4] = {0, 0, 0, 0};
            // Pixels more than half a source pixel outside the image stay clear.
            if (sx >= -0.5 && sy >= -0.5 && sx < iw - 0.5 && sy < ih - 0.5 && sampler.Sample(sx, sy, px)) {
                uint8_t* d = row + 4 * x;
                d[0] = Premultiply(px[0], px[3]);
                d[1] = Premultiply(px[1], px[3]);
                d[2] = Premultiply(px[2], px[3]);
                d[3] = px[3];
            }
        }
    });
    return Finish(done, data, rc, out);
}

CIoArithmetic::CIoArithmetic(double k1, double k2, double k3, double k4) noexcept
    : CImageOp(keIoArithmetic),
      m_def(std::isfinite(k1) ? k1 : 0, std::isfinite(k2) ? k2 : 0, std::isfinite(k3) ? k3 : 0,
            std::isfinite(k4) ? k4 : 0) {}

CErrorAutoThrow CIoArithmetic::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in1, in2;
    QGDI_TRY(ReadInput(data, 0, in1));
    QGDI_TRY(ReadInput(data, 1, in2));
    // The kernel's rule reads the source as i1 and the destination as i2.
    bool done = RunRowOp(m_def, in2, &in1, rc, data.pStatus);
    if (done) {
        for (int y = rc.top; y < rc.bottom; ++y) {
            uint8_t* p = in2.Row(y);
            for (int x = 4 * rc.left; x < 4 * rc.right; x += 4) {
                const uint8_t a = p[x + 3];
                p[x] = std::min(p[x], a);
                p[x + 1] = std::min(p[x + 1], a);
                p[x + 2] = std::min(p[x + 2], a);
            }
        }
    }
    return Finish(done, data, rc, in2);
}

CIoComposite::CIoComposite(EQCompositeOp op) noexcept
    : CImageOp(keIoComposite), m_def(op >= 0 && op < keCompositeOpCount ? op : keCompositeOver) {}

CErrorAutoThrow CIoComposite::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels a, b;
    QGDI_TRY(ReadInput(data, 0, a));
    QGDI_TRY(ReadInput(data, 1, b));
    return Finish(RunRowOp(m_def, b, &a, rc, data.pStatus), data, rc, b);
}

CIoTile::CIoTile(double scale) noexcept
    : CImageOp(keIoTile), m_dScale(std::isfinite(scale) && scale > 0 ? std::min(scale, 1e6) : 1.0) {}

CErrorAutoThrow CIoTile::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in, out;
    QGDI_TRY(ReadInput(data, 0, in));
    QGDI_TRY(ReadPixels(nullptr, in.width, in.height, out));
    const RECT t = data.GetInputRect(0);
    const int64_t tw = t.right - t.left, th = t.bottom - t.top;
    if (tw <= 0 || th <= 0) return Finish(true, data, rc, out);
    const auto wrap = [](int64_t v, int64_t n) { return ((v % n) + n) % n; };
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        const int64_t ty = t.top + wrap(static_cast<int64_t>(std::floor((y - t.top) / m_dScale)), th);
        const auto* s = reinterpret_cast<const uint32_t*>(in.Row(static_cast<int>(ty)));
        auto* d = reinterpret_cast<uint32_t*>(out.Row(y));
        for (int x = rc.left; x < rc.right; ++x)
            d[x] = s[t.left + wrap(static_cast<int64_t>(std::floor((x - t.left) / m_dScale)), tw)];
    });
    return Finish(done, data, rc, out);
}
