#include "geometry/Mask08.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <omp.h>

namespace {

// Largest blur radius for which the fixed-point division below rounds exactly.
constexpr int kMaxBlurRadius = 2047;

template <bool kMax>
inline uint8_t Pick(uint8_t a, uint8_t b) noexcept {
    return kMax ? std::max(a, b) : std::min(a, b);
}

// dst[x] = max (or min) of src over [x − w, x + w] ∩ [0, n), in O(1) per pixel
// (van Herk / Gil–Werman): in blocks of k = 2w + 1 padded values, the window
// starting at i is the suffix of its block from i combined with the prefix of
// the next block up to i + k − 1. scratch holds at least 3·(n + 2w + k) bytes.
template <bool kMax>
void RunningExtreme(const uint8_t* src, uint8_t* dst, int n, int w, uint8_t* scratch) noexcept {
    if (w == 0) {
        std::copy(src, src + n, dst);
        return;
    }
    constexpr uint8_t kNeutral = kMax ? 0 : 255;
    const int k = 2 * w + 1;
    const int len = (n + 2 * w + k - 1) / k * k;
    uint8_t* p = scratch;
    uint8_t* g = p + len;
    uint8_t* h = g + len;
    std::fill(p, p + len, kNeutral);
    std::copy(src, src + n, p + w);
    for (int b = 0; b < len; b += k) {
        g[b] = p[b];
        for (int i = b + 1; i < b + k; ++i) g[i] = Pick<kMax>(g[i - 1], p[i]);
        h[b + k - 1] = p[b + k - 1];
        for (int i = b + k - 2; i >= b; --i) h[i] = Pick<kMax>(h[i + 1], p[i]);
    }
    for (int x = 0; x < n; ++x) dst[x] = Pick<kMax>(h[x], g[x + k - 1]);
}

// Round(sum / k) for sums of at most 255·k with k ≤ 4095: sum·round(2^32/k)
// stays below 2^52 and its error stays below the 1/(2k) gap between any odd-k
// quotient and the nearest half.
struct SDivider {
    uint64_t inverse;
    explicit SDivider(uint32_t k) : inverse((uint64_t{1} << 32) / k + ((uint64_t{1} << 32) % k * 2 >= k)) {}
    uint8_t operator()(uint32_t sum) const noexcept {
        return static_cast<uint8_t>((sum * inverse + (uint64_t{1} << 31)) >> 32);
    }
};

// Grows the 4-connected region of pixels satisfying inside() from start,
// marking them visited and listing them; true when it reaches the border.
template <class Inside>
bool FloodRegion(int width, int height, uint32_t start, Inside inside, std::vector<uint8_t>& visited,
                 std::vector<uint32_t>& pixels) {
    bool border = false;
    pixels.clear();
    pixels.push_back(start);
    visited[start] = 1;
    // pixels doubles as the work list: everything before `next` is expanded.
    for (size_t next = 0; next < pixels.size(); ++next) {
        const uint32_t i = pixels[next];
        const int x = static_cast<int>(i % static_cast<uint32_t>(width));
        const int y = static_cast<int>(i / static_cast<uint32_t>(width));
        if (x == 0 || y == 0 || x == width - 1 || y == height - 1) border = true;
        auto visit = [&](uint32_t j) {
            if (!visited[j] && inside(j)) {
                visited[j] = 1;
                pixels.push_back(j);
            }
        };
        if (x > 0) visit(i - 1);
        if (x < width - 1) visit(i + 1);
        if (y > 0) visit(i - static_cast<uint32_t>(width));
        if (y < height - 1) visit(i + static_cast<uint32_t>(width));
    }
    return border;
}

// Sets to value every region of pixels satisfying inside() with at most
// maxArea pixels (and, when interiorOnly, not touching the border).
template <class Inside>
int64_t ReplaceRegions(std::vector<uint8_t>& bits, int width, int height, Inside inside, bool interiorOnly,
                       int64_t maxArea, uint8_t value) {
    std::vector<uint8_t> visited(bits.size(), 0);
    std::vector<uint32_t> pixels;
    int64_t changed = 0;
    for (uint32_t i = 0; i < bits.size(); ++i) {
        if (visited[i] || !inside(i)) continue;
        const bool border = FloodRegion(width, height, i, inside, visited, pixels);
        if ((interiorOnly && border) || static_cast<int64_t>(pixels.size()) > maxArea) continue;
        for (uint32_t j : pixels) bits[j] = value;
        changed += static_cast<int64_t>(pixels.size());
    }
    return changed;
}

}  // namespace

