#pragma once
// Geometry and numerics.
