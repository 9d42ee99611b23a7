#include "drawing/Region.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>

#include "qdibcore/Source/PixelFormatTraits.h"

namespace {

void PutVarint(std::vector<uint8_t>& out, uint32_t v) {
    while (v >= 0x80) {
        out.push_back(uint8_t(v | 0x80));
        v >>= 7;
    }
    out.push_back(uint8_t(v));
}

uint32_t GetVarint(const uint8_t*& p) noexcept {
    uint32_t v = 0;
    for (int shift = 0;; shift += 7) {
        const uint8_t b = *p++;
        v |= uint32_t(b & 0x7F) << shift;
        if (!(b & 0x80)) return v;
    }
}

uint32_t ZigZag(int64_t v) noexcept { return uint32_t(v < 0 ? ((-v) << 1) - 1 : v << 1); }
int64_t UnZigZag(uint32_t v) noexcept { return (v & 1) ? -int64_t((v + 1) >> 1) : int64_t(v >> 1); }

// One run per maximal stretch of equal non-zero bytes.
void RunsOfBytes(const uint8_t* bytes, int count, int x, int y, std::vector<SRegionRun>& runs) {
    for (int i = 0; i < count;) {
        const uint8_t c = bytes[i];
        int j = i + 1;
        while (j < count && bytes[j] == c) ++j;
        if (c) runs.push_back({x + i, y, j - i, c});
        i = j;
    }
}

}  // namespace

void CQRegion::Clear() noexcept {
    m_rowFirst = 0;
    m_rowLast = -1;
    m_box = RECT{0, 0, 0, 0};
    m_compressed = false;
    m_runs.clear();
    m_runs.shrink_to_fit();
    m_rowIndex.clear();
    m_bytes.clear();
}

bool CQRegion::CreateFromRuns(const SRegionRun* runs, int count) {
    Clear();
    if (count < 0 || (count > 0 && !runs)) return false;
    try {
        std::vector<SRegionRun> kept;
        kept.reserve(size_t(count));
        for (int i = 0; i < count; ++i) {
            SRegionRun r = runs[i];
            if (r.length <= 0 || r.coverage <= 0) continue;
            r.coverage = std::min(r.coverage, 255);
            r.length = int32_t(std::min<int64_t>(r.length, int64_t(INT_MAX) - r.x));
            if (r.length > 0) kept.push_back(r);
        }
        auto before = [](const SRegionRun& a, const SRegionRun& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; };
        if (!std::is_sorted(kept.begin(), kept.end(), before)) std::stable_sort(kept.begin(), kept.end(), before);
        if (kept.empty()) return true;
        m_rowFirst = kept.front().y;
        m_rowLast = kept.back().y;
        int64_t left = INT64_MAX, right = INT64_MIN;
        for (const SRegionRun& r : kept) {
            left = std::min<int64_t>(left, r.x);
            right = std::max<int64_t>(right, int64_t(r.x) + r.length);
        }
        m_box = RECT{int(left), m_rowFirst, int(right), int(std::min<int64_t>(int64_t(m_rowLast) + 1, INT_MAX))};
        const size_t rows = size_t(int64_t(m_rowLast) - m_rowFirst + 1);
        m_rowIndex.assign(rows + 1, 0);
        size_t i = 0;
        for (size_t r = 0; r < rows; ++r) {
            m_rowIndex[r] = i;
            while (i < kept.size() && int64_t(kept[i].y) - m_rowFirst == int64_t(r)) ++i;
        }
        m_rowIndex[rows] = kept.size();
        m_runs = std::move(kept);
    } catch (const std::bad_alloc&) {
        Clear();
        return false;
    }
    return true;
}