CMask08::CMask08(int width, int height, uint8_t fill) { (void)Create(width, height, fill); }

bool CMask08::Create(int width, int height, uint8_t fill) {
    m_width = m_height = 0;
    m_bits.clear();
    if (width < 0 || height < 0 || static_cast<int64_t>(width) * height > INT_MAX) return false;
    try {
        m_bits.assign(static_cast<size_t>(width) * static_cast<size_t>(height), fill);
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_width = width;
    m_height = height;
    return true;
}

void CMask08::Fill(uint8_t value) noexcept { std::fill(m_bits.begin(), m_bits.end(), value); }

uint8_t* CMask08::GetRow(int y) noexcept {
    return y >= 0 && y < m_height ? m_bits.data() + static_cast<size_t>(y) * static_cast<size_t>(m_width) : nullptr;
}

const uint8_t* CMask08::GetRow(int y) const noexcept { return const_cast<CMask08*>(this)->GetRow(y); }

uint8_t CMask08::Get(int x, int y) const noexcept {
    return x >= 0 && x < m_width && y >= 0 && y < m_height ? GetRow(y)[x] : 0;
}

void CMask08::Set(int x, int y, uint8_t value) noexcept {
    if (x >= 0 && x < m_width && y >= 0 && y < m_height) GetRow(y)[x] = value;
}

int64_t CMask08::CountAtLeast(uint8_t threshold) const noexcept {
    return std::count_if(m_bits.begin(), m_bits.end(), [threshold](uint8_t v) { return v >= threshold; });
}

void CMask08::Circle(double cx, double cy, double radius, uint8_t value) {
    if (!(radius >= 0.0) || IsEmpty() || !std::isfinite(cx) || !std::isfinite(cy)) return;
    const double outer = radius + 0.5;
    const double inner = std::max(0.0, radius - 0.5);
    const int x0 = static_cast<int>(std::max(0.0, std::ceil(cx - outer)));
    const int x1 = static_cast<int>(std::min(m_width - 1.0, std::floor(cx + outer)));
    const int y0 = static_cast<int>(std::max(0.0, std::ceil(cy - outer)));
    const int y1 = static_cast<int>(std::min(m_height - 1.0, std::floor(cy + outer)));
    for (int y = y0; y <= y1; ++y) {
        uint8_t* row = GetRow(y);
        const double dy2 = (y - cy) * (y - cy);
        for (int x = x0; x <= x1; ++x) {
            const double d2 = (x - cx) * (x - cx) + dy2;
            if (d2 >= outer * outer) continue;
            // Only the one-pixel rim needs the square root.
            const double coverage = d2 <= inner * inner ? 1.0 : std::min(1.0, outer - std::sqrt(d2));
            const auto v = static_cast<uint8_t>(coverage * value + 0.5);
            row[x] = std::max(row[x], v);
        }
    }
}

template <bool kMax>
bool CMask08::Morphology(int radius, bool square) {
    if (radius < 0) return false;
    if (radius == 0 || IsEmpty()) return true;
    const int r = std::min(radius, std::max(m_width, m_height));
    // Half-width of the structuring element on row offset dy: the integer
    // offsets with dx² + dy² ≤ r² for the disc.
    std::vector<int> half(static_cast<size_t>(2 * r + 1));
    for (int dy = -r; dy <= r; ++dy)
        half[static_cast<size_t>(dy + r)] = square ? r
                                                   : static_cast<int>(
                                                         std::floor(std::sqrt(double(r) * r - double(dy) * dy) + 1e-9));
    const int width = m_width, height = m_height;
    // Per thread: the padded and block-extreme buffers of RunningExtreme, then one filtered row.
    const size_t scratchSize = 3 * static_cast<size_t>(width + 4 * r + 2) + static_cast<size_t>(width);
    std::vector<uint8_t> out, scratch;
    try {
        out.resize(m_bits.size());
        scratch.resize(scratchSize * static_cast<size_t>(omp_get_max_threads()));
    } catch (const std::bad_alloc&) {
        return false;
    }
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        uint8_t* mine = scratch.data() + scratchSize * static_cast<size_t>(omp_get_thread_num());
        uint8_t* line = mine + scratchSize - static_cast<size_t>(width);
        uint8_t* dst = out.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
        std::fill(dst, dst + width, kMax ? 0 : 255);
        for (int dy = std::max(-r, -y); dy <= std::min(r, height - 1 - y); ++dy) {
            const int w = std::min(half[static_cast<size_t>(dy + r)], width);
            RunningExtreme<kMax>(GetRow(y + dy), line, width, w, mine);
            for (int x = 0; x < width; ++x) dst[x] = Pick<kMax>(dst[x], line[x]);
        }
    }
    m_bits.swap(out);
    return true;
}

