#pragma once
#include "qgdi.h"

// The tool's built-in picture, so that every command works without an input
// file: colour and grey ramps, an alpha ramp and a few filled shapes, in BGRA.
CErrorAutoThrow QgdiMakeSampleImage(CRowIterator& image, int width = 512, int height = 320);
