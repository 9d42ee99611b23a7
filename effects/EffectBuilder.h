#pragma once
// The convenient way to assemble an effect: set the identifiers of the next
// node with the call operator, then add a primitive:
//   CIoEffect fx;
//   CIoEffectBuilder b(fx);
//   b(1, keEffectSourceAlpha).GaussianBlur(4, 4);
//   b(2, 1).Offset(3, 3);
//   b(3, keEffectSourceGraphic, 2).Composite(keCompositeOver);
// Every primitive is added owned by the graph; when its allocation fails a
// null operation is added, which makes the run fail with 101.
#include <cstdint>

#include "QuorRender/RowOpBlend.h"
#include "QuorRender/SeqOpResample.h"
#include "effects/Effect.h"
#include "effects/IoBasic.h"
#include "effects/IoDeformation.h"
#include "effects/IoFilters.h"
#include "qdibcore/Source/ColorRef.h"
#include "qgdi_export.h"

class QGDI_API CIoEffectBuilder {
public:
    explicit CIoEffectBuilder(CIoEffect& effect) noexcept : m_effect(effect) {}
    // Identifiers used by the next add.
    CIoEffectBuilder& operator()(int id, int in1 = keEffectNone, int in2 = keEffectNone) noexcept;
    int GetId() const noexcept { return m_nId; }

    // Wraps the row operation in a new CIoRowOp and adds it NOT owned: the
    // graph never deletes it, the caller does (after the graph is done with it).
    CIoRowOp* Add(const CRowOpDef& def, int inputs);
    bool Add(CImageOp* op, bool owned);

    bool Image(const CRowIterator* source, EQResampleMode mode);
    bool Arithmetic(double k1, double k2, double k3, double k4);
    bool Composite(EQCompositeOp op);

    bool ColorMatrix(const double* matrix20);
    bool ColorSaturate(double s);
    bool ColorHueRotate(double degrees);
    bool ColorLuminanceToAlpha();
    bool Greyscale();
    bool ColorChannelConstant(EQChannel channel, double value);
    bool Colorize(double hueDegrees, double saturation);

    bool ComponentTransfer(const uint8_t* red, const uint8_t* green, const uint8_t* blue, const uint8_t* alpha);
    bool ComponentTransfer(EQChannel channel, const uint8_t* table);
    bool Gamma(double amplitude, double exponent, double offset);
    bool Invert();
    bool Chrome(const CColorRef& colour, double periods);

    // Anchor at columns / 2, rows / 2; channels without alpha filter the colour straight and keep alpha.
    bool ConvolveMatrix(const double* matrix, double divisor, EEdgeMode edge, EQChannelSet channels, int columns,
                        int rows);
    bool ConvolveMatrix(EQFilterMatrix which, EEdgeMode edge, EQChannelSet channels);
    bool DilateRound(int rx, int ry);
    bool DilateSquare(int rx, int ry);
    bool ErodeRound(int rx, int ry);
    bool ErodeSquare(int rx, int ry);
    bool DisplacementMap(EQChannel xChannel, EQChannel yChannel, double scale);

    // The second deviation is not used: the blur is the same across and down.
    bool GaussianBlur(double sigma, double sigmaUnused);
    bool Tile(double scale);
    bool Turbulence(double baseFrequencyX, double baseFrequencyY, int octaves, bool fractalNoise, long seed,
                    double stitchTile);
    bool Noise(int amount);

    bool LightDiffuseDistant(const CColorRef& colour, double azimuth, double elevation, double surfaceScale = 1,
                             double kd = 1);
    bool LightDiffusePoint(const CColorRef& colour, double x, double y, double z, double surfaceScale = 1,
                           double kd = 1);
    bool LightDiffuseSpot(const CColorRef& colour, double x, double y, double z, double tx, double ty, double tz,
                          double exponent, double coneAngle, double surfaceScale = 1, double kd = 1);
    bool LightSpecularDistant(const CColorRef& colour, double azimuth, double elevation, double specularExponent,
                              double surfaceScale = 1, double ks = 1);
    bool LightSpecularPoint(const CColorRef& colour, double x, double y, double z, double specularExponent,
                            double surfaceScale = 1, double ks = 1);
    bool LightSpecularSpot(const CColorRef& colour, double x, double y, double z, double tx, double ty, double tz,
                           double exponent, double coneAngle, double specularExponent, double surfaceScale = 1,
                           double ks = 1);

    bool Offset(double dx, double dy);
    bool Rotate(double degrees);
    bool Twirl(double degrees);
    bool HPerspective(double amount);
    bool VPerspective(double amount);
    bool Wave(double amplitudeX, double wavelengthX, double amplitudeY, double wavelengthY);
    bool Circle();
    bool Pentagon();
    bool TransformationMatrix(const double* matrix9);

    bool Wind(int strength, EWindDirection direction, uint32_t seed = 1);
    bool Bevel(int width, double depth, double azimuth = 135);
    bool BumpMap(double depth, double azimuth = 135, double elevation = 45);
    bool Sculpture(double depth, double azimuth = 135);
    bool Tiles(int size, int shift, uint32_t seed = 1);

private:
    template <class Make>
    bool AddNew(Make&& make);

    CIoEffect& m_effect;
    int m_nId = keEffectNone, m_nIn1 = keEffectNone, m_nIn2 = keEffectNone;
};