bool CMask08::Dilate(int radius, bool square) { return Morphology<true>(radius, square); }

bool CMask08::Erode(int radius, bool square) { return Morphology<false>(radius, square); }

bool CMask08::Blur(int radius, int passes) {
    if (radius < 0 || radius > kMaxBlurRadius || passes < 0) return false;
    if (radius == 0 || IsEmpty()) return true;
    const int w = m_width, h = m_height, r = radius;
    const SDivider divide(static_cast<uint32_t>(2 * r + 1));
    std::vector<uint8_t> tmp;
    std::vector<uint32_t> columns;
    try {
        tmp.resize(m_bits.size());
        columns.resize(static_cast<size_t>(w));
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (int pass = 0; pass < passes; ++pass) {
        // Horizontal running sum, edges replicated: sum_x = Σ src[clamp(x + i)], i = −r..r.
#pragma omp parallel for schedule(static)
        for (int y = 0; y < h; ++y) {
            const uint8_t* src = GetRow(y);
            uint8_t* dst = tmp.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
            uint32_t sum = 0;
            for (int i = -r; i <= r; ++i) sum += src[std::clamp(i, 0, w - 1)];
            for (int x = 0; x < w; ++x) {
                dst[x] = divide(sum);
                sum += src[std::min(x + r + 1, w - 1)];
                sum -= src[std::max(x - r, 0)];
            }
        }
        // Vertical running sums, one per column, advanced a whole row at a time.
        std::fill(columns.begin(), columns.end(), 0u);
        auto row = [&](int y) {
            return tmp.data() + static_cast<size_t>(std::clamp(y, 0, h - 1)) * static_cast<size_t>(w);
        };
        for (int i = -r; i <= r; ++i) {
            const uint8_t* s = row(i);
            for (int x = 0; x < w; ++x) columns[static_cast<size_t>(x)] += s[x];
        }
        for (int y = 0; y < h; ++y) {
            uint8_t* dst = GetRow(y);
            const uint8_t* add = row(y + r + 1);
            const uint8_t* sub = row(y - r);
            for (int x = 0; x < w; ++x) {
                uint32_t& c = columns[static_cast<size_t>(x)];
                dst[x] = divide(c);
                c = c + add[x] - sub[x];
            }
        }
    }
    return true;
}

int64_t CMask08::RemoveHoles(uint8_t threshold, int64_t maxArea) {
    const uint8_t* bits = m_bits.data();
    return ReplaceRegions(
        m_bits, m_width, m_height, [=](uint32_t i) { return bits[i] < threshold; }, true, maxArea, 255);
}

int64_t CMask08::RemoveIslands(uint8_t threshold, int64_t maxArea) {
    const uint8_t* bits = m_bits.data();
    return ReplaceRegions(
        m_bits, m_width, m_height, [=](uint32_t i) { return bits[i] >= threshold; }, false, maxArea, 0);
}

int64_t CMask08::SeedFill(int x, int y, uint8_t value, uint8_t tolerance) {
    if (x < 0 || x >= m_width || y < 0 || y >= m_height) return 0;
    const uint8_t* bits = m_bits.data();
    const int seed = GetRow(y)[x];
    std::vector<uint8_t> visited(m_bits.size(), 0);
    std::vector<uint32_t> pixels;
    const uint32_t start = static_cast<uint32_t>(y) * static_cast<uint32_t>(m_width) + static_cast<uint32_t>(x);
    FloodRegion(
        m_width, m_height, start, [=](uint32_t i) { return std::abs(bits[i] - seed) <= tolerance; }, visited, pixels);
    for (uint32_t i : pixels) m_bits[i] = value;
    return static_cast<int64_t>(pixels.size());
}
