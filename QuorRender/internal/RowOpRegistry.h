#pragma once
// Every kernel dictionary of the catalogue with a representative definition,
// expanded from the kind list, so that tests and benchmarks walk the whole
// catalogue without naming its kinds.
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "QuorRender/RowOp.h"

namespace qgdi::rowop {

struct SKindSample {
    const char* name;  // the kind's name without "keRo", or the shared dictionary's label
    EQRowOpType type;  // the kind its definitions report
    const SRowOpDictEntry* (*getDict)() noexcept;
    std::size_t entries;                         // the stated size of the dictionary
    bool coverage;                               // the kind's work is laid through a coverage mask
    std::unique_ptr<CRowOpDef> (*makeSample)();  // non-trivial settings, the same on every call
};

// One entry per dictionary, in the order of the kind list.
std::span<const SKindSample> KindSamples() noexcept;

// The entry named `name`, or null.
const SKindSample* FindKindSample(std::string_view name) noexcept;

}  // namespace qgdi::rowop
