#pragma once
// Correlated colour temperature and tint by Robertson's method over his 31
// isotemperature lines (1666.67 K to infinity). The tint is a signed distance
// in the CIE 1960 uv plane across the Planckian locus; in TempTinttoXYZ and
// XYZtoTempTint a positive tint lies above the locus (larger v, greener).
#include "qgdi_export.h"

// (T, tint) to CIE xy; the tint offset is tint x (sin, cos) of the
// interpolated isotherm angle. False outside the table.
QGDI_API bool TempTinttoxy(double T, double tint, double& x, double& y) noexcept;
// (T, tint) to XYZ with Y = 1, moving by the tint along the interpolated
// isotherm. False outside the table; a point with v' below 1e-10 gives 0, 0, 0.
QGDI_API bool TempTinttoXYZ(double T, double tint, double& X, double& Y, double& Z) noexcept;
// The exact inverse of TempTinttoXYZ: the temperature whose interpolated
// isotherm passes through the colour's uv, and the tint along it. False for a
// colour without chromaticity or one that no isotherm of the table reaches.
QGDI_API bool XYZtoTempTint(double X, double Y, double Z, double& T, double& tint) noexcept;
