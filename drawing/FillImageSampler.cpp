#include "drawing/FillImageSampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QuorRender/RowOpCopy.h"
#include "geometry/MatrixFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace qgdi::fill {

namespace {
// Steps are rounded to 1/256 pixel; restarting the walk every so many pixels
// keeps the drift below a quarter of a pixel whatever the span's length.
constexpr int kChunk = 64;
}  // namespace

CErrorAutoThrow CImageSampler::Attach(const CRowIterator* image, const double* toImage) {
    m_image = nullptr;
    if (toImage) {
        for (int i = 0; i < 9; ++i)
            if (!std::isfinite(toImage[i])) return QERR(keQuorErrFailed);
        if (std::fabs(QGDI_MatrixGetDeterminant(toImage)) < 1e-32) return QERR(keQuorErrFailed);
        std::memcpy(m_matrix, toImage, sizeof(m_matrix));
    } else {
        QGDI_MatrixIdentity(m_matrix);
    }
    QGDI_TRY(m_resampler.Attach(image));
    m_image = image;
    const CQPixelFormat format(image->GetPixelFormat());
    m_pixelBytes = size_t(format.GetBytesPerPixel());
    m_opaque = !format.IsAlphaChannelPresent() && m_edge != keEdgeConstant;
    if (format.Get() != keFormatBGRA) {
        static const CRowOpDefRowCopy kCopy;
        CRowOpData bind;
        bind.eDstFormat = keFormatBGRA;
        bind.eSrcFormat = format.Get();
        m_toBGRA.Attach(&kCopy, bind);
    } else {
        m_toBGRA.Detach();
    }
    return CErrorAutoThrow();
}

bool CImageSampler::GetSpan(int x, int y, int count, uint32_t* out) {
    if (!m_image || count <= 0) return m_image != nullptr;
    const double* m = m_matrix;
    const bool bgra = !m_toBGRA.IsAttached();
    if (!bgra && m_raw.size() < size_t(kChunk) * m_pixelBytes) m_raw.resize(size_t(kChunk) * m_pixelBytes);
    const double w = m_image->GetWidth(), h = m_image->GetHeight();
    const bool wrap = m_edge == keEdgeWrap, perspective = m[6] != 0.0 || m[7] != 0.0;
    for (int i = 0; i < count; i += kChunk) {
        const int n = std::min(kChunk, count - i);
        const double cx = x + i + 0.5, cy = y + 0.5;
        double u = m[0] * cx + m[1] * cy + m[2], v = m[3] * cx + m[4] * cy + m[5];
        double du = m[0], dv = m[3];
        if (perspective) {
            // The chunk's ends projected exactly, the pixels between stepped.
            const double q0 = m[6] * cx + m[7] * cy + m[8], q1 = q0 + m[6] * n;
            const double u1 = (u + m[0] * n) / q1, v1 = (v + m[3] * n) / q1;
            u /= q0;
            v /= q0;
            du = (u1 - u) / n;
            dv = (v1 - v) / n;
        }
        u -= 0.5;
        v -= 0.5;
        if (wrap) {
            u -= std::floor(u / w) * w;
            v -= std::floor(v / h) * h;
        }
        // Far outside the image every edge mode gives the edge: keep it in range.
        constexpr double kLimit = 1 << 22;
        u = std::clamp(u, -kLimit, kLimit);
        v = std::clamp(v, -kLimit, kLimit);
        du = std::clamp(du, -kLimit / kChunk, kLimit / kChunk);
        dv = std::clamp(dv, -kLimit / kChunk, kLimit / kChunk);
        uint8_t* dst = bgra ? reinterpret_cast<uint8_t*>(out + i) : m_raw.data();
        if (!m_resampler.SampleSpan(int32_t(std::lround(u * 256)), int32_t(std::lround(v * 256)),
                                    int32_t(std::lround(du * 256)), int32_t(std::lround(dv * 256)), n, dst))
            return false;
        if (!bgra) {
            CRowOpData row;
            row.eDstFormat = keFormatBGRA;
            row.pDst = reinterpret_cast<uint8_t*>(out + i);
            row.eSrcFormat = m_image->GetPixelFormat();
            row.pSrc = m_raw.data();
            row.nCount = n;
            if (m_toBGRA.RunCode(row) != keQuorErrSuccess) return false;
        }
    }
    return true;
}

}  // namespace qgdi::fill
