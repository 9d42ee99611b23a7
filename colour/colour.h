#pragma once
// Colour science: colour-space descriptions and conversions.
#include "colour/ColorSpec.h"
