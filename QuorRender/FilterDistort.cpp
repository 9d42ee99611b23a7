#include "QuorRender/FilterDistort.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <memory>
#include <vector>

#include "QuorRender/KernelSource.h"
#include "QuorRender/PixelResampler.h"
#include "QuorRender/SeqOp.h"
#include "deformation/Coordinator.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

namespace {

// The 8-bit path: rows of the (premultiplied) source held for the whole run,
// the resampler's weight tables read directly, integer sums. Pixels whose
// taps all fall inside the image (nearly all) take no edge test per tap.
class CFastSampler {
public:
    CFastSampler(const CPixelResampler& r, const std::vector<const uint8_t*>& rows, int width, int channels,
                 EEdgeMode edge, const int32_t* edgeValues)
        : m_rows(rows), m_w(width), m_h(static_cast<int>(rows.size())), m_c(channels), m_taps(r.GetTaps()),
          m_offset((r.GetTaps() - 1) / 2), m_edge(edge), m_edgeValues(edgeValues) {
        m_weights.resize(static_cast<size_t>(CPixelResampler::kPhases) * m_taps);
        for (int p = 0; p < CPixelResampler::kPhases; ++p)
            for (int k = 0; k < m_taps; ++k) m_weights[static_cast<size_t>(p * m_taps + k)] = r.GetWeight(p, k);
    }

    void Row(const POINT* points, uint8_t* out, int count) const noexcept {
        for (int i = 0; i < count; ++i) Pixel(points[i].x, points[i].y, out + static_cast<size_t>(i) * m_c);
    }

private:
    void Pixel(int32_t x256, int32_t y256, uint8_t* out) const noexcept {
        const bool nearest = m_taps == 1;
        const int x0 = nearest ? (x256 + 128) >> 8 : (x256 >> 8) - m_offset;
        const int y0 = nearest ? (y256 + 128) >> 8 : (y256 >> 8) - m_offset;
        const int32_t* wx = m_weights.data() + static_cast<size_t>((x256 & 255) * m_taps);
        const int32_t* wy = m_weights.data() + static_cast<size_t>((y256 & 255) * m_taps);
        int64_t acc[4] = {};
        const bool inside = x0 >= 0 && y0 >= 0 && x0 + m_taps <= m_w && y0 + m_taps <= m_h;
        for (int j = 0; j < m_taps; ++j) {
            int32_t racc[4] = {};
            const int row = inside ? y0 + j : qgdi::edge::MapIndex(y0 + j, m_h, m_edge);
            const uint8_t* line = row >= 0 && row < m_h ? m_rows[static_cast<size_t>(row)] : nullptr;
            for (int k = 0; k < m_taps; ++k) {
                const int col = inside ? x0 + k : qgdi::edge::MapIndex(x0 + k, m_w, m_edge);
                if (line && col >= 0 && col < m_w) {
                    const uint8_t* p = line + static_cast<size_t>(col) * m_c;
                    for (int c = 0; c < m_c; ++c) racc[c] += wx[k] * p[c];
                } else {
                    for (int c = 0; c < m_c; ++c) racc[c] += wx[k] * m_edgeValues[c];
                }
            }
            for (int c = 0; c < m_c; ++c) acc[c] += static_cast<int64_t>(wy[j]) * racc[c];
        }
        constexpr int kShift = 2 * CPixelResampler::kWeightBits;
        for (int c = 0; c < m_c; ++c)
            out[c] = static_cast<uint8_t>(std::clamp<int64_t>((acc[c] + (int64_t(1) << (kShift - 1))) >> kShift, 0, 255));
    }

