#pragma once
// Soft borders for a hard selection: inside a band along the border, alpha is
// a local linear function of the colour, fitted to the hard mask in small
// windows, so that partial pixels (hair, fur, motion blur) get partial alpha
// and flat regions keep the hard answer.
#include <cstdint>

namespace qgdi::segment {

// out[p] = 1 where some pixel within `radius` (square window) has marks != 0.
void DilateMarks(const uint8_t* marks, int width, int height, int radius, uint8_t* out);

// Pixels whose label (0/1) differs from a 4-neighbour's, on both sides.
void MarkBorder(const uint8_t* label, int width, int height, uint8_t* out);

// alpha: 0/255 from `label`, softened within `radius` of the border except
// where `hard` (nullable) is nonzero. `bgr` is 3 bytes per pixel.
void SoftenBorder(const uint8_t* bgr, const uint8_t* label, const uint8_t* hard, int width, int height,
                  int radius, uint8_t* alpha);

}  // namespace qgdi::segment
