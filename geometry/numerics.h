#pragma once
// Random generators, clustering, fitting and small masks.
#include "geometry/KMeans.h"
#include "geometry/LeastSquares.h"
#include "geometry/Mask08.h"
#include "geometry/Polynomial.h"
#include "geometry/Random.h"
#include "geometry/Regression.h"
