// SVG path data: whatever the reader accepts builds a path that flattens,
// dashes and measures without fault, and a bounded buffer receives exactly a
// prefix of the commands the unbounded path receives.
#include <cmath>
#include <cstdlib>
#include <string>

#include "qgdi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    const char* text = reinterpret_cast<const char*>(data);
    CQPath path;
    size_t at = 0;
    const bool ok = QGDI_PathDataParse(text, size, path.GetPathReceiver(), &at);
    if (at > size || (ok && at != size)) std::abort();

    CQPathBuffer small;
    small.Create(8);
    size_t atSmall = 0;
    QGDI_PathDataParse(text, size, &small, &atSmall);
    if (small.GetCount() > 8) std::abort();

    CQPathIterator flat;
    if (flat.CreateFlat(path, 0.05, nullptr)) {
        SQPATHCMD c;
        size_t n = 0;
        while (flat.Next(c)) ++n;
        SQRECT box;
        flat.GetBBox(box);
        (void)n;
    }
    const double pattern[] = {3.0, 1.5, 0.0, 2.0};
    CQPathIterator dashed;
    dashed.CreateDashed(path, SQDASH{pattern, 4, 1.0});
    SQRECT box;
    path.GetBBox(box);
    path.GetLooseBBox(box);
    CQCurve curve;
    if (path.AsCurve(curve) && curve.GetSegmentCount() < 256) {
        SQPOINT p;
        curve.GetPoint(curve.GetLength() * 0.5, p);
    }
    if (path.GetVertices(nullptr, 0) < 512) {
        CQPath rect, out;
        rect.CreateRect({-10, -10, 10, 10});
        CQPathBoolean b;
        if (!b.SetPaths(path, rect).IsError()) {
            const CErrorAutoThrow r = b.GetPath(out, keBoolXor, kePathFillEvenOdd);
            (void)r.IsError();
        }
    }
    return 0;
}
