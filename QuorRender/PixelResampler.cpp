#include "QuorRender/PixelResampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "QuorRender/KernelSource.h"
#include "QuorRender/ResamplingKernel.h"
#include "qdibcore/Source/PixelFormatTraits.h"

CPixelResampler::CPixelResampler(EQResampleMode mode, EEdgeMode edge, uint32_t edgeColour)
    : m_eMode(mode), m_eEdge(edge), m_nEdgeColour(edgeColour) {
    double (*fn)(double) = nullptr;
    switch (mode) {
    case keResampleNearestNeighbor: m_nTaps = 1; break;
    case keResampleBicubic:
        m_nTaps = 4;
        m_nOffset = 1;
        fn = [](double d) { return qgdi::resample::CubicWeight(d, -1.0); };
        break;
    case keResampleLanczos3:
        m_nTaps = 6;
        m_nOffset = 2;
        fn = [](double d) { return qgdi::resample::LanczosWeight(d, 3.0); };
        break;
    case keResampleMitchell:
        m_nTaps = 4;
        m_nOffset = 1;
        fn = &qgdi::resample::MitchellWeight;
        break;
    default:
        m_nTaps = 2;
        fn = [](double d) { return std::max(0.0, 1.0 - std::fabs(d)); };
        break;
    }
    m_aWeights.assign(static_cast<size_t>(kPhases * m_nTaps), 0);
    std::vector<double> raw(static_cast<size_t>(m_nTaps));
    std::vector<int64_t> w(static_cast<size_t>(m_nTaps));
    for (int p = 0; p < kPhases; ++p) {
        if (!fn) {
            m_aWeights[static_cast<size_t>(p)] = 1 << kWeightBits;
            continue;
        }
        const double t = p / static_cast<double>(kPhases);
        double sum = 0;
        for (int k = 0; k < m_nTaps; ++k) sum += raw[static_cast<size_t>(k)] = fn(k - m_nOffset - t);
        qgdi::resample::NormaliseWeights(raw.data(), m_nTaps, sum, 1u << kWeightBits, w.data());
        for (int k = 0; k < m_nTaps; ++k)
            m_aWeights[static_cast<size_t>(p * m_nTaps + k)] = static_cast<int32_t>(w[static_cast<size_t>(k)]);
    }
}

CPixelResampler::~CPixelResampler() = default;

CErrorAutoThrow CPixelResampler::Attach(const CRowIterator* image) {
    Detach();
    if (!image || !image->IsAttached()) return QERR(keQuorErrIteratorState);
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(image->GetPixelFormat());
    if (!t || t->formatClass == keFormatClassIndexed || t->channelCount < 1 || t->bitsPerPixel % 8 != 0)
        return QERR(keQuorErrFormatNotSupported);
    m_pImage = image;
    m_eFormat = image->GetPixelFormat();
    m_nChannels = t->channelCount;
    m_nAlpha = -1;
    if (t->alpha && !t->premultiplied)
        for (int c = 0; c < m_nChannels; ++c)
            if (t->channels[c] == keChannelAlpha) m_nAlpha = c;
    const double full = t->bitsPerChannel == 8 ? 255.0 : t->bitsPerChannel == 16 ? 65535.0 : 1.0;
    for (int c = 0; c < m_nChannels; ++c)
        m_aEdge[c] = QGDI_GetChannelColor(m_nEdgeColour, t->channels[c]) * full / 255.0;
    return CErrorAutoThrow();
}

void CPixelResampler::Detach() noexcept {
    m_pImage = nullptr;
    m_eFormat = keFormatNone;
}

namespace {

template <class T>
double Load(const uint8_t* p, size_t i) noexcept {
    T v;
    std::memcpy(&v, p + i * sizeof(T), sizeof(T));
    return static_cast<double>(v);
}

template <class T>
void Store(uint8_t* p, size_t i, double v, double full) noexcept {
    if constexpr (std::is_floating_point_v<T>) {
        const T t = static_cast<T>(v);
        std::memcpy(p + i * sizeof(T), &t, sizeof(T));
    } else {
        const T t = static_cast<T>(std::clamp(std::floor(v + 0.5), 0.0, full));
        std::memcpy(p + i * sizeof(T), &t, sizeof(T));
    }
}

}  // namespace

