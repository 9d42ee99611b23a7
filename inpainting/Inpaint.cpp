// The public entry of content-aware fill: reads the mask, splits the hole into
// groups that are far enough apart to be filled independently, fills each on
// a crop of the image around it, and writes every result back only once all
// have succeeded, so that a cancelled or failed call leaves the image as it was.
#include "inpainting/Inpaint.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "inpainting/InpaintConvert.h"
#include "inpainting/PatchFill.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

namespace qgdi::inpaint {
namespace {

constexpr uint8_t kMaskThreshold = 128;
constexpr uint64_t kProgressRange = 1000;

// The mask as 0/1 bytes, rows packed; another format is read through a grey view.
CErrorAutoThrow ReadMask(const CRowIterator& mask, TImage<uint8_t, 1>& out) {
    CRowIterator grey;
    const CRowIterator* source = &mask;
    if (mask.GetPixelFormat() != keFormatGrey) {
        QGDI_TRY(grey.Attach(mask));
        if (grey.SetPixelFormat(keFormatGrey, keImageModifyReadOnly).IsError()) return QERR(keQuorErrFailed);
        source = &grey;
    }
    if (!out.Create(mask.GetWidth(), mask.GetHeight())) return QERR(keQuorErrOutOfMemory);
    for (int y = 0; y < out.Height(); ++y) {
        const uint8_t* row = nullptr;
        QGDI_TRY(source->GetRow(row, y, 0, out.Width()));
        uint8_t* o = out.Row(y);
        for (int x = 0; x < out.Width(); ++x) o[x] = row[x] >= kMaskThreshold;
        source->ReleaseRow(y).Ignore();
    }
    return {};
}

struct SGroup {
    int x0, y0, x1, y1;  // bounding box of the grown component, exclusive ends
    int seedX, seedY;    // one hole pixel of it
    int64_t holePixels;
};

// Components of the hole grown by `grow`: holes closer than that share
// patches and are filled together. `grown` receives the grown mask.
std::vector<SGroup> FindGroups(const TImage<uint8_t, 1>& hole, int grow, TImage<uint8_t, 1>& grown) {
    const int w = hole.Width(), h = hole.Height();
    if (!grown.Create(w, h)) throw std::bad_alloc();
    detail::DilateWhere(hole.View(), grown.View(), grow, [](uint8_t v) { return v != 0; });
    std::vector<SGroup> groups;
    std::vector<int64_t> stack;
    // 1: grown, not yet visited; 2: visited.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (grown.Row(y)[x] != 1) continue;
            SGroup g{x, y, x + 1, y + 1, -1, -1, 0};
            stack.assign(1, static_cast<int64_t>(y) * w + x);
            grown.Row(y)[x] = 2;
            while (!stack.empty()) {
                const int64_t i = stack.back();
                stack.pop_back();
                const int px = static_cast<int>(i % w), py = static_cast<int>(i / w);
                g.x0 = std::min(g.x0, px), g.x1 = std::max(g.x1, px + 1);
                g.y0 = std::min(g.y0, py), g.y1 = std::max(g.y1, py + 1);
                if (hole.Row(py)[px]) {
                    ++g.holePixels;
                    if (g.seedX < 0) g.seedX = px, g.seedY = py;
                }
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) {
                        const int qx = px + dx, qy = py + dy;
                        if (qx < 0 || qy < 0 || qx >= w || qy >= h || grown.Row(qy)[qx] != 1) continue;
                        grown.Row(qy)[qx] = 2;
                        stack.push_back(static_cast<int64_t>(qy) * w + qx);
                    }
            }
            groups.push_back(g);
        }
    return groups;
}

// What one group leaves to write: the pixels of its box that change.
template <class T, int C>
struct TGroupResult {
    int x = 0, y = 0;
    TImage<T, C> pixels;
    TImage<uint8_t, 1> where;
};

template <class T, int C>
class TInpaintJob {
public:
    TInpaintJob(CRowIterator& image, const TImage<uint8_t, 1>& hole, const TImage<uint8_t, 1>* source,
                const SQInpaintOptions& options, CStatusControl* status)
        : m_image(image), m_hole(hole), m_source(source), m_options(options), m_status(status) {}

