#pragma once
// Coordinate maps and deformation.
#include "deformation/Coordinator.h"
#include "deformation/CoordinatorFactory.h"
#include "deformation/CoordinatorMatrix.h"
