#pragma once
// Random generators, clustering, fitting and small masks.
#include "geometry/Random.h"
