#include "segmentation/SmartSelection.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "segmentation/ColourMixture.h"
#include "segmentation/EdgeMatte.h"
#include "segmentation/MaxFlow.h"
#include "diagnostics/Profile.h"

using qgdi::segment::CColourMixture;
using qgdi::segment::CMaxFlow;

namespace {

// Energies are in units of 1/16 in the graph: fine enough that rounding never
// decides a label, small enough that sums stay far from overflow.
constexpr float kfScale = 16.f;
// A hard constraint: more than every border term of a pixel put together.
constexpr CMaxFlow::Cap kiHard = 1 << 24;
enum : uint8_t { keFree = 0, keHardBg = 1, keHardFg = 2 };
// Labels: background, foreground, and not known yet (strokes without a rectangle).
enum : uint8_t { keBg = 0, keFg = 1, keUnknown = 2 };

struct SStroke {
    bool fg;
    int x, y, r;
};

// Right, down, down-right, down-left: each pair of 8-neighbours once.
constexpr int kDx[4] = {1, 0, 1, -1};
constexpr int kDy[4] = {0, 1, 1, 1};
constexpr float kInvDist[4] = {1.f, 1.f, 0.70710678f, 0.70710678f};

int Dist2(const uint8_t* a, const uint8_t* b) {
    const int d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
    return d0 * d0 + d1 * d1 + d2 * d2;
}

// The contrast scale: border terms fall to 1/e where neighbours differ by
// the root of twice the image's mean squared neighbour difference.
double ContrastBeta(const uint8_t* img, int w, int h) {
    double sum = 0;
    int64_t pairs = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = img + 3 * (size_t(y) * size_t(w) + size_t(x));
            for (int d = 0; d < 4; ++d) {
                const int qx = x + kDx[d], qy = y + kDy[d];
                if (qx < 0 || qx >= w || qy >= h) continue;
                sum += Dist2(p, img + 3 * (size_t(qy) * size_t(w) + size_t(qx)));
                ++pairs;
            }
        }
    return sum > 0 ? double(pairs) / (2 * sum) : 0.0;
}

CMaxFlow::Cap EdgeCap(const uint8_t* p, const uint8_t* q, int d, double beta, double gamma) {
    const double v = gamma * kInvDist[d] * std::exp(-beta * Dist2(p, q));
    return static_cast<CMaxFlow::Cap>(v * kfScale + 0.5);
}

CMaxFlow::Cap CostCap(float cost) { return static_cast<CMaxFlow::Cap>(cost * kfScale + 0.5f); }

}  // namespace

struct CSmartSelection::SState {
    int width = 0, height = 0;
    std::vector<uint8_t> image;  // BGR
    double betaFull = -1;

    bool hasRect = false;
    RECT rect{};
    std::vector<SStroke> strokes;
    size_t applied = 0;
    std::vector<uint8_t> startMask;

    // The level the colour models and the persistent graph live at.
    SSmartSelectionOptions options;
    int factor = 1, ww = 0, wh = 0;
    std::vector<uint8_t> work;  // empty at factor 1
    std::vector<uint8_t> hardW, hardFull, label;
    std::vector<uint8_t> compF, compB, select;
    std::vector<float> costF, costB;
    std::vector<CMaxFlow::Cap> capS, capT;
    CColourMixture fg, bg;
    CMaxFlow flow;
    bool ready = false;  // graph, models and labels are those of a finished cut

    std::vector<uint8_t> result;  // full size, 0/1
    double energy = 0;
    int iterations = 0;

    const uint8_t* Work() const { return factor == 1 ? image.data() : work.data(); }
    size_t WorkPixels() const { return size_t(ww) * size_t(wh); }

