#pragma once
// Coordinate maps and deformation.