bool CPixelResampler::SampleFixed(int32_t x256, int32_t y256, void* pixel) const {
    if (!m_pImage) return false;
    const int w = m_pImage->GetWidth(), h = m_pImage->GetHeight();
    const int bpc = CQPixelFormat(m_eFormat).GetBitsPerChannel();
    const int ix = x256 >> 8, iy = y256 >> 8;  // floor, also below zero
    const int px = x256 & 255, py = y256 & 255;
    const int32_t* wx = m_aWeights.data() + static_cast<size_t>(px * m_nTaps);
    const int32_t* wy = m_aWeights.data() + static_cast<size_t>(py * m_nTaps);
    // Nearest neighbour rounds the position; the filters start m_nOffset before it.
    const int x0 = m_nTaps == 1 ? (x256 + 128) >> 8 : ix - m_nOffset;
    const int y0 = m_nTaps == 1 ? (y256 + 128) >> 8 : iy - m_nOffset;
    double acc[4] = {};
    const size_t pixelBytes = static_cast<size_t>(CQPixelFormat(m_eFormat).GetBytesPerPixel());
    const double scale = 1.0 / static_cast<double>(1 << kWeightBits);
    for (int j = 0; j < m_nTaps; ++j) {
        if (wy[j] == 0) continue;
        const int row = qgdi::edge::MapIndex(y0 + j, h, m_eEdge);
        const uint8_t* line = row >= 0 && row < h ? m_pImage->GetRow(row, 0, w) : nullptr;
        if (row >= 0 && row < h && !line) return false;
        double racc[4] = {};
        for (int k = 0; k < m_nTaps; ++k) {
            if (wx[k] == 0) continue;
            const int col = qgdi::edge::MapIndex(x0 + k, w, m_eEdge);
            double v[4];
            if (!line || col < 0 || col >= w) {
                std::copy(m_aEdge, m_aEdge + 4, v);
            } else {
                const uint8_t* p = line + static_cast<size_t>(col) * pixelBytes;
                for (int c = 0; c < m_nChannels; ++c)
                    v[c] = bpc == 8    ? Load<uint8_t>(p, static_cast<size_t>(c))
                           : bpc == 16 ? Load<uint16_t>(p, static_cast<size_t>(c))
                                       : Load<float>(p, static_cast<size_t>(c));
            }
            // Straight alpha: colours are weighed by their alpha (premultiplied) for the sum.
            if (m_nAlpha >= 0)
                for (int c = 0; c < m_nChannels; ++c)
                    if (c != m_nAlpha) v[c] *= v[m_nAlpha];
            for (int c = 0; c < m_nChannels; ++c) racc[c] += wx[k] * v[c];
        }
        if (line) m_pImage->ReleaseRow(row).Ignore();
        for (int c = 0; c < m_nChannels; ++c) acc[c] += wy[j] * racc[c];
    }
    const double full = bpc == 8 ? 255.0 : bpc == 16 ? 65535.0 : 1.0;
    for (int c = 0; c < m_nChannels; ++c) acc[c] *= scale * scale;
    if (m_nAlpha >= 0) {
        const double a = acc[m_nAlpha];
        for (int c = 0; c < m_nChannels; ++c)
            if (c != m_nAlpha) acc[c] = a > 0 ? acc[c] / a : 0.0;
    }
    auto* out = static_cast<uint8_t*>(pixel);
    for (int c = 0; c < m_nChannels; ++c) {
        if (bpc == 8) Store<uint8_t>(out, static_cast<size_t>(c), acc[c], full);
        else if (bpc == 16) Store<uint16_t>(out, static_cast<size_t>(c), acc[c], full);
        else Store<float>(out, static_cast<size_t>(c), acc[c], full);
    }
    return true;
}

bool CPixelResampler::Sample(double x, double y, void* pixel) const {
    return SampleFixed(static_cast<int32_t>(std::floor(x * 256 + 0.5)), static_cast<int32_t>(std::floor(y * 256 + 0.5)),
                       pixel);
}

bool CPixelResampler::SampleSpan(int32_t x256, int32_t y256, int32_t dx256, int32_t dy256, int count, void* dst) const {
    if (!m_pImage || count < 0) return false;
    const size_t pixelBytes = static_cast<size_t>(CQPixelFormat(m_eFormat).GetBytesPerPixel());
    auto* out = static_cast<uint8_t*>(dst);
    for (int i = 0; i < count; ++i, x256 += dx256, y256 += dy256)
        if (!SampleFixed(x256, y256, out + static_cast<size_t>(i) * pixelBytes)) return false;
    return true;
}
