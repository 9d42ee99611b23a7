#include "deformation/WarpRender.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "deformation/WarpImage.h"
#include "diagnostics/Profile.h"
#include "qdibcore/Source/internal/ResultTry.h"

using qgdi::warp::SPaddedImage;

namespace {

// Positions are clamped this far outside the image, and the border is wide
// enough for a bicubic read there: no test per tap.
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

inline void CatmullRom(float t, float w[4]) noexcept {
    const float t2 = t * t, t3 = t2 * t;
    w[0] = -0.5f * t3 + t2 - 0.5f * t;
    w[1] = 1.5f * t3 - 2.5f * t2 + 1.0f;
    w[2] = -1.5f * t3 + 2.0f * t2 + 0.5f * t;
    w[3] = 0.5f * t3 - 0.5f * t2;
}

#if defined(__SSE2__)
// The four channels of one pixel as four floats.
inline __m128 Unpack(uint32_t v) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = _mm_cvtsi32_si128(static_cast<int>(v));
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero));
}
#endif

inline uint32_t Bicubic(const SPaddedImage& img, float sx, float sy) noexcept {
    sx = std::clamp(sx, -kReach, static_cast<float>(img.width - 1) + kReach);
    sy = std::clamp(sy, -kReach, static_cast<float>(img.height - 1) + kReach);
    const float fx = std::floor(sx), fy = std::floor(sy);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    float wx[4], wy[4];
    CatmullRom(sx - fx, wx);
    CatmullRom(sy - fy, wy);
#if defined(__SSE2__)
    __m128 acc = _mm_setzero_ps();
    for (int r = 0; r < 4; ++r) {
        const uint32_t* p = img.Row(iy - 1 + r) + ix - 1;
        __m128 h = _mm_mul_ps(Unpack(p[0]), _mm_set1_ps(wx[0]));
        h = _mm_add_ps(h, _mm_mul_ps(Unpack(p[1]), _mm_set1_ps(wx[1])));
        h = _mm_add_ps(h, _mm_mul_ps(Unpack(p[2]), _mm_set1_ps(wx[2])));
        h = _mm_add_ps(h, _mm_mul_ps(Unpack(p[3]), _mm_set1_ps(wx[3])));
        acc = _mm_add_ps(acc, _mm_mul_ps(h, _mm_set1_ps(wy[r])));
    }
    // Overshoot is clipped so that the colour never exceeds its alpha.
    const __m128 half = _mm_set1_ps(0.5f);
    __m128 v = _mm_add_ps(acc, half);
    const float a = std::clamp(_mm_cvtss_f32(_mm_shuffle_ps(v, v, 0xFF)), 0.0f, 255.0f);
    const __m128 top = _mm_set1_ps(static_cast<float>(static_cast<int>(a)));
    v = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), top);
    const __m128i i32 = _mm_cvttps_epi32(v);
    const __m128i i16 = _mm_packs_epi32(i32, i32);
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(i16, i16)));
#else
    float acc[4] = {0, 0, 0, 0};
    for (int r = 0; r < 4; ++r) {
        const uint32_t* p = img.Row(iy - 1 + r) + ix - 1;
        float h[4] = {0, 0, 0, 0};
        for (int k = 0; k < 4; ++k)
            for (int c = 0; c < 4; ++c) h[c] += wx[k] * static_cast<float>((p[k] >> (8 * c)) & 255);
        for (int c = 0; c < 4; ++c) acc[c] += wy[r] * h[c];
    }
    const float a = std::clamp(acc[3] + 0.5f, 0.0f, 255.0f);
    const uint32_t ai = static_cast<uint32_t>(a);
    const float top = static_cast<float>(ai);
    const auto channel = [&](float v) { return static_cast<uint32_t>(std::clamp(v + 0.5f, 0.0f, top)); };
    return channel(acc[0]) | channel(acc[1]) << 8 | channel(acc[2]) << 16 | ai << 24;
#endif
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