    const std::vector<const uint8_t*>& m_rows;
    int m_w, m_h, m_c, m_taps, m_offset;
    EEdgeMode m_edge;
    const int32_t* m_edgeValues;
    std::vector<int32_t> m_weights;
};

// All rows of `image` through `chain` into `out` (created in the chain's format).
CErrorAutoThrow Pull(VSeqOp& chain, CRowIterator& out, bool create) {
    if (!chain.Reset()) return QERR(keQuorErrOutOfMemory);
    const int w = chain.GetWidth(), h = chain.GetHeight();
    if (create) QGDI_TRY(out.Create(w, h, chain.GetPixelFormat()));
    for (int y = 0; y < h; ++y) {
        uint8_t* row = out.GetRow(y, 0, w);
        if (!row) return QERR(keQuorErrOutOfMemory);
        const bool ok = chain.GetNextRow(row, 0, w);
        out.ReleaseRow(y).Ignore();
        if (!ok) return QERR(keQuorErrFailed);
    }
    return CErrorAutoThrow();
}

// The rows of the map's destination, strip by strip in parallel, with
// progress between strips (so the status is only touched from this thread).
template <class RowFn>
CErrorAutoThrow Strips(CCoordinator& map, CRowIterator& out, int threads, CStatusControl* status, RowFn&& fill) {
    const int w = out.GetWidth(), h = out.GetHeight();
    constexpr int kStrip = 32;
    CStatusControl nested(status);
    nested.SetProgressRange(static_cast<uint64_t>(h));
    std::atomic<int> failure{0};
    for (int top = 0; top < h; top += kStrip) {
        const int bottom = std::min(h, top + kStrip);
        const bool scheduled = qgdi::parallel::For(
            top, bottom,
            [&](int y) {
                try {
                    std::vector<POINT> points(static_cast<size_t>(w));
                    map.GetCoordinates(points.data(), y, 0, w);
                    uint8_t* row = out.GetRow(y, 0, w);
                    if (!row || !fill(points.data(), row, w)) failure = keQuorErrOutOfMemory;
                    if (row) out.ReleaseRow(y).Ignore();
                } catch (const std::bad_alloc&) {
                    failure = keQuorErrOutOfMemory;
                }
            },
            1, threads);
        if (!scheduled) return QERR(keQuorErrOutOfMemory);
        if (failure.load() != 0) return QERR(static_cast<QuorErrorCode>(failure.load()));
        if (nested.SetProgress(static_cast<uint64_t>(bottom))) return QERR(keQuorErrCancelled);
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow FastDistort(const CRowIterator& source, CCoordinator& map, CRowIterator& destination,
                            const CPixelResampler& resampler, EEdgeMode edge, uint32_t edgeColour,
                            CStatusControl* status, int threads) {
    const EQPixelFormat format = source.GetPixelFormat();
    const EQPixelFormat working = qgdi::resample::WorkingFormat(format);
    const int sw = source.GetWidth(), sh = source.GetHeight();
    // Straight alpha is resampled premultiplied, as the resampler weighs it.
    CRowIterator premultiplied, result;
    const CRowIterator* in = &source;
    if (working != format) {
        CSeqOpAlphaForm chain(working);
        chain.SetSrc(new CSeqOpRowIterator(&source), 0, true);
        QGDI_TRY(Pull(chain, premultiplied, true));
        in = &premultiplied;
    }
    CRowIterator& out = working != format ? result : destination;
    if (working != format) QGDI_TRY(result.Create(destination.GetWidth(), destination.GetHeight(), working));
    const CQPixelFormat wf(working);
    int count = 0;
    EQChannel list[8];
    wf.GetChannels(count, list);
    int32_t edgeValues[4] = {};
    for (int c = 0; c < count && c < 4; ++c) edgeValues[c] = QGDI_GetChannelColor(edgeColour, list[c]);
    std::vector<const uint8_t*> rows(static_cast<size_t>(sh));
    int held = 0;
    for (; held < sh; ++held)
        if (!(rows[static_cast<size_t>(held)] = in->GetRow(held, 0, sw))) break;
    CErrorAutoThrow r;
    if (held == sh) {
        const CFastSampler sampler(resampler, rows, sw, count, edge, edgeValues);
        r = Strips(map, out, threads, status, [&](const POINT* p, uint8_t* row, int w) {
            sampler.Row(p, row, w);
            return true;
        });
    } else {
        r = QERR(keQuorErrOutOfMemory);
    }
    for (int y = 0; y < held; ++y) in->ReleaseRow(y).Ignore();
    QGDI_TRY(std::move(r));
    if (working != format) {
        CSeqOpAlphaForm chain(format);
        chain.SetSrc(new CSeqOpRowIterator(&result), 0, true);
        QGDI_TRY(Pull(chain, destination, false));
    }
    return CErrorAutoThrow();
}

}  // namespace

CErrorAutoThrow QGDI_DistortImage(const CRowIterator& source, CCoordinator& map, CRowIterator& destination,
                                  EQResampleMode mode, EEdgeMode edge, uint32_t edgeColour, CStatusControl* status,
                                  int threads) {
    QGDI_PROFILE_SCOPE("distort");
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    if (mode < 0 || mode >= keResampleModeCount || edge < keEdgeWrap || edge > keEdgeConstant)
        return QERR(keQuorErrFailed);
    CPixelResampler resampler(mode, edge, edgeColour);
    QGDI_TRY(resampler.Attach(&source));
    if (!map.Realize(source.GetWidth(), source.GetHeight())) return QERR(keQuorErrFailed);
    const int w = map.GetWidth(), h = map.GetHeight();
    if (w <= 0 || h <= 0) return QERR(keQuorErrFailed);
    const EQPixelFormat format = source.GetPixelFormat();
    if (!destination.IsAttached()) {
        QGDI_TRY(destination.Create(w, h, format));
    } else if (destination.GetWidth() != w || destination.GetHeight() != h || destination.GetPixelFormat() != format) {
        return QERR(keQuorErrFailed);
    }
    const CQPixelFormat pf(format);
    if (pf.Is8bit() && !pf.IsIndexedColor() && pf.GetChannelCount() <= 4)
        return FastDistort(source, map, destination, resampler, edge, edgeColour, status, threads);
    const size_t pixelBytes = static_cast<size_t>(pf.GetBytesPerPixel());
    return Strips(map, destination, threads, status, [&](const POINT* p, uint8_t* row, int count) {
        for (int x = 0; x < count; ++x)
            if (!resampler.SampleFixed(p[x].x, p[x].y, row + static_cast<size_t>(x) * pixelBytes)) return false;
        return true;
    });
}
