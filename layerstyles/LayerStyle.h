#pragma once
// Layer styles: the effects an editor draws around and inside a layer from
// its alpha alone, one record per effect. Colours are 0xRRGGBB; opacities
// 0..1; angles in degrees, counter-clockwise from the right (the light comes
// from that direction); sizes and distances in pixels.
//
// Sizes are blur extents: a soft effect of size s is a Gaussian of deviation
// s / 2 (spread or choke takes the fraction that turns hard). Limits, beyond
// which values are clamped: sizes 250, distances 30000, depth 10 (1000 %).
#include <cstdint>
#include <vector>

#include "QuorRender/RowOpBlendMox.h"
#include "geometry/QPoint.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qgdi_export.h"

// Curves from 0..1 to 0..1 that reshape an effect's ramp.
enum EStyleContour : int32_t {
    keContourLinear = 0,
    keContourCone = 1,          // up and back down
    keContourConeInverted = 2,
    keContourGaussian = 3,      // an S-curve
    keContourHalfRound = 4,
    keContourRing = 5,          // a bright band half way
    keContourRingDouble = 6,
    keContourSawtooth = 7,
    keContourCoveDeep = 8,
    keContourRollingSlope = 9,
};

struct SStyleContour {
    EStyleContour ePreset = keContourLinear;
    // A curve of its own (x and y in 0..1, x rising) replaces the preset when
    // it has two points or more.
    std::vector<SQPOINT> aPoints;
    // 256 values of the curve, smoothed over neighbouring inputs when anti-aliased.
    bool bAntiAliased = false;
};

struct SStyleGradientStop {
    double fPosition = 0;  // 0..1
    uint32_t nColour = 0;
    double fOpacity = 1;
};

enum EStyleGradientType : int32_t {
    keStyleGradientLinear = 0,
    keStyleGradientRadial = 1,
    keStyleGradientAngle = 2,
    keStyleGradientReflected = 3,
    keStyleGradientDiamond = 4,
};

struct SStyleGradient {
    // Empty: black to white.
    std::vector<SStyleGradientStop> aStops;
    EStyleGradientType eType = keStyleGradientLinear;
    double fAngle = 90;
    double fScale = 1;  // 0.1..1.5 of the layer's size
    bool bReverse = false;
    double fOffsetX = 0, fOffsetY = 0;  // of the centre, in pixels
};

enum EStyleGlowTechnique : int32_t { keGlowSofter = 0, keGlowPrecise = 1 };
enum EStyleGlowSource : int32_t { keGlowEdge = 0, keGlowCentre = 1 };
enum EStyleBevelStyle : int32_t {
    keBevelInner = 0,
    keBevelOuter = 1,
    keBevelEmboss = 2,
    keBevelPillow = 3,
    keBevelStrokeEmboss = 4,  // the bevel shapes the stroke (nothing without one)
};
enum EStyleBevelTechnique : int32_t { keBevelSmooth = 0, keBevelChiselHard = 1, keBevelChiselSoft = 2 };
enum EStyleStrokePosition : int32_t { keStrokeOutside = 0, keStrokeInside = 1, keStrokeCentre = 2 };
enum EStyleFillType : int32_t { keStyleFillColour = 0, keStyleFillGradient = 1, keStyleFillPattern = 2 };

// Drop shadow (below the layer) and inner shadow (inside it, as if the layer
// were a hole). Spread dilates the shape before the blur; for the inner
// shadow it is the choke.
struct SStyleShadow {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxMultiply;
    uint32_t nColour = 0x000000;
    double fOpacity = 0.75;
    double fAngle = 120;
    bool bUseGlobalLight = true;
    double fDistance = 5;
    double fSpread = 0;  // 0..1
    double fSize = 5;
    SStyleContour contour;
    double fNoise = 0;             // 0..1
    bool bLayerKnocksOut = true;   // drop shadow only: hidden under the layer's shape
};

