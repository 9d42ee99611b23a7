#include "deformation/WarpRender.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>


#include "QuorRender/FilterDistort.h"
#include "deformation/Coordinator.h"
#include "deformation/WarpImage.h"
#include "diagnostics/Profile.h"
#include "qdibcore/Source/internal/ResultTry.h"

using qgdi::warp::SPaddedImage;

namespace {

// Positions are clamped this far outside the image, and the border is wide
// enough for a read there: no test per tap.
constexpr int kBorder = 4;
constexpr float kReach = 2.0f;
constexpr int kBand = 16;

// Premultiplied pixels mixed two channels per multiply; w in 0..256.
inline uint32_t Lerp(uint32_t a, uint32_t b, uint32_t w) noexcept {
    const uint32_t v = 256 - w;
    const uint32_t rb = (((a & 0x00FF00FFu) * v + (b & 0x00FF00FFu) * w + 0x00800080u) >> 8) & 0x00FF00FFu;
    const uint32_t ag = ((((a >> 8) & 0x00FF00FFu) * v + ((b >> 8) & 0x00FF00FFu) * w + 0x00800080u) >> 8) & 0x00FF00FFu;
    return rb | (ag << 8);
}

EQPixelFormat OutputFormat(EQPixelFormat f) noexcept {
    switch (f) {
    case keFormatGrey:
    case keFormatGreyA:
    case keFormatBGR:
    case keFormatBGRA:
    case keFormatBGRxA: return f;
    default: return keFormatBGRA;
    }
}

}  // namespace

CWarpRenderer::CWarpRenderer() = default;
CWarpRenderer::~CWarpRenderer() = default;

int CWarpRenderer::GetWidth() const noexcept { return m_nWidth; }
int CWarpRenderer::GetHeight() const noexcept { return m_nHeight; }
int CWarpRenderer::GetPreviewWidth() const noexcept { return m_pReduced ? m_pReduced->width : 0; }
int CWarpRenderer::GetPreviewHeight() const noexcept { return m_pReduced ? m_pReduced->height : 0; }
const uint32_t* CWarpRenderer::GetPreview() const noexcept { return m_pPreview.get(); }

void CWarpRenderer::SetClampEdges(bool clamp) noexcept {
    m_bClamp = clamp;
    if (m_pReduced) m_pReduced->FillBorder(clamp);
}

CErrorAutoThrow CWarpRenderer::SetSource(const CRowIterator& source, int previewFactor) {
    if (previewFactor < 1 || previewFactor > 8) return QERR(keQuorErrFailed);
    m_pReduced.reset();
    m_pPreview.reset();
    m_source.Destroy().Ignore();
    SPaddedImage full;
    QGDI_TRY(qgdi::warp::LoadPixels(source, full, 0, keFormatBGRxA));
    auto reduced = std::make_unique<SPaddedImage>();
    if (!qgdi::warp::Downscale(full, previewFactor, *reduced, kBorder)) return QERR(keQuorErrOutOfMemory);
    const size_t count = static_cast<size_t>(reduced->width) * static_cast<size_t>(reduced->height);
    std::unique_ptr<uint32_t[]> preview(new (std::nothrow) uint32_t[count]);
    if (!preview) return QERR(keQuorErrOutOfMemory);
    // The full-quality render reads the source itself, in a format the resampler reads.
    QGDI_TRY(m_source.CreateFromCopy(source, nullptr, OutputFormat(source.GetPixelFormat())));
    reduced->FillBorder(m_bClamp);
    m_pReduced = std::move(reduced);
    m_pPreview = std::move(preview);
    m_nWidth = full.width;
    m_nHeight = full.height;
    m_nFactor = previewFactor;
    return CErrorAutoThrow();
}

CErrorAutoThrow CWarpRenderer::UpdatePreview(const CWarpMesh& mesh, const RECT* dirty) {
    QGDI_PROFILE_SCOPE("warp preview");
    if (!m_pReduced || mesh.GetWidth() != m_nWidth || mesh.GetHeight() != m_nHeight) return QERR(keQuorErrFailed);
    const SPaddedImage& img = *m_pReduced;
    const int k = m_nFactor, pw = img.width, ph = img.height;
    RECT r{0, 0, pw, ph};
    if (dirty) {
        r = RECT{std::max<LONG>(0, dirty->left / k), std::max<LONG>(0, dirty->top / k),
                 std::min<LONG>(pw, (dirty->right + k - 1) / k), std::min<LONG>(ph, (dirty->bottom + k - 1) / k)};
        if (r.right <= r.left || r.bottom <= r.top) return CErrorAutoThrow();
    }
    const int x0 = r.left, n = r.right - r.left;
    // Reduced pixel X stands for the full-size pixels from X·k; it is sampled
    // where the warp takes the pixel at its middle.
    const float centre = static_cast<float>(k / 2) - 0.5f * static_cast<float>(k - 1), inv = 1.0f / static_cast<float>(k);
    const float lo = -kReach * 256.0f, hiX = (static_cast<float>(pw - 1) + kReach) * 256.0f,
                hiY = (static_cast<float>(ph - 1) + kReach) * 256.0f;
    uint32_t* preview = m_pPreview.get();
    const QuorErrorCode code = qgdi::warp::ParallelRows(r.bottom - r.top, kBand, nullptr, [&](int b0, int b1) {
        std::vector<float> buffer(static_cast<size_t>(n) * 2);
        float* ox = buffer.data();
        float* oy = ox + n;
        for (int Y = r.top + b0; Y < r.top + b1; ++Y) {
            mesh.RowOffsets(Y * k + k / 2, x0 * k + k / 2, k, n, ox, oy);
            uint32_t* out = preview + static_cast<size_t>(Y) * pw + x0;
            for (int i = 0; i < n; ++i) {
                const float u = std::clamp((static_cast<float>(x0 + i) + (ox[i] + centre) * inv) * 256.0f, lo, hiX);
                const float v = std::clamp((static_cast<float>(Y) + (oy[i] + centre) * inv) * 256.0f, lo, hiY);
                const int fu = static_cast<int>(std::lrint(u)), fv = static_cast<int>(std::lrint(v));
                const uint32_t* p = img.Row(fv >> 8) + (fu >> 8);
                const uint32_t wx = static_cast<uint32_t>(fu & 255), wy = static_cast<uint32_t>(fv & 255);
                out[i] = Lerp(Lerp(p[0], p[1], wx), Lerp(p[img.stride], p[img.stride + 1], wx), wy);
            }
        }
    });
    if (code != keQuorErrSuccess) return QERR(code);
    return CErrorAutoThrow();
}

CErrorAutoThrow CWarpRenderer::Render(const CWarpMesh& mesh, CRowIterator& destination, CStatusControl* status) const {
    QGDI_PROFILE_SCOPE("warp render");
    if (!m_pReduced || mesh.GetWidth() != m_nWidth || mesh.GetHeight() != m_nHeight) return QERR(keQuorErrFailed);
    std::unique_ptr<CCoordinator> map(mesh.CreateCoordinator());
    if (!map) return QERR(keQuorErrOutOfMemory);
    return QGDI_DistortImage(m_source, *map, destination, keResampleBicubic, m_bClamp ? keEdgeClamp : keEdgeConstant, 0,
                             status);
}

CErrorAutoThrow QGDI_WarpImage(const CRowIterator& source, const CWarpMesh& mesh, CRowIterator& destination,
                               bool clampEdges, CStatusControl* status) {
    CWarpRenderer renderer;
    renderer.SetClampEdges(clampEdges);
    QGDI_TRY(renderer.SetSource(source, 1));
    return renderer.Render(mesh, destination, status);
}
