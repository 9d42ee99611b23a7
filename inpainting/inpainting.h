#pragma once
// Exemplar-based inpainting: content-aware fill of masked regions.
#include "inpainting/Inpaint.h"
