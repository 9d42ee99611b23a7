#pragma once
// Small row helpers shared across the library.
#include <cstdint>

#include "QuorRender/RowOp.h"

// bytes[i] = 255 - bytes[i]
QGDI_API void QGDI_InvertRow(uint8_t* bytes, int count) noexcept;

// The kernel that multiplies a row by the alpha bytes of its mask row
// (CRowOpData::pMask): the alpha of straight-alpha formats, every channel of
// premultiplied ones, the colour of formats without alpha. The no-op kernel
// for formats it does not serve; rows without a mask are left alone.
QGDI_API QRowOpFn QGDI_GetAlphaMulOp(EQPixelFormat format) noexcept;

// Splits `count` interleaved pixels of a non-indexed format into one plane per
// channel (storage order, blue first); false for a format it cannot split.
QGDI_API bool QGDI_SplitBuffer(void* const* planes, const void* pixels, EQPixelFormat format, int count) noexcept;
// Interleaves the planes back into pixels.
QGDI_API bool QGDI_MergeBuffer(void* pixels, const void* const* planes, EQPixelFormat format, int count) noexcept;