bool CQRegion::Compress() {
    if (m_compressed || IsEmpty()) return true;
    try {
        std::vector<uint8_t> bytes;
        bytes.reserve(m_runs.size() * 4);
        std::vector<size_t> index(m_rowIndex.size());
        const size_t rows = m_rowIndex.size() - 1;
        for (size_t r = 0; r < rows; ++r) {
            index[r] = bytes.size();
            int64_t end = m_box.left;
            for (size_t i = m_rowIndex[r]; i < m_rowIndex[r + 1];) {
                // Touching runs of one coverage become one.
                SRegionRun run = m_runs[i++];
                while (i < m_rowIndex[r + 1] && m_runs[i].x == run.x + run.length &&
                       m_runs[i].coverage == run.coverage && int64_t(run.length) + m_runs[i].length <= INT_MAX)
                    run.length += m_runs[i++].length;
                PutVarint(bytes, ZigZag(run.x - end));
                PutVarint(bytes, uint32_t(run.length));
                bytes.push_back(uint8_t(run.coverage));
                end = int64_t(run.x) + run.length;
            }
        }
        index[rows] = bytes.size();
        bytes.shrink_to_fit();
        m_bytes = std::move(bytes);
        m_rowIndex = std::move(index);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_runs.clear();
    m_runs.shrink_to_fit();
    m_compressed = true;
    return true;
}

size_t CQRegion::GetDataSize() const noexcept {
    return m_compressed ? m_bytes.size() : m_runs.size() * sizeof(SRegionRun);
}

template <class Fn>
bool CQRegion::ForRow(int y, Fn&& fn) const {
    if (y < m_rowFirst || y > m_rowLast) return true;
    const size_t r = size_t(int64_t(y) - m_rowFirst);
    if (!m_compressed) {
        for (size_t i = m_rowIndex[r]; i < m_rowIndex[r + 1]; ++i)
            if (!fn(m_runs[i].x, m_runs[i].length, m_runs[i].coverage)) return false;
        return true;
    }
    const uint8_t* p = m_bytes.data() + m_rowIndex[r];
    const uint8_t* end = m_bytes.data() + m_rowIndex[r + 1];
    int64_t x = m_box.left;
    while (p < end) {
        x += UnZigZag(GetVarint(p));
        const int length = int(GetVarint(p));
        const int coverage = *p++;
        if (!fn(int(x), length, coverage)) return false;
        x += length;
    }
    return true;
}

bool CQRegion::Fill(VScanReceiver* receiver, EAntialiasingFilter) const {
    if (!receiver) return false;
    for (int64_t y = m_rowFirst; y <= m_rowLast; ++y)
        if (!ForRow(int(y), [&](int x, int length, int coverage) { return receiver->AddScan(x, int(y), coverage, length); }))
            return false;
    return true;
}

bool CQRegion::GetBBox(RECT& box) const {
    if (IsEmpty()) return false;
    box = m_box;
    return true;
}

bool CQRegion::Intersects(const RECT& rect) const {
    const int64_t left = std::min(rect.left, rect.right), right = std::max(rect.left, rect.right);
    const int64_t top = std::max<int64_t>(std::min(rect.top, rect.bottom), m_rowFirst);
    const int64_t bottom = std::min<int64_t>(std::max(rect.top, rect.bottom), int64_t(m_rowLast) + 1);
    if (IsEmpty() || left == right) return false;
    for (int64_t y = top; y < bottom; ++y)
        if (!ForRow(int(y), [&](int x, int length, int) { return !(x < right && int64_t(x) + length > left); }))
            return true;
    return false;
}

bool CQRegion::PtInRegion(int x, int y, int* coverage) const {
    int found = 0;
    ForRow(y, [&](int rx, int length, int c) {
        if (x >= rx && int64_t(x) < int64_t(rx) + length) found = c;
        return found == 0 && rx <= x;
    });
    if (coverage) *coverage = found;
    return found != 0;
}

bool CQRegion::CreateFromPolygon(SQPolygon* polygon, EAntialiasingFilter filter) {
    Clear();
    if (!polygon) return false;
    CRegionReceiver receiver;
    if (!polygon->Fill(&receiver, filter) || !receiver.IsOk()) return false;
    return TakeFrom(receiver);
}

bool CQRegion::TakeFrom(CRegionReceiver& receiver) {
    CQRegion* grabbed = receiver.GrabRegion();
    if (!grabbed) return false;
    std::swap(m_rowFirst, grabbed->m_rowFirst);
    std::swap(m_rowLast, grabbed->m_rowLast);
    std::swap(m_box, grabbed->m_box);
    m_rowIndex.swap(grabbed->m_rowIndex);
    m_runs.swap(grabbed->m_runs);
    grabbed->Unreference();
    return true;
}

bool CQRegion::CreateFromPath(const CQPath& path, const double* matrix, const SRasterProps& props, const RECT& clip) {
    Clear();
    if (clip.right <= clip.left || clip.bottom <= clip.top) return false;
    const int scale = QGDI_PolygonAntialiasingLevelToScale(props.antialiasingFilter, props.antialiasingLevel,
                                                           keQPathFill);
    SQPolygon* polygon = QGDI_PolygonCreate(clip, props.polyFillMode, scale, kePolygonTableAuto, keQPathFill);
    if (!polygon) return false;
    CPolygonPathReceiver receiver(polygon);
    if (props.pathFlatness > 0) receiver.SetFlatness(props.pathFlatness);
    const bool ok = path.Send(&receiver, matrix) && CreateFromPolygon(polygon, props.antialiasingFilter);
    polygon->Unreference();
    if (!ok) Clear();
    return ok;
}

bool CQRegion::CreateFromRect(const SQRECT& rect, EAntialiasingFilter filter) {
    Clear();
    if (!std::isfinite(rect.left) || !std::isfinite(rect.top) || !std::isfinite(rect.right) ||
        !std::isfinite(rect.bottom) || rect.right < rect.left || rect.bottom < rect.top)
        return false;
    // Beyond the integer range no pixel can be addressed.
    constexpr double kLimit = 1 << 30;
    if (std::fabs(rect.left) > kLimit || std::fabs(rect.right) > kLimit || std::fabs(rect.top) > kLimit ||
        std::fabs(rect.bottom) > kLimit)
        return false;
    CRegionReceiver receiver;
    if (!CQRegionRect(rect).Fill(&receiver, filter) || !receiver.IsOk()) return false;
    return TakeFrom(receiver);
}

bool CQRegion::CreateFromImage(const CRowIterator& image, POINT origin) {
    Clear();
    if (!image.IsAttached()) return false;
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(image.GetPixelFormat());
    if (!t || t->formatClass == keFormatClassIndexed || (t->bitsPerChannel != 8 && t->bitsPerChannel != 16))
        return false;
    // Grey images give their level; images with alpha give the alpha.
    int channel = -1;
    for (int c = 0; c < t->channelCount; ++c)
        if (t->channels[c] == keChannelAlpha || (!t->alpha && t->channels[c] == keChannelGrey)) channel = c;
    if (channel < 0) return false;
    const int w = image.GetWidth(), h = image.GetHeight(), step = t->bitsPerPixel / 8;
    // The byte that carries a value's high bits (16-bit values are stored little-endian).
    const int at = channel * (t->bitsPerChannel / 8) + (t->bitsPerChannel == 16 ? 1 : 0);
    try {
        std::vector<uint8_t> bytes(size_t(std::max(w, 0)));
        std::vector<SRegionRun> runs;
        for (int y = 0; y < h; ++y) {
            const uint8_t* row = nullptr;
            if (image.GetRow(row, y).IsError() || !row) return false;
            for (int x = 0; x < w; ++x) bytes[size_t(x)] = row[size_t(x) * size_t(step) + size_t(at)];
            image.ReleaseRow(y).Ignore();
            RunsOfBytes(bytes.data(), w, origin.x, y + origin.y, runs);
        }
        return CreateFromRuns(runs.data(), int(runs.size()));
    } catch (const std::bad_alloc&) {
        Clear();
        return false;
    }
}

bool CRegionReceiver::AddScan(int x, int y, int coverage, int length) {
    if (length <= 0 || coverage <= 0) return true;
    try {
        m_runs.push_back({x, y, length, std::min(coverage, 255)});
    } catch (const std::bad_alloc&) {
        m_ok = false;
    }
    return true;
}

bool CRegionReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    if (!mask || length <= 0) return true;
    try {
        RunsOfBytes(mask, length, x, y, m_runs);
    } catch (const std::bad_alloc&) {
        m_ok = false;
    }
    return true;
}

CQRegion* CRegionReceiver::GrabRegion() {
    CQRegion* region = new (std::nothrow) CQRegion;
    if (region && !region->CreateFromRuns(m_runs.data(), int(std::min<size_t>(m_runs.size(), INT_MAX)))) {
        region->Unreference();
        region = nullptr;
    }
    m_runs.clear();
    m_ok = true;
    return region;
}

CQRegion* QGDI_RegionCreateFromPath(const CQPath& path, const double* matrix, const SRasterProps& props,
                                    const RECT& clip) {
    CQRegion* region = new (std::nothrow) CQRegion;
    if (region && !region->CreateFromPath(path, matrix, props, clip)) {
        region->Unreference();
        return nullptr;
    }
    return region;
}