    void Downscale();
    void PaintRect(std::vector<uint8_t>& hard, int w, int h, int f) const;
    void PaintStrokes(std::vector<uint8_t>& hard, int w, int h, int f, size_t from) const;
    void EvaluateModels();
    void Refit();
    // Terminal capacities from costs and constraints, added or changed.
    void SetTerminals(bool first);
    bool Solve(CStatusControl& status);
    CErrorAutoThrow BandStep(CStatusControl& status);
};

void CSmartSelection::SState::Downscale() {
    work.clear();
    if (factor == 1) return;
    work.assign(WorkPixels() * 3, 0);
    for (int y = 0; y < wh; ++y)
        for (int x = 0; x < ww; ++x) {
            int sum[3] = {0, 0, 0}, n = 0;
            for (int sy = y * factor; sy < std::min(height, (y + 1) * factor); ++sy)
                for (int sx = x * factor; sx < std::min(width, (x + 1) * factor); ++sx) {
                    const uint8_t* s = &image[3 * (size_t(sy) * size_t(width) + size_t(sx))];
                    sum[0] += s[0];
                    sum[1] += s[1];
                    sum[2] += s[2];
                    ++n;
                }
            uint8_t* d = &work[3 * (size_t(y) * size_t(ww) + size_t(x))];
            for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>((sum[c] + n / 2) / n);
        }
}

void CSmartSelection::SState::PaintRect(std::vector<uint8_t>& hard, int w, int h, int f) const {
    hard.assign(size_t(w) * size_t(h), keFree);
    if (!hasRect) return;
    // A pixel of a reduced level is background only when all it covers is outside.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool outside = (x + 1) * f <= rect.left || x * f >= rect.right || (y + 1) * f <= rect.top ||
                                 y * f >= rect.bottom;
            if (outside) hard[size_t(y) * size_t(w) + size_t(x)] = keHardBg;
        }
}

void CSmartSelection::SState::PaintStrokes(std::vector<uint8_t>& hard, int w, int h, int f, size_t from) const {
    for (size_t i = from; i < strokes.size(); ++i) {
        const SStroke& s = strokes[i];
        const double cx = (s.x + 0.5) / f - 0.5, cy = (s.y + 0.5) / f - 0.5, r = double(s.r) / f;
        const double r2 = std::max(r * r, f == 1 ? 0.0 : 0.5);
        const int ext = static_cast<int>(std::ceil(std::sqrt(r2)));
        const int x0 = std::max(0, static_cast<int>(std::floor(cx)) - ext);
        const int x1 = std::min(w - 1, static_cast<int>(std::ceil(cx)) + ext);
        const int y0 = std::max(0, static_cast<int>(std::floor(cy)) - ext);
        const int y1 = std::min(h - 1, static_cast<int>(std::ceil(cy)) + ext);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r2 + 1e-9)
                    hard[size_t(y) * size_t(w) + size_t(x)] = s.fg ? keHardFg : keHardBg;
    }
}

void CSmartSelection::SState::EvaluateModels() {
    const uint8_t* img = Work();
#pragma omp parallel for schedule(static) if (WorkPixels() >= (size_t(1) << 18))
    for (int y = 0; y < wh; ++y) {
        const size_t row = size_t(y) * size_t(ww);
        fg.Evaluate(img + 3 * row, ww, &costF[row], &compF[row]);
        bg.Evaluate(img + 3 * row, ww, &costB[row], &compB[row]);
    }
}

void CSmartSelection::SState::Refit() {
    // Each pixel goes to its most likely component of its own side's mixture
    // (found by the last evaluation, under the models still in place).
    const size_t n = WorkPixels();
    for (size_t i = 0; i < n; ++i) select[i] = label[i] == keFg ? compF[i] : 255;
    fg.Refit(Work(), select.data(), n, 3);
    for (size_t i = 0; i < n; ++i) select[i] = label[i] == keBg ? compB[i] : 255;
    bg.Refit(Work(), select.data(), n, 3);
}

