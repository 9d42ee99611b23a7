#pragma once
// Smart selection: objects cut out from a rectangle or brush strokes.
#include "segmentation/SmartSelection.h"
