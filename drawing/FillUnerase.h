#pragma once
// The uneraser's kernel: alpha raised towards opaque, a += (max - a) t, with
// t = weight x mask byte (or weight alone without a mask). Colour channels
// are left as they are; rows without alpha are opaque already.
#include <cstdint>

#include "qdibcore/Source/PixelFormat.h"

namespace qgdi::fill {
void Unerase(EQPixelFormat format, uint8_t* row, int count, const uint8_t* mask, uint8_t weight) noexcept;
}  // namespace qgdi::fill