void CSmartSelection::SState::SetTerminals(bool first) {
    const size_t n = WorkPixels();
    for (size_t i = 0; i < n; ++i) {
        // The source side is the foreground: a pixel left on the sink side
        // pays its background cost through the source link, and so on.
        CMaxFlow::Cap s, t;
        if (hardW[i] == keHardFg) s = kiHard, t = 0;
        else if (hardW[i] == keHardBg) s = 0, t = kiHard;
        else s = CostCap(costB[i]), t = CostCap(costF[i]);
        if (first) flow.AddTerminals(int(i), s, t);
        else if (s != capS[i] || t != capT[i]) flow.ChangeTerminals(int(i), capS[i], capT[i], s, t);
        capS[i] = s;
        capT[i] = t;
    }
}

bool CSmartSelection::SState::Solve(CStatusControl& status) {
    if (!flow.Solve([&status] { return status.AbortCheck(); })) {
        ready = false;
        return false;
    }
    const size_t n = WorkPixels();
    for (size_t i = 0; i < n; ++i) label[i] = flow.SourceSide(int(i)) ? keFg : keBg;
    energy = double(flow.Flow()) / kfScale;
    return true;
}

CErrorAutoThrow CSmartSelection::SState::BandStep(CStatusControl& status) {
    if (factor == 1) {
        result = label;
        return CErrorAutoThrow();
    }
    // The reduced cut, enlarged, is right away from its border; only a band
    // two reduced pixels wide on either side of it is cut again at full size.
    const int w = width, h = height;
    const size_t total = size_t(w) * size_t(h);
    std::vector<uint8_t> full(total), border(total), band(total);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t p = size_t(y) * size_t(w) + size_t(x);
            const uint8_t hard = hardFull[p];
            full[p] = hard == keHardFg ? 1 : hard == keHardBg ? 0 : label[size_t(y / factor) * size_t(ww) + size_t(x / factor)];
        }
    qgdi::segment::MarkBorder(full.data(), w, h, border.data());
    qgdi::segment::DilateMarks(border.data(), w, h, 2 * factor, band.data());
    std::vector<int32_t> id(total, -1);
    std::vector<size_t> pixel;
    for (size_t p = 0; p < total; ++p)
        if (band[p] && hardFull[p] == keFree) {
            id[p] = static_cast<int32_t>(pixel.size());
            pixel.push_back(p);
        }
    const int n = static_cast<int>(pixel.size());
    if (n > 0) {
        if (betaFull < 0) betaFull = ContrastBeta(image.data(), w, h);
        std::vector<uint8_t> colours(static_cast<size_t>(n) * 3), best(static_cast<size_t>(n));
        for (int k = 0; k < n; ++k) std::copy_n(&image[3 * pixel[size_t(k)]], 3, &colours[3 * size_t(k)]);
        // Reduced colours are averages, smoother than the pixels: the band is
        // priced by mixtures refitted to full-size colours (every other pixel
        // of every other row is plenty).
        CColourMixture fgFull = fg, bgFull = bg;
        {
            std::vector<uint8_t> sample, side, comp;
            for (int y = 0; y < h; y += 2)
                for (int x = 0; x < w; x += 2) {
                    const size_t p = size_t(y) * size_t(w) + size_t(x);
                    sample.insert(sample.end(), &image[3 * p], &image[3 * p + 3]);
                    side.push_back(full[p]);
                }
            const size_t m = side.size();
            std::vector<float> cost(m);
            std::vector<uint8_t> bestF(m), bestB(m);
            fg.Evaluate(sample.data(), int(m), cost.data(), bestF.data());
            bg.Evaluate(sample.data(), int(m), cost.data(), bestB.data());
            comp.resize(m);
            for (size_t i = 0; i < m; ++i) comp[i] = side[i] ? bestF[i] : 255;
            fgFull.Refit(sample.data(), comp.data(), m, 3);
            for (size_t i = 0; i < m; ++i) comp[i] = side[i] ? 255 : bestB[i];
            bgFull.Refit(sample.data(), comp.data(), m, 3);
        }
        std::vector<float> cf(static_cast<size_t>(n)), cb(static_cast<size_t>(n));
        fgFull.Evaluate(colours.data(), n, cf.data(), best.data());
        bgFull.Evaluate(colours.data(), n, cb.data(), best.data());
        std::vector<CMaxFlow::Cap> s(static_cast<size_t>(n)), t(static_cast<size_t>(n));
        for (int k = 0; k < n; ++k) {
            s[size_t(k)] = CostCap(cb[size_t(k)]);
            t[size_t(k)] = CostCap(cf[size_t(k)]);
        }
        CMaxFlow g;
        g.Reset(n, 4 * n);
        const double gamma = options.fSmoothness;
        for (int k = 0; k < n; ++k) {
            const size_t p = pixel[size_t(k)];
            const int x = int(p % size_t(w)), y = int(p / size_t(w));
            // All eight neighbours: those in the band share an edge (added
            // once, from the earlier pixel), those outside have fixed labels
            // and their border terms become terminal costs.
            for (int d = 0; d < 8; ++d) {
                const int dir = d & 3;
                const int sgn = d < 4 ? 1 : -1;
                const int qx = x + sgn * kDx[dir], qy = y + sgn * kDy[dir];
                if (qx < 0 || qx >= w || qy < 0 || qy >= h) continue;
                const size_t q = size_t(qy) * size_t(w) + size_t(qx);
                const CMaxFlow::Cap c = EdgeCap(&image[3 * p], &image[3 * q], dir, betaFull, gamma);
                if (id[q] >= 0) {
                    if (d < 4) g.AddEdge(k, id[q], c, c);
                } else if (full[q]) {
                    s[size_t(k)] += c;
                } else {
                    t[size_t(k)] += c;
                }
            }
        }
        for (int k = 0; k < n; ++k) g.AddTerminals(k, s[size_t(k)], t[size_t(k)]);
        if (!g.Solve([&status] { return status.AbortCheck(); })) return QERR(keQuorErrCancelled);
        for (int k = 0; k < n; ++k) full[pixel[size_t(k)]] = g.SourceSide(k) ? 1 : 0;
    }
    result.swap(full);
    return CErrorAutoThrow();
}