    CErrorAutoThrow Run() {
        const int grow = m_options.nPatchSize / 2 + m_options.nFeather + 1;
        TImage<uint8_t, 1> grown;
        const std::vector<SGroup> groups = FindGroups(m_hole, grow, grown);
        int64_t total = 0;
        for (const SGroup& g : groups) total += g.holePixels;
        std::vector<TGroupResult<T, C>> results(groups.size());
        int64_t done = 0;
        for (size_t i = 0; i < groups.size(); ++i) {
            const double base = double(done) / double(total), share = double(groups[i].holePixels) / double(total);
            QGDI_TRY(FillGroup(groups[i], grown, grow, base, share, results[i]));
            done += groups[i].holePixels;
        }
        for (const auto& r : results) QGDI_TRY((WriteImage<T, C>(r.pixels.View(), r.where.View(), m_image, r.x, r.y)));
        if (m_status) m_status->SetProgress(kProgressRange);
        return {};
    }

private:
    CErrorAutoThrow FillGroup(const SGroup& g, const TImage<uint8_t, 1>& grown, int grow, double base, double share,
                              TGroupResult<T, C>& result) {
        const int W = m_hole.Width(), H = m_hole.Height(), feather = m_options.nFeather;
        // Context around the hole, in proportion to its smaller side.
        const int holeW = g.x1 - g.x0 - 2 * grow, holeH = g.y1 - g.y0 - 2 * grow;
        const int margin = std::max(8 * m_options.nPatchSize, 2 * std::max(holeW, holeH)) + feather;
        const int cx0 = std::max(0, g.x0 - margin), cy0 = std::max(0, g.y0 - margin);
        const int cx1 = std::min(W, g.x1 + margin), cy1 = std::min(H, g.y1 + margin);
        const int cw = cx1 - cx0, ch = cy1 - cy0;
        TImage<T, C> crop;
        TImage<uint8_t, 1> state;
        if (!crop.Create(cw, ch) || !state.Create(cw, ch)) return QERR(keQuorErrOutOfMemory);
        QGDI_TRY((ReadImage<T, C>(m_image, cx0, cy0, crop.View())));

        // This group's hole: the hole pixels of its grown component (flooded
        // again inside its box); other hole pixels are excluded.
        const int bw = g.x1 - g.x0, bh = g.y1 - g.y0;
        std::vector<uint8_t> mine(static_cast<size_t>(bw) * bh, 0);
        std::vector<int64_t> stack{static_cast<int64_t>(g.seedY - g.y0) * bw + (g.seedX - g.x0)};
        mine[static_cast<size_t>(stack[0])] = 1;
        while (!stack.empty()) {
            const int64_t i = stack.back();
            stack.pop_back();
            const int px = static_cast<int>(i % bw), py = static_cast<int>(i / bw);
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int qx = px + dx, qy = py + dy;
                    if (qx < 0 || qy < 0 || qx >= bw || qy >= bh) continue;
                    uint8_t& m = mine[static_cast<size_t>(qy) * bw + qx];
                    if (m || !grown.Row(g.y0 + qy)[g.x0 + qx]) continue;
                    m = 1;
                    stack.push_back(static_cast<int64_t>(qy) * bw + qx);
                }
        }
        for (int y = 0; y < ch; ++y) {
            const uint8_t* hole = m_hole.Row(cy0 + y) + cx0;
            const uint8_t* source = m_source ? m_source->Row(cy0 + y) + cx0 : nullptr;
            uint8_t* s = state.Row(y);
            const int gy = cy0 + y - g.y0;
            for (int x = 0; x < cw; ++x) {
                const int gx = cx0 + x - g.x0;
                const bool inGroup = gx >= 0 && gy >= 0 && gx < bw && gy < bh && mine[static_cast<size_t>(gy) * bw + gx];
                s[x] = hole[x] ? (inGroup ? kStateHole : kStateExcluded) : kStateKnown;
                if (source && !source[x]) s[x] |= kStateNoSource;
            }
        }
        // The feather band: distance rings grown out of the hole, filled too
        // and blended by distance.
        TImage<uint8_t, 1> ring;
        if (!ring.Create(cw, ch, 255)) return QERR(keQuorErrOutOfMemory);
        // The band lies within the group's box, which the crop contains.
        const int bx0 = g.x0 - cx0, by0 = g.y0 - cy0, bx1 = g.x1 - cx0, by1 = g.y1 - cy0;
        for (int y = by0; y < by1; ++y)
            for (int x = bx0; x < bx1; ++x)
                if ((state.Row(y)[x] & kStateKindMask) == kStateHole) ring.Row(y)[x] = 0;
        for (int k = 1; k <= feather; ++k)
            for (int y = by0; y < by1; ++y)
                for (int x = bx0; x < bx1; ++x) {
                    if (ring.Row(y)[x] != 255 || (state.Row(y)[x] & kStateKindMask) != kStateKnown) continue;
                    bool next = false;
                    for (int dy = -1; dy <= 1 && !next; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            if (ring.View().Contains(x + dx, y + dy) && ring.Row(y + dy)[x + dx] == k - 1) next = true;
                    if (next) ring.Row(y)[x] = static_cast<uint8_t>(k);
                }
        int rx0 = cw, ry0 = ch, rx1 = 0, ry1 = 0;
        for (int y = by0; y < by1; ++y)
            for (int x = bx0; x < bx1; ++x)
                if (ring.Row(y)[x] != 255) {
                    state.Row(y)[x] = static_cast<uint8_t>(kStateHole | (state.Row(y)[x] & kStateNoSource));
                    rx0 = std::min(rx0, x), rx1 = std::max(rx1, x + 1), ry0 = std::min(ry0, y), ry1 = std::max(ry1, y + 1);
                }

        SFillSettings settings;
        settings.nPatch = m_options.nPatchSize;
        settings.nSeed = CFillRandom::Mix(m_options.nSeed, static_cast<uint64_t>(g.seedY) << 32 | uint32_t(g.seedX));
        settings.nThreads = m_options.nThreads;
        TPatchFill<T, C> fill(crop.View(), state.View(), settings);
        const FillProgressFn progress = [&](double f) {
            if (!m_status) return false;
            return m_status->SetProgress(static_cast<uint64_t>((base + share * f) * (kProgressRange - 1)));
        };
        QGDI_TRY(fill.Run(progress));

        // Keep only the changed box, blended with the original over the band.
        result.x = cx0 + rx0, result.y = cy0 + ry0;
        if (!result.pixels.Create(rx1 - rx0, ry1 - ry0) || !result.where.Create(rx1 - rx0, ry1 - ry0))
            return QERR(keQuorErrOutOfMemory);
        QGDI_TRY((ReadImage<T, C>(m_image, result.x, result.y, result.pixels.View())));
        constexpr float kMax = static_cast<float>(std::numeric_limits<T>::max());
        for (int y = ry0; y < ry1; ++y)
            for (int x = rx0; x < rx1; ++x) {
                const uint8_t d = ring.Row(y)[x];
                if (d == 255) continue;
                result.where.Row(y - ry0)[x - rx0] = 1;
                const T* f = crop.At(x, y);
                T* o = result.pixels.At(x - rx0, y - ry0);
                const float alpha = 1.0f - static_cast<float>(d) / static_cast<float>(feather + 1);
                for (int c = 0; c < C; ++c)
                    o[c] = d == 0 ? f[c]
                                  : static_cast<T>(std::clamp(static_cast<float>(o[c]) +
                                                                  (static_cast<float>(f[c]) - static_cast<float>(o[c])) * alpha + 0.5f,
                                                              0.0f, kMax));
            }
        return {};
    }

