#pragma once
// Effect graphs as text, one node a line:
//
//   # a drop shadow
//   1 blur source-alpha sigma=3
//   2 offset 1 dx=4 dy=4
//   3 composite source 2 op=over
//
// A line is the node's identifier, the primitive, its inputs (node numbers or
// source, source-alpha, background, background-alpha) and name=value
// parameters; `subregion=x,y,w,h` limits any node. '#' starts a comment.
#include <string>

#include "effects/Effect.h"
#include "qgdi_export.h"

struct SEffectPrimitiveInfo {
    const char* name;
    int inputs;             // inputs the primitive reads
    const char* parameters; // its parameters with defaults, e.g. "sigma=1"
    const char* summary;
};

// The primitives the text form knows, ended by an entry with a null name.
QGDI_API const SEffectPrimitiveInfo* QGDI_GetEffectPrimitives() noexcept;

// Adds the nodes of `text` to `effect`. False on the first bad line, with
// "line N: why" in error (when given); nodes of the lines before stay added.
QGDI_API bool QGDI_ParseEffectGraph(const std::string& text, CIoEffect& effect, std::string* error = nullptr);
