#pragma once
// Geometry and numerics.
#include "geometry/Angles.h"
#include "geometry/GenMatrix.h"
#include "geometry/GeomConstants.h"
#include "geometry/MatrixBuild.h"
#include "geometry/MatrixFunctions.h"
#include "geometry/QMatrix3x3.h"
#include "geometry/QPoint.h"
#include "geometry/QRect.h"
#include "geometry/QSize.h"