    CRowIterator& m_image;
    const TImage<uint8_t, 1>& m_hole;
    const TImage<uint8_t, 1>* m_source;
    const SQInpaintOptions& m_options;
    CStatusControl* m_status;
};

}  // namespace
}  // namespace qgdi::inpaint

CErrorAutoThrow QGDI_Inpaint(CRowIterator& image, const CRowIterator& mask, const SQInpaintOptions& options,
                             CStatusControl* status) {
    using namespace qgdi::inpaint;
    QGDI_PROFILE_SCOPE("inpaint");
    if (!image.IsAttached() || !mask.IsAttached()) return QERR(keQuorErrFailed);
    if (!mask.IsSameSizeAs(image) || options.nPatchSize < 3 || options.nPatchSize > 31 ||
        options.nPatchSize % 2 == 0 || options.nFeather < 0 || options.nFeather > 64 || options.nThreads < 0)
        return QERR(keQuorErrFailed);
    if (options.pSource && (!options.pSource->IsAttached() || !options.pSource->IsSameSizeAs(image)))
        return QERR(keQuorErrFailed);
    if (!IsConvertible(image.GetPixelFormat())) return QERR(keQuorErrInpaintFormat);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        TImage<uint8_t, 1> hole, source;
        QGDI_TRY(ReadMask(mask, hole));
        int64_t count = 0;
        for (int y = 0; y < hole.Height(); ++y)
            for (int x = 0; x < hole.Width(); ++x) count += hole.Row(y)[x];
        if (count == 0 || count == static_cast<int64_t>(hole.Width()) * hole.Height()) return QERR(keQuorErrFailed);
        if (options.pSource) QGDI_TRY(ReadMask(*options.pSource, source));
        if (status) {
            status->SetProgressRange(kProgressRange);
            if (status->SetProgress(0)) return QERR(keQuorErrCancelled);
        }
        return VisitImageType(image.GetPixelFormat(), [&](auto tag, auto channels) -> CErrorAutoThrow {
            using T = typename decltype(tag)::type;
            constexpr int C = decltype(channels)::value;
            return TInpaintJob<T, C>(image, hole, options.pSource ? &source : nullptr, options, status).Run();
        });
    });
}