CSmartSelection::CSmartSelection() : m(std::make_unique<SState>()) {}
CSmartSelection::~CSmartSelection() = default;

CErrorAutoThrow CSmartSelection::SetImage(const CRowIterator& image) {
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    const int w = image.GetWidth(), h = image.GetHeight();
    if (w < 1 || h < 1) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator bgr;
        QGDI_TRY(bgr.CreateFromCopy(image, nullptr, keFormatBGR));
        auto next = std::make_unique<SState>();
        next->width = w;
        next->height = h;
        next->image.resize(size_t(w) * size_t(h) * 3);
        for (int y = 0; y < h; ++y) {
            const uint8_t* row = bgr.GetRow(y, 0, w);
            if (!row) return QERR(keQuorErrOutOfMemory);
            std::copy_n(row, size_t(w) * 3, &next->image[size_t(y) * size_t(w) * 3]);
            bgr.ReleaseRow(y).Ignore();
        }
        m = std::move(next);
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CSmartSelection::SetOptions(const SSmartSelectionOptions& o) {
    if (o.nIterations < 1 || o.nIterations > 100 || o.nComponents < 1 ||
        o.nComponents > CColourMixture::kiMaxComponents || !(o.fSmoothness >= 0 && o.fSmoothness <= 1e4) ||
        o.nRefineIterations < 0 || o.nRefineIterations > 100 || o.nCoarseAbove < 1 || o.nSoftRadius < 0 ||
        o.nSoftRadius > 64)
        return QERR(keQuorErrFailed);
    m_options = o;
    return CErrorAutoThrow();
}

CErrorAutoThrow CSmartSelection::SetRect(const RECT& r) {
    const RECT c{std::max<LONG>(r.left, 0), std::max<LONG>(r.top, 0), std::min<LONG>(r.right, m->width),
                 std::min<LONG>(r.bottom, m->height)};
    if (c.left >= c.right || c.top >= c.bottom) return QERR(keQuorErrFailed);
    m->hasRect = true;
    m->rect = c;
    m->ready = false;
    return CErrorAutoThrow();
}

CErrorAutoThrow CSmartSelection::AddStroke(bool foreground, int x, int y, int radius) {
    if (radius < 0 || x + radius < 0 || y + radius < 0 || x - radius >= m->width || y - radius >= m->height)
        return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        m->strokes.push_back({foreground, x, y, radius});
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CSmartSelection::AddStroke(bool foreground, const POINT* points, int count, int radius) {
    if (!points || count < 1 || radius < 0) return QERR(keQuorErrFailed);
    // Dabs no farther apart than half the radius leave no gaps between them.
    const double step = std::max(0.5, radius / 2.0);
    bool any = false;
    for (int i = 0; i < count; ++i) {
        const POINT a = points[i], b = i + 1 < count ? points[i + 1] : points[i];
        const double len = std::hypot(double(b.x - a.x), double(b.y - a.y));
        const int dabs = i + 1 < count ? std::max(1, static_cast<int>(std::ceil(len / step))) : 1;
        for (int k = 0; k < dabs; ++k) {
            const double t = double(k) / dabs;
            const int x = static_cast<int>(std::lround(a.x + t * (b.x - a.x)));
            const int y = static_cast<int>(std::lround(a.y + t * (b.y - a.y)));
            if (!AddStroke(foreground, x, y, radius).IsError()) any = true;
        }
    }
    return any ? CErrorAutoThrow() : QERR(keQuorErrFailed);
}

CErrorAutoThrow CSmartSelection::SetMask(const CRowIterator& mask) {
    if (!mask.IsAttached()) return QERR(keQuorErrIteratorState);
    if (mask.GetWidth() != m->width || mask.GetHeight() != m->height || m->width == 0) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator grey;
        QGDI_TRY(grey.CreateFromCopy(mask, nullptr, keFormatGrey));
        std::vector<uint8_t> start(size_t(m->width) * size_t(m->height));
        for (int y = 0; y < m->height; ++y) {
            const uint8_t* row = grey.GetRow(y, 0, m->width);
            if (!row) return QERR(keQuorErrOutOfMemory);
            for (int x = 0; x < m->width; ++x) start[size_t(y) * size_t(m->width) + size_t(x)] = row[x] >= 128;
            grey.ReleaseRow(y).Ignore();
        }
        m->startMask.swap(start);
        m->ready = false;
        return CErrorAutoThrow();
    });
}

