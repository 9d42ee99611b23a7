#pragma once
// Builds a kind's kernel dictionary at compile time from its list of format
// pairs and its kernel template, so that a dictionary can never disagree with
// the kernels it names.
#include <array>
#include <cstddef>
#include <utility>

#include "QuorRender/RowOp.h"

struct SQFormatPair {
    EQPixelFormat dst;
    EQPixelFormat src;
};

namespace qgdi::rowop {

template <const auto& kPairs, template <EQPixelFormat, EQPixelFormat> class Kernel, std::size_t... I>
constexpr auto MakeDict(std::index_sequence<I...>) {
    return std::array<SRowOpDictEntry, sizeof...(I) + 1>{{
        {kPairs[I].dst, kPairs[I].src, keRoVariantPlain, &Kernel<kPairs[I].dst, kPairs[I].src>::Run}...,
        {keFormatNone, keFormatNone, keRoVariantPlain, nullptr},
    }};
}

// The dictionary of `Kernel` instantiated for every pair of `kPairs`, ended by
// a null kernel.
template <const auto& kPairs, template <EQPixelFormat, EQPixelFormat> class Kernel>
inline constexpr auto kDict = MakeDict<kPairs, Kernel>(std::make_index_sequence<std::size(kPairs)>{});

// Entries of a null-terminated dictionary.
constexpr std::size_t DictSize(const SRowOpDictEntry* dict) noexcept {
    std::size_t n = 0;
    while (dict && dict[n].pfnKernel) ++n;
    return n;
}

}  // namespace qgdi::rowop
