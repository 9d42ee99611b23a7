#pragma once
// Reading SVG path data ("M10 10 h 20 a5 5 0 0 1 5 5 z") into a path receiver.
#include <cstddef>

#include "drawing/PathReceiver.h"

// Sends the commands of the text to the receiver: every command is made
// absolute, H/V become lines, S/T get their reflected control points, arcs
// with a zero radius become lines, and a segment after Z starts at the closed
// contour's start. Stops at the first error as SVG renderers do, leaving what
// came before in the receiver. False on a syntax error or when the receiver
// refuses; errorOffset (optional) gets the offset of the command that failed
// (the text's length on success).
QGDI_API bool QGDI_PathDataParse(const char* text, size_t length, VPathReceiver* receiver,
                                 size_t* errorOffset = nullptr);
