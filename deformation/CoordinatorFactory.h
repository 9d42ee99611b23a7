#pragma once
// Factories of the coordinate maps. Each returns a new map owned by the caller
// (delete it through CCoordinator), or null when memory runs out. Parameters
// are clamped into their working ranges rather than rejected.
//
// Conventions: (x, y) is a destination pixel and (sx, sy) the source position
// it samples; c is the centre pixel ((W − 1)/2, (H − 1)/2) of the W x H source;
// u = (x − cx)/ax and v = (y − cy)/ay are positions normalised by the half
// extents, so the inscribed ellipse is u² + v² = 1. Angles are in degrees and
// positive angles turn clockwise on screen (+x toward +y). Unless stated
// otherwise the destination has the source's size, and the map is the identity
// at the neutral setting named in its comment.
#include "QuorRender/EdgeMode.h"
#include "deformation/Coordinator.h"
#include "geometry/QMatrix3x3.h"
#include "platform/afxgeom.h"
#include "qgdi_export.h"

enum TYPEeSpherizeShape : int {
    keSpherizeNormal = 0,      // a sphere filling the inscribed ellipse
    keSpherizeHorizontal = 1,  // the same ellipse, displacing only x
    keSpherizeVertical = 2,    // the same ellipse, displacing only y
};

// Symmetries of the ornament tiles (its third int).
enum EOrnamentSymmetry : int {
    keOrnamentTranslate = 0,    // the motif repeats as it is
    keOrnamentMirror = 1,       // every other column mirrored left to right
    keOrnamentMirror2 = 2,      // columns and rows mirrored, four-fold mirror symmetry
    keOrnamentHalfTurn = 3,     // every other tile (chequerwise) turned by 180°
    keOrnamentQuarterTurn = 4,  // tiles of a 2 x 2 block turned by 0°, 90°, 180°, 270° (square motif)
};

// ---- Matrix maps: the destination is the bounding box of the transformed source.

// m maps destination to source pixel positions.
QGDI_API CCoordinator* Create_CCoordinatorMatrix(const double* m);
QGDI_API CCoordinator* Create_CCoordinatorMatrix(const CQMatrix3x3& m);
// The source corners (0, 0), (w − 1, 0), (w − 1, h − 1), (0, h − 1) of a
// source of `size` go to corners[0..3]; a source realised at another size is
// stretched onto the same quadrilateral. With bFit the destination is moved so
// that the quadrilateral's bounding box starts at (0, 0).
QGDI_API CCoordinator* Create_CCoordinatorMatrixPerspective(const CQPoint* corners, CSize size, bool bFit);
// sy = H − 1 − y (upside down).
QGDI_API CCoordinator* Create_CCoordinatorFlip();
// sx = W − 1 − x (left to right).
QGDI_API CCoordinator* Create_CCoordinatorMirror();
// The source turned by `degrees` about its centre; neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorRotate(double degrees);
// The source scaled by (sx, sy); magnitudes below 0.001 count as 0.001 and
// negative factors also mirror. Neutral (1, 1).
QGDI_API CCoordinator* Create_CCoordinatorScale(double sx, double sy);
// Forward map x' = x + tan(degreesX)·y, y' = y + tan(degreesY)·x, angles
// within ±85°; neutral (0, 0).
QGDI_API CCoordinator* Create_CCoordinatorSkew(double degreesX, double degreesY);
// Perspective taper: with amount a in (−1, 1) the right edge (a > 0) or the left
// edge (a < 0) shrinks to (1 − |a|) of the height, centred; neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorHPerspective(double amount);
// The same for the bottom edge (a > 0) or the top edge (a < 0).
QGDI_API CCoordinator* Create_CCoordinatorVPerspective(double amount);

// ---- Point maps.

