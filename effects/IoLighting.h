#pragma once
// Diffuse and specular lighting of the surface whose height is input 0's
// alpha, lit by a distant, point or spot light.
#include "QuorRender/IoSeqOp.h"
#include "qdibcore/Source/ColorRef.h"
#include "qgdi_export.h"

enum ELightType : int32_t {
    keLightDistant = 0,
    keLightPoint = 1,
    keLightSpot = 2,
};

// Positions are in source pixels, z above the surface's zero; angles in degrees.
class QGDI_API CIoLight {
public:
    static CIoLight Distant(const CColorRef& colour, double azimuth, double elevation) noexcept;
    static CIoLight Point(const CColorRef& colour, double x, double y, double z) noexcept;
    // Aimed at (tx, ty, tz); light falls off as cos^exponent away from the
    // axis and stops outside the cone (coneAngle <= 0 or >= 90: no cone).
    static CIoLight Spot(const CColorRef& colour, double x, double y, double z, double tx, double ty, double tz,
                         double exponent, double coneAngle) noexcept;

    ELightType GetType() const noexcept { return m_eType; }
    // Unit vector from the surface point towards the light, and the light's
    // colour there (0..1 per channel, red first).
    void At(double x, double y, double z, double l[3], double colour[3]) const noexcept;

private:
    ELightType m_eType = keLightDistant;
    double m_colour[3] = {1, 1, 1};
    double m_a = 0, m_b = 0, m_c = 0;     // azimuth and elevation, or the position
    double m_t[3] = {0, 0, 0};            // spot: unit vector from the light to its target
    double m_dExponent = 1, m_dCosCone = -2;
};

class QGDI_API CIoLighting : public CImageOp {
public:
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    double GetTime(int width, int height) const override;
    // Height of full alpha, and the reflection constant.
    void SetSurface(double surfaceScale, double constant) noexcept;
    const CIoLight& GetLight() const noexcept { return m_light; }

protected:
    CIoLighting(const CIoLight& light, bool specular, double exponent) noexcept;

private:
    CIoLight m_light;
    bool m_bSpecular;
    double m_dExponent;
    double m_dSurfaceScale = 1, m_dConstant = 1;
};

// kd (N.L) colour, opaque.
class QGDI_API CIoDiffuseLighting : public CIoLighting {
public:
    explicit CIoDiffuseLighting(const CIoLight& light, double surfaceScale = 1, double kd = 1) noexcept;
};

// ks (N.H)^exponent colour, alpha the largest colour channel.
class QGDI_API CIoSpecularLighting : public CIoLighting {
public:
    CIoSpecularLighting(const CIoLight& light, double exponent, double surfaceScale = 1, double ks = 1) noexcept;
};
