#pragma once
// The image type of content-aware filling: interleaved channels of one scalar
// type, the channel count fixed at compile time so that patch loops unroll and
// vectorise. Views share pixels (a sub-image is a pointer and a stride, never a
// copy); an image owns its pixels and hands out views; a pyramid halves an
// image level by level.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <vector>

namespace qgdi::inpaint {

// Rows of `width * C` elements, `stride` elements apart (stride >= width * C).
template <class T, int C>
class TImageView {
public:
    static_assert(C >= 1 && C <= 4, "one to four channels");
    using value_type = T;
    static constexpr int kChannels = C;

    TImageView() noexcept = default;
    TImageView(T* pixels, int width, int height, ptrdiff_t stride) noexcept
        : m_pixels(pixels), m_width(width), m_height(height), m_stride(stride) {}
    // A view of mutable pixels reads as a view of constant ones.
    template <class U, class = std::enable_if_t<std::is_same_v<const U, T> && !std::is_same_v<U, T>>>
    TImageView(const TImageView<U, C>& other) noexcept  // NOLINT: implicit on purpose
        : m_pixels(other.Data()), m_width(other.Width()), m_height(other.Height()), m_stride(other.Stride()) {}

    int Width() const noexcept { return m_width; }
    int Height() const noexcept { return m_height; }
    ptrdiff_t Stride() const noexcept { return m_stride; }
    T* Data() const noexcept { return m_pixels; }
    bool Empty() const noexcept { return m_width <= 0 || m_height <= 0; }
    bool Contains(int x, int y) const noexcept { return x >= 0 && y >= 0 && x < m_width && y < m_height; }

    T* Row(int y) const noexcept { return m_pixels + y * m_stride; }
    T* At(int x, int y) const noexcept { return Row(y) + static_cast<ptrdiff_t>(x) * C; }

    // The rectangle [x, x + w) x [y, y + h) cut to this view; shares the pixels.
    TImageView Sub(int x, int y, int w, int h) const noexcept {
        const int x0 = std::clamp(x, 0, m_width), y0 = std::clamp(y, 0, m_height);
        const int x1 = std::clamp(x + std::max(w, 0), x0, m_width), y1 = std::clamp(y + std::max(h, 0), y0, m_height);
        return TImageView(x1 > x0 && y1 > y0 ? At(x0, y0) : m_pixels, x1 - x0, y1 - y0, m_stride);
    }

    void Fill(T value) const noexcept {
        for (int y = 0; y < m_height; ++y) std::fill_n(Row(y), static_cast<size_t>(m_width) * C, value);
    }

private:
    T* m_pixels = nullptr;
    int m_width = 0;
    int m_height = 0;
    ptrdiff_t m_stride = 0;
};

// Owns width x height pixels, rows packed.
template <class T, int C>
class TImage {
public:
    using value_type = T;
    static constexpr int kChannels = C;

    TImage() = default;
    // False (and empty) when memory is short.
    bool Create(int width, int height, T fill = T()) noexcept {
        m_pixels.clear();
        m_width = m_height = 0;
        if (width <= 0 || height <= 0) return width == 0 || height == 0;
        try {
            m_pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * C, fill);
        } catch (const std::bad_alloc&) {
            return false;
        }
        m_width = width;
        m_height = height;
        return true;
    }
    void Clear() noexcept {
        std::vector<T>().swap(m_pixels);
        m_width = m_height = 0;
    }

    int Width() const noexcept { return m_width; }
    int Height() const noexcept { return m_height; }
    bool Empty() const noexcept { return m_pixels.empty(); }
    T* Row(int y) noexcept { return m_pixels.data() + static_cast<ptrdiff_t>(y) * m_width * C; }
    const T* Row(int y) const noexcept { return m_pixels.data() + static_cast<ptrdiff_t>(y) * m_width * C; }
    T* At(int x, int y) noexcept { return Row(y) + static_cast<ptrdiff_t>(x) * C; }
    const T* At(int x, int y) const noexcept { return Row(y) + static_cast<ptrdiff_t>(x) * C; }

    TImageView<T, C> View() noexcept { return {m_pixels.data(), m_width, m_height, static_cast<ptrdiff_t>(m_width) * C}; }
    TImageView<const T, C> View() const noexcept {
        return {m_pixels.data(), m_width, m_height, static_cast<ptrdiff_t>(m_width) * C};
    }

private:
    std::vector<T> m_pixels;
    int m_width = 0;
    int m_height = 0;
};

// Rounded mean of each 2x2 block into a (w+1)/2 x (h+1)/2 image; a block cut
// by the right or bottom edge repeats its last column or row.
template <class T, int C>
void Downsample2(TImageView<const T, C> src, TImageView<std::remove_const_t<T>, C> dst) noexcept {
    using Acc = std::conditional_t<(sizeof(T) <= 2), uint32_t, double>;
    const int w = src.Width(), h = src.Height();
    for (int y = 0; y < dst.Height(); ++y) {
        const T* r0 = src.Row(std::min(2 * y, h - 1));
        const T* r1 = src.Row(std::min(2 * y + 1, h - 1));
        auto* out = dst.Row(y);
        for (int x = 0; x < dst.Width(); ++x) {
            const ptrdiff_t a = static_cast<ptrdiff_t>(std::min(2 * x, w - 1)) * C;
            const ptrdiff_t b = static_cast<ptrdiff_t>(std::min(2 * x + 1, w - 1)) * C;
            for (int c = 0; c < C; ++c) {
                const Acc sum = Acc(r0[a + c]) + Acc(r0[b + c]) + Acc(r1[a + c]) + Acc(r1[b + c]);
                if constexpr (std::is_integral_v<T>) out[x * C + c] = static_cast<T>((sum + 2) / 4);
                else out[x * C + c] = static_cast<T>(sum / 4);
            }
        }
    }
}

// Level 0 is the image itself (a view, not a copy); level k+1 halves level k.
template <class T, int C>
class TPyramid {
public:
    // False when memory is short.
    bool Build(TImageView<const T, C> base, int levels) noexcept {
        m_base = base;
        m_levels.clear();
        try {
            m_levels.resize(static_cast<size_t>(std::max(levels - 1, 0)));
        } catch (const std::bad_alloc&) {
            return false;
        }
        TImageView<const T, C> prev = base;
        for (auto& level : m_levels) {
            if (!level.Create((prev.Width() + 1) / 2, (prev.Height() + 1) / 2)) return false;
            Downsample2<T, C>(prev, level.View());
            prev = level.View();
        }
        return true;
    }
    int Levels() const noexcept { return static_cast<int>(m_levels.size()) + 1; }
    TImageView<const T, C> Level(int k) const noexcept { return k == 0 ? m_base : m_levels[k - 1].View(); }

private:
    TImageView<const T, C> m_base;
    std::vector<TImage<T, C>> m_levels;
};

}  // namespace qgdi::inpaint
