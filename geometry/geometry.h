#pragma once
// Geometry and numerics.
#include "geometry/numerics.h"
