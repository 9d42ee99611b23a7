#include "QuorRender/FilterDistort.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

#include "QuorRender/PixelResampler.h"
#include "deformation/Coordinator.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"

CErrorAutoThrow QGDI_DistortImage(const CRowIterator& source, CCoordinator& map, CRowIterator& destination,
                                  EQResampleMode mode, EEdgeMode edge, uint32_t edgeColour, CStatusControl* status,
                                  int threads) {
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
    const size_t pixelBytes = static_cast<size_t>(CQPixelFormat(format).GetBytesPerPixel());

    // Strips of rows between progress reports, so that the status is only
    // touched from this thread.
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
                    uint8_t* row = destination.GetRow(y, 0, w);
                    if (!row) {
                        failure = keQuorErrOutOfMemory;
                        return;
                    }
                    for (int x = 0; x < w; ++x)
                        if (!resampler.SampleFixed(points[static_cast<size_t>(x)].x, points[static_cast<size_t>(x)].y,
                                                   row + static_cast<size_t>(x) * pixelBytes)) {
                            failure = keQuorErrOutOfMemory;
                            break;
                        }
                    destination.ReleaseRow(y).Ignore();
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