struct SStyleGlow {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxScreen;
    uint32_t nColour = 0xFFFFBE;
    double fOpacity = 0.75;
    double fNoise = 0;
    bool bUseGradient = false;  // the glow's strength picks a colour of the gradient
    SStyleGradient gradient;
    EStyleGlowTechnique eTechnique = keGlowSofter;
    EStyleGlowSource eSource = keGlowEdge;  // inner glow only
    double fSpread = 0;  // 0..1 (choke for the inner glow)
    double fSize = 5;
    SStyleContour contour;
    double fRange = 0.5;   // 0.01..1: the part of the glow the contour spans
    double fJitter = 0;    // 0..1: random shift of the gradient position
};

struct SStyleBevel {
    bool bEnabled = false;
    EStyleBevelStyle eStyle = keBevelInner;
    EStyleBevelTechnique eTechnique = keBevelSmooth;
    double fDepth = 1;     // 0.01..10 (100 % is a 45-degree slope for a chisel)
    bool bDown = false;    // the shape sinks instead of rising
    double fSize = 5;
    double fSoften = 0;    // 0..16
    double fAngle = 120;
    double fAltitude = 30;
    bool bUseGlobalLight = true;
    SStyleContour gloss;    // reshapes the shading
    SStyleContour contour;  // reshapes the profile of the slope
    EQBlendMoxMode eHighlightMode = keBlendMoxScreen;
    uint32_t nHighlightColour = 0xFFFFFF;
    double fHighlightOpacity = 0.75;
    EQBlendMoxMode eShadowMode = keBlendMoxMultiply;
    uint32_t nShadowColour = 0x000000;
    double fShadowOpacity = 0.75;
};

// Two copies of the shape offset against each other along an angle, blurred,
// their difference: silky shading inside the layer.
struct SStyleSatin {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxMultiply;
    uint32_t nColour = 0x000000;
    double fOpacity = 0.5;
    double fAngle = 19;
    double fDistance = 11;
    double fSize = 14;
    SStyleContour contour;
    bool bInvert = true;
};

struct SStyleColourOverlay {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxNormal;
    uint32_t nColour = 0xFF0000;
    double fOpacity = 1;
};

struct SStyleGradientOverlay {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxNormal;
    double fOpacity = 1;
    SStyleGradient gradient;
};

// A tile repeated from the destination's origin (or the layer's, linked).
struct SStylePattern {
    const CRowIterator* pImage = nullptr;  // must outlive the rendering
    double fScale = 1;                      // 0.01..10
    int nOffsetX = 0, nOffsetY = 0;
    bool bLinkWithLayer = true;
};

struct SStylePatternOverlay {
    bool bEnabled = false;
    EQBlendMoxMode eMode = keBlendMoxNormal;
    double fOpacity = 1;
    SStylePattern pattern;
};

struct SStyleStroke {
    bool bEnabled = false;
    double fSize = 3;
    EStyleStrokePosition ePosition = keStrokeOutside;
    EQBlendMoxMode eMode = keBlendMoxNormal;
    double fOpacity = 1;
    EStyleFillType eFill = keStyleFillColour;
    uint32_t nColour = 0xFF0000;
    SStyleGradient gradient;
    SStylePattern pattern;
};

struct SGlobalLight {
    double fAngle = 120;
    double fAltitude = 30;
};

// Every style of one layer. Opacity weighs the layer and all its effects;
// fill opacity only the layer's own pixels, so that effects stay at full
// strength on a layer whose fill is hidden.
struct SLayerStyles {
    SGlobalLight light;
    double fOpacity = 1;
    double fFillOpacity = 1;
    EQBlendMoxMode eLayerMode = keBlendMoxNormal;
    SStyleShadow dropShadow;
    SStyleGlow outerGlow;
    SStyleShadow innerShadow;
    SStyleGlow innerGlow;
    SStyleSatin satin;
    SStylePatternOverlay patternOverlay;
    SStyleGradientOverlay gradientOverlay;
    SStyleColourOverlay colourOverlay;
    SStyleBevel bevel;
    SStyleStroke stroke;
};

// The 256-entry table of a contour.
QGDI_API void QGDI_StyleContourTable(const SStyleContour& contour, float table[256]) noexcept;
// The 256 straight BGRA colours (alpha from the stops' opacity) of a gradient.
QGDI_API void QGDI_StyleGradientTable(const SStyleGradient& gradient, uint32_t table[256]) noexcept;