// sx = (x − dx) mod W, sy = (y − dy) mod H: the image shifted with wrap-around; neutral (0, 0).
QGDI_API CCoordinator* Create_CCoordinatorOffset(int dx, int dy);
// Per axis u' = u + a·u·(1 − |u|) for |u| ≤ 1, a clamped to ±0.95: a > 0 squeezes
// the middle (thinner subject, stretched sides), a < 0 widens it; neutral (0, 0).
QGDI_API CCoordinator* Create_CCoordinatorThinify(double amountX, double amountY);
// Image on a cylinder with a vertical axis: u' = u + a·((2/π)·asin u − u) for a > 0
// (convex), u' = u + |a|·(sin(πu/2) − u) for a < 0 (concave); a in [−1, 1], neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorHCylinder(double amount);
// The same along y, around a horizontal axis.
QGDI_API CCoordinator* Create_CCoordinatorVCylinder(double amount);
// Inside the inscribed circle (radius R) the source turns by
// θ(r) = degrees·(1 − r/R)² about the centre: full twist at the centre, none at the rim; neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorTwirl(double degrees);
// Concentric rings: s = p + (p − c)/r · A·sin(2πr/λ − phase)·exp(−damping·r/Rc)·min(1, r),
// Rc the centre-to-corner distance, λ at least 1 pixel; neutral A = 0.
QGDI_API CCoordinator* Create_CCoordinatorRipple(double amplitude, double wavelength, double phaseDegrees,
                                                 double damping);
// Local bulge or pinch in a circle of centre (cxFrac·(W − 1), cyFrac·(H − 1)) and radius
// radiusFrac·min(W, H)/2: s = wc + (p − wc)·(1 − a·(1 − r/R)²), a in [−1, 1]
// (a > 0 magnifies, a < 0 pinches); neutral a = 0.
QGDI_API CCoordinator* Create_CCoordinatorWarp(double centreX, double centreY, double radius, double amount);
// sx = x + Ax·sin(2πy/λx), sy = y + Ay·sin(2πx/λy): rows sway sideways and
// columns up and down; wavelengths at least 1 pixel; neutral Ax = Ay = 0.
QGDI_API CCoordinator* Create_CCoordinatorWave(double amplitudeX, double wavelengthX, double amplitudeY,
                                               double wavelengthY);
// A grid of square cells of side `cellSize` (at least 2) starting at (offsetX, offsetY);
// each cell twirls about its centre by degrees·(1 − r/(side/2))², alternately in opposite
// directions with bAlternate; neutral degrees = 0.
QGDI_API CCoordinator* Create_CCoordinatorCurlicues(double cellSize, double degrees, double offsetX, double offsetY,
                                                    bool bAlternate);
// bToPolar: the rows become rings about the centre, the top row at the centre and
// the bottom row on the inscribed circle, x running clockwise from the top:
// sx = θ/2π·W, sy = r/R·(H − 1). Otherwise the inverse: rings unrolled into rows.
QGDI_API CCoordinator* Create_CCoordinatorPolar(bool bToPolar);
// Barrel distortion about the centre (centreX, centreY in percent of the size):
// s = c + (p − c)·(1 − k)/(1 − k·r²), r normalised by the farthest corner,
// k = amount/100 within ±0.99, applied along the enabled axes; edge folds
// positions outside the source. Neutral amount 0.
QGDI_API CCoordinator* Create_CCoordinatorBarrel(int amount, bool bHorizontal, bool bVertical, int centreX, int centreY,
                                                 EEdgeMode edge);
// The opposite profile: s = c + (p − c)·(1 + k)/(1 + k·r²); neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorPincushion(int amount, bool bHorizontal, bool bVertical, int centreX,
                                                     int centreY);
// Fisheye lens of field θm = |amount|/100·85°: r' = tan(r·θm)/tan θm for amount > 0,
// r' = atan(r·tan θm)/θm (the lens undone) for amount < 0. r is normalised by the
// farthest corner, or with bCircle by the inscribed circle with the outside left
// alone. Neutral amount 0.
QGDI_API CCoordinator* Create_CCoordinatorFishEye(int amount, bool bHorizontal, bool bVertical, bool bCircle,
                                                  int centreX, int centreY, EEdgeMode edge);
