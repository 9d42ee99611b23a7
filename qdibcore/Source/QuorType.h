#pragma once
// Scalar element types of images and matrices.
#include <cstddef>
#include <cstdint>

#include "qgdi_export.h"

namespace quor {

enum EQType : int32_t {
    keTypeNull = 0,
    keTypeUInt08 = 1,
    keTypeInt08 = 2,
    keTypeUInt16 = 3,
    keTypeInt16 = 4,
    keTypeUInt32 = 5,
    keTypeInt32 = 6,
    keTypeReal32 = 7,
    keTypeUInt64 = 8,
    keTypeInt64 = 9,
    keTypeReal64 = 10,
};

// Bytes of one element; 0 for null and unknown types.
QGDI_API size_t SizeOf(EQType type) noexcept;
QGDI_API bool IsSigned(EQType type) noexcept;
// "uint08", "int16 " (with its trailing blank) ...; "unknown" for other values.
QGDI_API const char* GetName(EQType type) noexcept;

}  // namespace quor
