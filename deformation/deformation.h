#pragma once
// Coordinate maps and deformation.
#include "deformation/Coordinator.h"
#include "deformation/CoordinatorFactory.h"
#include "deformation/CoordinatorMatrix.h"
#include "deformation/MeshWarp.h"
#include "deformation/WarpMesh.h"
#include "deformation/WarpRender.h"