// Inside the inscribed ellipse (r = √(u² + v²) < 1): r' = r + k·((2/π)·asin r − r) for
// k = amount/100 > 0 (bulge), r' = r + |k|·(sin(πr/2) − r) for k < 0 (pinch); neutral 0.
QGDI_API CCoordinator* Create_CCoordinatorSpherize(int amount, TYPEeSpherizeShape shape);
// The whole source squeezed into the inscribed ellipse: (u', v') = (u, v)·r/max(|u|, |v|).
QGDI_API CCoordinator* Create_CCoordinatorCircle();
// The whole source squeezed into the regular pentagon inscribed in that
// ellipse, a vertex at the top: (u', v') = (u, v)·σ(φ)/ρ(φ), with ρ and σ the pentagon's
// and the square's boundary distances in the direction φ of (u, v).
QGDI_API CCoordinator* Create_CCoordinatorPentagon();
// Two round lenses of `radius` pixels, centres `separation` apart on a line through
// (centreX, centreY) at `degrees`; inside a lens s = lc + (p − lc)·(1/m + (1 − 1/m)·(r/radius)²),
// m = magnification within [0.7, 20]; the nearer lens wins. Neutral m = 1.
QGDI_API CCoordinator* Create_CCoordinatorGlasses(int centreX, int centreY, double radius, double separation,
                                                  double magnification, double degrees);
// nSegments wedges about (centreX·(W − 1), centreY·(H − 1)), the pattern turned by
// `degrees`; every wedge shows the source wedge starting at sourceDegrees, mirrored in
// every other wedge when bMirror, radii divided by zoom. Neutral: 1 segment, no mirror,
// sourceDegrees = degrees, zoom 1.
QGDI_API CCoordinator* Create_CCoordinatorKaleidoscope(int nSegments, int bMirror, double centreX, double centreY,
                                                       double degrees, double sourceDegrees, double zoom);
// Tiles of tileWidth x tileHeight on a grid turned by `degrees` about the centre,
// every other row shifted by brick·tileWidth; each tile shows its own area scaled by
// zoom about the tile centre: s = tc + (p − tc)/zoom. Neutral zoom 1.
QGDI_API CCoordinator* Create_CCoordinatorMosaicAdvanced(int tileWidth, int tileHeight, double degrees, double zoom,
                                                         double brick);
// nRays rays about the centre: s = c + (p − c)·(1 − strength·w(θ)·(r/Rc)^falloff), with
// the ray weight w(θ) = (1 + cos(n(θ − phase)))/2 (profile 0) or the triangle wave of
// the same period (profile 1); strength within [0, 1], falloff at least 0. Neutral strength 0.
QGDI_API CCoordinator* Create_CCoordinatorRays(int nRays, int profile, double strength, double phaseDegrees,
                                               double falloff);
// A mirror line at `position` pixels, horizontal (axis 0, a row) or vertical (axis 1, a
// column). side 0 reflects what lies before the line (above or left) into what lies after,
// side 1 the reverse; the reflection sways along the line by amplitude·sin(2πd/wavelength)
// at distance d from it. Neutral: the line on the last pixel row or column (side 0).
QGDI_API CCoordinator* Create_CCoordinatorReflections(int axis, int position, int side, int wavelength,
                                                      double amplitude);
// Tiles of tileWidth x tileHeight (turned by `degrees` about the centre, centred on it
// when bCentred, else from the top-left corner) filled with the motif at
// (offsetX, offsetY) of size tile·zoom, arranged by the symmetry (EOrnamentSymmetry).
// Neutral: one tile of the source size, keOrnamentTranslate, no turn, zoom 1, no offset.
QGDI_API CCoordinator* Create_CCoordinatorOrnament(int tileWidth, int tileHeight, int symmetry, int bCentred,
                                                   double degrees, double zoom, double offsetX, double offsetY);
// A magnifying rectangle rect[0..3] = left, top, right, bottom as fractions of the size:
// s = lc + (p − lc)·g(t), t = max(|u|, |v|) across the lens, g = 1/m up to 1 − softness and
// rising smoothly to 1 at the rim; m within [0.05, 50], softness within [0, 1]. Neutral m = 1.
QGDI_API CCoordinator* Create_CCoordinatorRectangularLens4(double magnification, const double* rect, double softness);
