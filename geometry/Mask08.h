#pragma once
// An 8-bit mask (0 = outside, 255 = fully inside) with the clean-up
// operations that selections and brushes need: discs, grey-level dilation
// and erosion, box blur, hole and speck removal and seed fill. Rows are
// contiguous, width bytes each, row 0 on top; pixel (x, y) sits at the integer
// position (x, y), the convention of the coordinate maps.
#include <climits>
#include <cstdint>
#include <vector>

#include "qgdi_export.h"

class QGDI_API CMask08 {
public:
    CMask08() = default;
    CMask08(int width, int height, uint8_t fill = 0);

    // Reallocates to width x height filled with fill; false (and an empty mask)
    // for a negative size, more than 2^31 − 1 pixels, or out of memory.
    bool Create(int width, int height, uint8_t fill = 0);
    void Fill(uint8_t value) noexcept;

    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }
    bool IsEmpty() const noexcept { return m_width == 0 || m_height == 0; }
    uint8_t* GetBits() noexcept { return m_bits.data(); }
    const uint8_t* GetBits() const noexcept { return m_bits.data(); }
    // Null outside 0..height − 1.
    uint8_t* GetRow(int y) noexcept;
    const uint8_t* GetRow(int y) const noexcept;
    // 0 outside the mask; Set ignores positions outside.
    uint8_t Get(int x, int y) const noexcept;
    void Set(int x, int y, uint8_t value) noexcept;
    // Number of pixels at or above the threshold.
    int64_t CountAtLeast(uint8_t threshold) const noexcept;

    // Anti-aliased filled disc: coverage = clamp(radius + 0.5 − distance, 0, 1);
    // each pixel keeps the larger of its value and coverage·value.
    void Circle(double cx, double cy, double radius, uint8_t value = 255);

    // Grey-level dilation (maximum) and erosion (minimum) over a disc of the
    // radius, or over the (2r + 1)² square. Outside pixels take no part.
    bool Dilate(int radius, bool square = false);
    bool Erode(int radius, bool square = false);

    // Box blur of radius r (window 2r + 1, edges replicated), repeated passes
    // times; three passes come close to a Gaussian of σ ≈ r. Radius at most 2047.
    bool Blur(int radius, int passes = 1);

    // Pixels below threshold form the background. Background regions
    // (4-connected) not touching the border and of at most maxArea pixels are
    // holes and become 255. Returns the number of pixels changed.
    int64_t RemoveHoles(uint8_t threshold = 128, int64_t maxArea = INT64_MAX);
    // Regions at or above the threshold of at most maxArea pixels become 0.
    int64_t RemoveIslands(uint8_t threshold = 128, int64_t maxArea = INT64_MAX);

    // Sets the 4-connected region of pixels whose values lie within tolerance
    // of the seed pixel's value to value. Returns its size, 0 outside the mask.
    int64_t SeedFill(int x, int y, uint8_t value, uint8_t tolerance = 0);

private:
    template <bool kMax>
    bool Morphology(int radius, bool square);

    int m_width = 0, m_height = 0;
    std::vector<uint8_t> m_bits;
};
