#pragma once
// Gradient machinery shared by every gradient kind: stop cleaning, the
// 1025-entry colour table and the spread methods that fold a parameter
// outside 0..1 back into it.
#include <cstdint>

#include "qgdi_export.h"

// How a gradient parameter outside 0..1 is brought back.
enum ESpreadMethod : int32_t {
    keSpreadUnset = -1,
    keSpreadPad = 0,
    keSpreadReflect = 1,
    keSpreadRepeat = 2,
};

// What the points of a gradient constructor are measured in: the drawing's
// own space, or fractions of the bounds (0..1 across the shape).
enum EQGradientUnits : int32_t {
    keGradientUserSpace = 0,
    keGradientBoundingBox = 1,
};

// Entries of a gradient table: 1024 intervals, both ends included.
constexpr int kGradientLUTSize = 1025;

// A new[]-allocated copy of `count` offsets, each clamped to 0..1 and then
// raised to the previous stop's raw offset when that is larger; false when
// memory runs out (and `out` null).
QGDI_API bool QGDI_CleanUpGradient(const double* offsets, double*& out, int count);
// Fills the 1025 BGRA entries from `count` RGBA stop colours at cleaned
// offsets; false when a stop maps outside the table.
QGDI_API bool QGDI_CalculateGradientLUT1024(uint32_t* table, const double* offsets, const uint32_t* colours,
                                            int count);
// The table index (0..1024) of parameter t under `spread` (pad for any
// value other than reflect and repeat).
QGDI_API int QGDI_GradientSpreadIndex(double t, ESpreadMethod spread) noexcept;
