#pragma once
// The blend modes' kernel dictionaries, one per mode, for the active target.
#include "QuorRender/RowOp.h"

namespace qgdi::rowop {

// Entries of a mode's dictionary: colour and grey pairs at 8 and 16 bits
// (colour-space modes: the colour half).
inline constexpr int kBlendMoxPairs = 16;

// The dictionary of a mode value with kernels, or null.
const SRowOpDictEntry* BlendMoxDictionary(int mode) noexcept;

}  // namespace qgdi::rowop
