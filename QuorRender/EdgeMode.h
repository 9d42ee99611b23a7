#pragma once
// How an operation sees pixels outside its source image. Shared by the kernel
// windows of the multi-row filters and by the coordinate maps that fold
// positions back into the source.
#include <cstdint>

enum EEdgeMode : int32_t {
    keEdgeWrap = 0,      // index taken modulo the size, the image repeats
    keEdgeClamp = 1,     // the edge pixel repeats
    keEdgeConstant = 2,  // outside is the constant edge colour
};
