#include "qdibcore/Source/QuorType.h"

namespace quor {
namespace {
struct STypeRow {
    const char* name;
    size_t size;
    bool isSigned;
};
constexpr STypeRow kTypes[] = {
    {"null", 0, false},   {"uint08", 1, false}, {"int08", 1, true},  {"uint16", 2, false},
    {"int16 ", 2, true},  {"uint32", 4, false}, {"int32", 4, true},  {"real32", 4, true},
    {"uint64", 8, false}, {"int64", 8, true},   {"real64", 8, true},
};
constexpr bool Known(EQType t) { return t >= keTypeNull && t <= keTypeReal64; }
}  // namespace

size_t SizeOf(EQType type) noexcept { return Known(type) ? kTypes[type].size : 0; }
bool IsSigned(EQType type) noexcept { return Known(type) && kTypes[type].isSigned; }
const char* GetName(EQType type) noexcept { return Known(type) ? kTypes[type].name : "unknown"; }

}  // namespace quor
