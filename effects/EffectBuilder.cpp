#include "effects/EffectBuilder.h"

#include <new>

#include "effects/IoBlur.h"
#include "effects/IoColor.h"
#include "effects/IoGenerate.h"
#include "effects/IoLighting.h"
#include "effects/IoRelief.h"

CIoEffectBuilder& CIoEffectBuilder::operator()(int id, int in1, int in2) noexcept {
    m_nId = id, m_nIn1 = in1, m_nIn2 = in2;
    return *this;
}

template <class Make>
bool CIoEffectBuilder::AddNew(Make&& make) {
    CImageOp* op = nullptr;
    try {
        op = make();
    } catch (const std::bad_alloc&) {
        op = nullptr;
    }
    if (m_effect.AddImageOp(op, true, m_nId, m_nIn1, m_nIn2)) return true;
    delete op;
    return false;
}

CIoRowOp* CIoEffectBuilder::Add(const CRowOpDef& def, int inputs) {
    CIoRowOp* op = nullptr;
    try {
        op = new CIoRowOp(def, inputs);
    } catch (const std::bad_alloc&) {
        op = nullptr;
    }
    if (!m_effect.AddImageOp(op, false, m_nId, m_nIn1, m_nIn2)) {
        delete op;
        return nullptr;
    }
    return op;
}

bool CIoEffectBuilder::Add(CImageOp* op, bool owned) { return m_effect.AddImageOp(op, owned, m_nId, m_nIn1, m_nIn2); }

#define QGDI_BUILD(expr) return AddNew([&]() -> CImageOp* { return expr; })

bool CIoEffectBuilder::Image(const CRowIterator* source, EQResampleMode mode) {
    QGDI_BUILD(new (std::nothrow) CIoImage(source, mode));
}
bool CIoEffectBuilder::Arithmetic(double k1, double k2, double k3, double k4) {
    QGDI_BUILD(new (std::nothrow) CIoArithmetic(k1, k2, k3, k4));
}
bool CIoEffectBuilder::Composite(EQCompositeOp op) { QGDI_BUILD(new (std::nothrow) CIoComposite(op)); }
bool CIoEffectBuilder::ColorMatrix(const double* matrix20) { QGDI_BUILD(new (std::nothrow) CIoColorMatrix(matrix20)); }
bool CIoEffectBuilder::ColorSaturate(double s) { QGDI_BUILD(CIoColorMatrix::CreateSaturate(s)); }
bool CIoEffectBuilder::ColorHueRotate(double degrees) { QGDI_BUILD(CIoColorMatrix::CreateHueRotate(degrees)); }
bool CIoEffectBuilder::ColorLuminanceToAlpha() { QGDI_BUILD(CIoColorMatrix::CreateLuminanceToAlpha()); }
bool CIoEffectBuilder::Greyscale() { QGDI_BUILD(CIoColorMatrix::CreateGreyscale()); }
bool CIoEffectBuilder::ColorChannelConstant(EQChannel channel, double value) {
    QGDI_BUILD(CIoColorMatrix::CreateChannelConstant(channel, value));
}
bool CIoEffectBuilder::Colorize(double hueDegrees, double saturation) {
    QGDI_BUILD(CIoColorMatrix::CreateColorize(hueDegrees, saturation));
}
bool CIoEffectBuilder::ComponentTransfer(const uint8_t* red, const uint8_t* green, const uint8_t* blue,
                                         const uint8_t* alpha) {
    QGDI_BUILD(new (std::nothrow) CIoComponentTransfer(red, green, blue, alpha));
}
bool CIoEffectBuilder::ComponentTransfer(EQChannel channel, const uint8_t* table) {
    QGDI_BUILD(new (std::nothrow) CIoComponentTransfer(channel, table));
}
bool CIoEffectBuilder::Gamma(double amplitude, double exponent, double offset) {
    QGDI_BUILD(CIoComponentTransfer::CreateGamma(amplitude, exponent, offset));
}
bool CIoEffectBuilder::Invert() { QGDI_BUILD(CIoComponentTransfer::CreateInvert()); }
bool CIoEffectBuilder::Chrome(const CColorRef& colour, double periods) {
    QGDI_BUILD(CIoComponentTransfer::CreateChrome(colour, periods));
}
bool CIoEffectBuilder::ConvolveMatrix(const double* matrix, double divisor, EEdgeMode edge, EQChannelSet channels,
                                      int columns, int rows) {
    QGDI_BUILD(new CIoConvolveMatrix(matrix, divisor, edge, channels, columns, rows));
}
bool CIoEffectBuilder::ConvolveMatrix(EQFilterMatrix which, EEdgeMode edge, EQChannelSet channels) {
    QGDI_BUILD(new CIoConvolveMatrix(which, edge, channels));
}
bool CIoEffectBuilder::DilateRound(int rx, int ry) { QGDI_BUILD(new (std::nothrow) CIoDilate(CIoMorphology::keShapeRound, rx, ry)); }
bool CIoEffectBuilder::DilateSquare(int rx, int ry) { QGDI_BUILD(new (std::nothrow) CIoDilate(CIoMorphology::keShapeSquare, rx, ry)); }
bool CIoEffectBuilder::ErodeRound(int rx, int ry) { QGDI_BUILD(new (std::nothrow) CIoErode(CIoMorphology::keShapeRound, rx, ry)); }
bool CIoEffectBuilder::ErodeSquare(int rx, int ry) { QGDI_BUILD(new (std::nothrow) CIoErode(CIoMorphology::keShapeSquare, rx, ry)); }
bool CIoEffectBuilder::DisplacementMap(EQChannel xChannel, EQChannel yChannel, double scale) {
    QGDI_BUILD(new (std::nothrow) CIoDisplacementMap(xChannel, yChannel, scale));
}
bool CIoEffectBuilder::GaussianBlur(double sigma, double) { QGDI_BUILD(new (std::nothrow) CIoGaussianBlur(sigma, 3)); }
bool CIoEffectBuilder::Tile(double scale) { QGDI_BUILD(new (std::nothrow) CIoTile(scale)); }
bool CIoEffectBuilder::Turbulence(double fx, double fy, int octaves, bool fractalNoise, long seed, double stitchTile) {
    QGDI_BUILD(new (std::nothrow) CIoTurbulence(fx, fy, octaves, fractalNoise, seed, stitchTile));
}
bool CIoEffectBuilder::Noise(int amount) { QGDI_BUILD(new (std::nothrow) CIoNoise(amount)); }