void CSmartSelection::ClearInputs() {
    m->hasRect = false;
    m->strokes.clear();
    m->applied = 0;
    m->startMask.clear();
    m->result.clear();
    m->ready = false;
}

CErrorAutoThrow CSmartSelection::Segment(CStatusControl* status) {
    QGDI_PROFILE_SCOPE("select");
    SState& s = *m;
    if (s.image.empty()) return QERR(keQuorErrFailed);
    bool anyFg = false, anyBg = false;
    for (const SStroke& k : s.strokes) (k.fg ? anyFg : anyBg) = true;
    // Strokes alone must show both sides; a rectangle or a mask shows both.
    if (!s.hasRect && s.startMask.empty() && !(anyFg && anyBg)) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        s.ready = false;
        s.options = m_options;
        s.factor = 1;
        auto reduced = [&s](int v) { return (v + s.factor - 1) / s.factor; };
        while (int64_t(reduced(s.width)) * reduced(s.height) > s.options.nCoarseAbove && s.factor < 1024)
            s.factor *= 2;
        s.ww = reduced(s.width);
        s.wh = reduced(s.height);
        s.Downscale();
        const size_t n = s.WorkPixels();
        s.PaintRect(s.hardW, s.ww, s.wh, s.factor);
        s.PaintStrokes(s.hardW, s.ww, s.wh, s.factor, 0);
        if (s.factor > 1) {
            s.PaintRect(s.hardFull, s.width, s.height, 1);
            s.PaintStrokes(s.hardFull, s.width, s.height, 1, 0);
        }
        s.applied = s.strokes.size();

        s.label.assign(n, keUnknown);
        for (int y = 0; y < s.wh; ++y)
            for (int x = 0; x < s.ww; ++x) {
                const size_t i = size_t(y) * size_t(s.ww) + size_t(x);
                if (!s.startMask.empty()) {
                    const int fx = std::min(s.width - 1, x * s.factor + s.factor / 2);
                    const int fy = std::min(s.height - 1, y * s.factor + s.factor / 2);
                    s.label[i] = s.startMask[size_t(fy) * size_t(s.width) + size_t(fx)] ? keFg : keBg;
                } else if (s.hasRect) {
                    s.label[i] = keFg;
                }
                if (s.hardW[i] == keHardFg) s.label[i] = keFg;
                else if (s.hardW[i] == keHardBg) s.label[i] = keBg;
            }

        // First models from the colours each side is known or assumed to have.
        const uint8_t* img = s.Work();
        std::vector<uint8_t> fgColours, bgColours;
        for (size_t i = 0; i < n; ++i) {
            if (s.label[i] == keFg) fgColours.insert(fgColours.end(), img + 3 * i, img + 3 * i + 3);
            else if (s.label[i] == keBg) bgColours.insert(bgColours.end(), img + 3 * i, img + 3 * i + 3);
        }
        if (bgColours.empty()) {
            // A rectangle over the whole image: its frame stands for the background.
            for (size_t i = 0; i < n; ++i) {
                const size_t x = i % size_t(s.ww), y = i / size_t(s.ww);
                if ((x == 0 || y == 0 || x + 1 == size_t(s.ww) || y + 1 == size_t(s.wh)) && s.hardW[i] != keHardFg)
                    bgColours.insert(bgColours.end(), img + 3 * i, img + 3 * i + 3);
            }
        }
        if (fgColours.empty() || bgColours.empty()) return QERR(keQuorErrFailed);
        s.fg.Initialise(fgColours.data(), fgColours.size() / 3, 3, s.options.nComponents);
        s.bg.Initialise(bgColours.data(), bgColours.size() / 3, 3, s.options.nComponents);
        fgColours = {};
        bgColours = {};

        s.costF.assign(n, 0.f);
        s.costB.assign(n, 0.f);
        s.compF.assign(n, 0);
        s.compB.assign(n, 0);
        s.select.assign(n, 0);
        s.capS.assign(n, 0);
        s.capT.assign(n, 0);
        s.flow.Reset(int(n), int(4 * n));
        const double beta = ContrastBeta(img, s.ww, s.wh);
        if (s.factor == 1) s.betaFull = beta;
        for (int y = 0; y < s.wh; ++y)
            for (int x = 0; x < s.ww; ++x) {
                const size_t p = size_t(y) * size_t(s.ww) + size_t(x);
                for (int d = 0; d < 4; ++d) {
                    const int qx = x + kDx[d], qy = y + kDy[d];
                    if (qx < 0 || qx >= s.ww || qy >= s.wh) continue;
                    const size_t q = size_t(qy) * size_t(s.ww) + size_t(qx);
                    const CMaxFlow::Cap c = EdgeCap(img + 3 * p, img + 3 * q, d, beta, s.options.fSmoothness);
                    s.flow.AddEdge(int(p), int(q), c, c);
                }
            }

        CStatusControl nested(status);
        nested.SetProgressRange(uint64_t(s.options.nIterations) + 1);
        s.iterations = 0;
        double previous = 0;
        for (int it = 0; it < s.options.nIterations; ++it) {
            if (it > 0) s.Refit();
            s.EvaluateModels();
            s.SetTerminals(it == 0);
            if (!s.Solve(nested)) return QERR(keQuorErrCancelled);
            s.iterations = it + 1;
            if (nested.SetProgress(uint64_t(it) + 1)) return QERR(keQuorErrCancelled);
            // Settled: refitting cannot raise the energy, so a tiny drop means
            // the next rounds would change next to nothing.
            if (it > 0 && previous - s.energy <= 1e-3 * previous) break;
            previous = s.energy;
        }
        QGDI_TRY(s.BandStep(nested));
        s.ready = true;
        nested.SetProgress(uint64_t(s.options.nIterations) + 1);
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CSmartSelection::Refine(CStatusControl* status) {
    QGDI_PROFILE_SCOPE("select refine");
    SState& s = *m;
    if (!s.ready) return Segment(status);
    if (s.applied == s.strokes.size()) return CErrorAutoThrow();
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CStatusControl nested(status);
        nested.SetProgressRange(uint64_t(s.options.nRefineIterations) + 2);
        // A small change may be solved before the flow's first poll: look once first.
        if (nested.AbortCheck()) return QERR(keQuorErrCancelled);
        // Stopped half-way, the next call starts over from all the inputs.
        s.ready = false;
        s.PaintStrokes(s.hardW, s.ww, s.wh, s.factor, s.applied);
        if (s.factor > 1) s.PaintStrokes(s.hardFull, s.width, s.height, 1, s.applied);
        s.applied = s.strokes.size();
        // Only the stroked pixels' terminals change: the solve resumes from
        // the last flow and trees.
        s.SetTerminals(false);
        if (!s.Solve(nested)) return QERR(keQuorErrCancelled);
        for (int it = 0; it < s.options.nRefineIterations; ++it) {
            if (nested.SetProgress(uint64_t(it) + 1)) return QERR(keQuorErrCancelled);
            s.Refit();
            s.EvaluateModels();
            s.SetTerminals(false);
            if (!s.Solve(nested)) return QERR(keQuorErrCancelled);
        }
        QGDI_TRY(s.BandStep(nested));
        s.ready = true;
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CSmartSelection::GetMask(CRowIterator& mask) const {
    const SState& s = *m;
    if (s.result.empty() || s.result.size() != size_t(s.width) * size_t(s.height)) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        std::vector<uint8_t> alpha(s.result.size());
        if (s.options.bSoftEdge) {
            const std::vector<uint8_t>& hard = s.factor > 1 ? s.hardFull : s.hardW;
            qgdi::segment::SoftenBorder(s.image.data(), s.result.data(), hard.data(), s.width, s.height,
                                        s.options.nSoftRadius, alpha.data());
        } else {
            for (size_t i = 0; i < alpha.size(); ++i) alpha[i] = s.result[i] ? 255 : 0;
        }
        const bool attached = mask.IsAttached();
        CRowIterator grey;
        CRowIterator& target = attached ? grey : mask;
        if (attached && (mask.GetWidth() != s.width || mask.GetHeight() != s.height)) return QERR(keQuorErrFailed);
        QGDI_TRY(target.Create(s.width, s.height, keFormatGrey));
        for (int y = 0; y < s.height; ++y) {
            uint8_t* row = target.GetRow(y, 0, s.width);
            if (!row) return QERR(keQuorErrOutOfMemory);
            std::copy_n(&alpha[size_t(y) * size_t(s.width)], size_t(s.width), row);
            target.ReleaseRow(y).Ignore();
        }
        if (attached) QGDI_TRY(mask.Copy(grey));
        return CErrorAutoThrow();
    });
}

double CSmartSelection::GetEnergy() const noexcept { return m->energy; }
int CSmartSelection::GetIterationsRun() const noexcept { return m->iterations; }