int CWarpRenderer::GetWidth() const noexcept { return m_pSource ? m_pSource->width : 0; }
int CWarpRenderer::GetHeight() const noexcept { return m_pSource ? m_pSource->height : 0; }
int CWarpRenderer::GetPreviewWidth() const noexcept { return m_pReduced ? m_pReduced->width : 0; }
int CWarpRenderer::GetPreviewHeight() const noexcept { return m_pReduced ? m_pReduced->height : 0; }
const uint32_t* CWarpRenderer::GetPreview() const noexcept { return m_pPreview.get(); }

void CWarpRenderer::SetClampEdges(bool clamp) noexcept {
    m_bClamp = clamp;
    if (m_pSource) m_pSource->FillBorder(clamp);
    if (m_pReduced) m_pReduced->FillBorder(clamp);
}

CErrorAutoThrow CWarpRenderer::SetSource(const CRowIterator& source, int previewFactor) {
    if (previewFactor < 1 || previewFactor > 8) return QERR(keQuorErrFailed);
    m_pSource.reset();
    m_pReduced.reset();
    m_pPreview.reset();
    auto full = std::make_unique<SPaddedImage>();
    QGDI_TRY(qgdi::warp::LoadPremultiplied(source, *full, kBorder));
    auto reduced = std::make_unique<SPaddedImage>();
    if (!qgdi::warp::Downscale(*full, previewFactor, *reduced, kBorder)) return QERR(keQuorErrOutOfMemory);
    const size_t count = static_cast<size_t>(reduced->width) * static_cast<size_t>(reduced->height);
    std::unique_ptr<uint32_t[]> preview(new (std::nothrow) uint32_t[count]);
    if (!preview) return QERR(keQuorErrOutOfMemory);
    full->FillBorder(m_bClamp);
    reduced->FillBorder(m_bClamp);
    m_pSource = std::move(full);
    m_pReduced = std::move(reduced);
    m_pPreview = std::move(preview);
    m_eFormat = OutputFormat(source.GetPixelFormat());
    m_nFactor = previewFactor;
    return CErrorAutoThrow();
}

CErrorAutoThrow CWarpRenderer::UpdatePreview(const CWarpMesh& mesh, const RECT* dirty) {
    QGDI_PROFILE_SCOPE("warp preview");
    if (!m_pSource || mesh.GetWidth() != m_pSource->width || mesh.GetHeight() != m_pSource->height)
        return QERR(keQuorErrFailed);
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
    if (!m_pSource || mesh.GetWidth() != m_pSource->width || mesh.GetHeight() != m_pSource->height)
        return QERR(keQuorErrFailed);
    const SPaddedImage& img = *m_pSource;
    const int w = img.width;
    CRowIterator premultiplied;
    QGDI_TRY(premultiplied.Create(w, img.height, keFormatBGRxA));
    std::atomic<int> failed{0};
    const QuorErrorCode code = qgdi::warp::ParallelRows(img.height, kBand, status, [&](int y0, int y1) {
        std::vector<float> buffer(static_cast<size_t>(w) * 2);
        float* ox = buffer.data();
        float* oy = ox + w;
        for (int y = y0; y < y1; ++y) {
            uint8_t* row = premultiplied.GetRow(y, 0, w);
            if (!row) {
                failed.store(1);
                return;
            }
            mesh.RowOffsets(y, 0, 1, w, ox, oy);
            uint32_t* out = reinterpret_cast<uint32_t*>(row);
            for (int x = 0; x < w; ++x)
                out[x] = Bicubic(img, static_cast<float>(x) + ox[x], static_cast<float>(y) + oy[x]);
            premultiplied.ReleaseRow(y).Ignore();
        }
    });
    if (code != keQuorErrSuccess) return QERR(code);
    if (failed.load()) return QERR(keQuorErrOutOfMemory);
    if (m_eFormat == keFormatBGRxA) return destination.Consume(premultiplied);
    return destination.CreateFromCopy(premultiplied, nullptr, m_eFormat);
}

CErrorAutoThrow QGDI_WarpImage(const CRowIterator& source, const CWarpMesh& mesh, CRowIterator& destination,
                               bool clampEdges, CStatusControl* status) {
    CWarpRenderer renderer;
    renderer.SetClampEdges(clampEdges);
    QGDI_TRY(renderer.SetSource(source, 1));
    return renderer.Render(mesh, destination, status);
}