bool CIoEffectBuilder::LightDiffuseDistant(const CColorRef& colour, double azimuth, double elevation,
                                           double surfaceScale, double kd) {
    QGDI_BUILD(new (std::nothrow) CIoDiffuseLighting(CIoLight::Distant(colour, azimuth, elevation), surfaceScale, kd));
}
bool CIoEffectBuilder::LightDiffusePoint(const CColorRef& colour, double x, double y, double z, double surfaceScale,
                                         double kd) {
    QGDI_BUILD(new (std::nothrow) CIoDiffuseLighting(CIoLight::Point(colour, x, y, z), surfaceScale, kd));
}
bool CIoEffectBuilder::LightDiffuseSpot(const CColorRef& colour, double x, double y, double z, double tx, double ty,
                                        double tz, double exponent, double coneAngle, double surfaceScale, double kd) {
    QGDI_BUILD(new (std::nothrow) CIoDiffuseLighting(
        CIoLight::Spot(colour, x, y, z, tx, ty, tz, exponent, coneAngle), surfaceScale, kd));
}
bool CIoEffectBuilder::LightSpecularDistant(const CColorRef& colour, double azimuth, double elevation,
                                            double specularExponent, double surfaceScale, double ks) {
    QGDI_BUILD(new (std::nothrow) CIoSpecularLighting(CIoLight::Distant(colour, azimuth, elevation), specularExponent,
                                                      surfaceScale, ks));
}
bool CIoEffectBuilder::LightSpecularPoint(const CColorRef& colour, double x, double y, double z,
                                          double specularExponent, double surfaceScale, double ks) {
    QGDI_BUILD(new (std::nothrow) CIoSpecularLighting(CIoLight::Point(colour, x, y, z), specularExponent, surfaceScale,
                                                      ks));
}
bool CIoEffectBuilder::LightSpecularSpot(const CColorRef& colour, double x, double y, double z, double tx, double ty,
                                         double tz, double exponent, double coneAngle, double specularExponent,
                                         double surfaceScale, double ks) {
    QGDI_BUILD(new (std::nothrow) CIoSpecularLighting(CIoLight::Spot(colour, x, y, z, tx, ty, tz, exponent, coneAngle),
                                                      specularExponent, surfaceScale, ks));
}

bool CIoEffectBuilder::Offset(double dx, double dy) { QGDI_BUILD(CIoDeformation::CreateOffset(dx, dy)); }
bool CIoEffectBuilder::Rotate(double degrees) { QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformRotate, &degrees, 1)); }
bool CIoEffectBuilder::Twirl(double degrees) { QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformTwirl, &degrees, 1)); }
bool CIoEffectBuilder::HPerspective(double amount) {
    QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformHPerspective, &amount, 1));
}
bool CIoEffectBuilder::VPerspective(double amount) {
    QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformVPerspective, &amount, 1));
}
bool CIoEffectBuilder::Wave(double ax, double wx, double ay, double wy) {
    const double p[4] = {ax, wx, ay, wy};
    QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformWave, p, 4));
}
bool CIoEffectBuilder::Circle() { QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformCircle, nullptr, 0)); }
bool CIoEffectBuilder::Pentagon() { QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformPentagon, nullptr, 0)); }
bool CIoEffectBuilder::TransformationMatrix(const double* matrix9) {
    QGDI_BUILD(new (std::nothrow) CIoDeformation(keDeformMatrix, matrix9, matrix9 ? 9 : 0));
}

bool CIoEffectBuilder::Wind(int strength, EWindDirection direction, uint32_t seed) {
    QGDI_BUILD(new (std::nothrow) CIoWind(strength, direction, seed));
}
bool CIoEffectBuilder::Bevel(int width, double depth, double azimuth) {
    QGDI_BUILD(new (std::nothrow) CIoBevelEffect(width, depth, azimuth));
}
bool CIoEffectBuilder::BumpMap(double depth, double azimuth, double elevation) {
    QGDI_BUILD(new (std::nothrow) CIoBumpMapEffect(depth, azimuth, elevation));
}
bool CIoEffectBuilder::Sculpture(double depth, double azimuth) {
    QGDI_BUILD(new (std::nothrow) CIoSculptureEffect(depth, azimuth));
}
bool CIoEffectBuilder::Tiles(int size, int shift, uint32_t seed) {
    QGDI_BUILD(new (std::nothrow) CIoTilesEffect(size, shift, seed));
}
