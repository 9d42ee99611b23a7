#pragma once
// A colour as a sampled spectrum: 31 values at 400, 410, ... 700 nm, either a
// reflectance/transmittance (0..1) or a relative power distribution.
#include <array>
#include <cstddef>
#include <cstdint>

#include "colour/ColourSpaceRGB.h"

enum ESpectrumType : int32_t {
    keSpectrumZero = 0,           // every sample 0
    keSpectrumFlat = 1,           // every sample = the parameter (equal energy / neutral grey)
    keSpectrumMonochromatic = 2,  // 1 at the sample of the parameter's wavelength (nm), 0 elsewhere
    keSpectrumBlackbody = 3,      // Planck's law at the parameter's temperature (K), 1 at 560 nm
    keSpectrumIlluminantA = 4,    // CIE illuminant A, 1 at 560 nm (the parameter is ignored)
};

class QGDI_API CSpectralColor {
public:
    static constexpr int kSampleCount = 31;

    CSpectralColor() noexcept;  // all zero
    explicit CSpectralColor(double value) noexcept;
    explicit CSpectralColor(const double (&samples)[kSampleCount]) noexcept;

    static constexpr int GetSampleCount() noexcept { return kSampleCount; }
    // True for 400, 410, ... 700 only.
    static bool IsLegalWavelength(double nm) noexcept;
    // (nm - 400)/10 truncated toward zero, clamped to 0..30.
    static int WavelengthToSampleIndex(double nm) noexcept;
    // 400 for a negative index, else (min(i, 30) + 40) x 10.
    static int SampleIndexToWavelength(int index) noexcept;

    // Out-of-range indices are clamped.
    double GetSample(int index) const noexcept;
    void SetSample(int index, double value) noexcept;
    double& operator[](int index) noexcept { return m_s[std::size_t(ClampIndex(index))]; }
    double operator[](int index) const noexcept { return m_s[std::size_t(ClampIndex(index))]; }
    const double* GetSamples() const noexcept { return m_s.data(); }

    // Fills the spectrum by kind; false (spectrum unchanged) for an unknown
    // kind, a wavelength outside 400..700 or a temperature that is not positive.
    bool Initialize(ESpectrumType type, double parameter = 1.0) noexcept;

    // CIE 1931 2-degree tristimulus values, normalised so that the flat
    // spectrum of 1 has Y = 1 (a reflectance under an equal-energy light).
    void XYZ(double& X, double& Y, double& Z) const noexcept;
    // The same for a reflectance lit by `illuminant`: the perfect reflector has Y = 1.
    void XYZ(const CSpectralColor& illuminant, double& X, double& Y, double& Z) const noexcept;

    // k x mean of the samples, of the products of two, or of three spectra.
    double Integrate(double k = 1.0) const noexcept;
    static double Integrate(const CSpectralColor& a, const CSpectralColor& b, double k = 1.0) noexcept;
    static double Integrate(const CSpectralColor& a, const CSpectralColor& b, const CSpectralColor& c,
                            double k = 1.0) noexcept;
    // Transmittance of d layers of the filter s (Bouguer-Lambert): s^d per sample.
    static CSpectralColor Bouguer(const CSpectralColor& s, double d) noexcept;
    static CSpectralColor LinearCombination(double a, const CSpectralColor& s1, double b,
                                            const CSpectralColor& s2) noexcept;
    static CSpectralColor LinearCombination(double a, const CSpectralColor& s1, double b, const CSpectralColor& s2,
                                            double c, const CSpectralColor& s3) noexcept;

    // Euclidean distance between the spectrum's XYZ and the target.
    double CalcError(double X, double Y, double Z) const noexcept;
    // Moves the spectrum to the target XYZ while keeping every sample in 0..1:
    // alternately adds the smallest correction built from the colour-matching
    // functions (which keeps the spectrum smooth) and clamps to 0..1, until
    // the error is at most `tolerance` or `maxIterations` have run. Returns the
    // final error.
    double AdjustSpectralPrimary(double X, double Y, double Z, int maxIterations = 2000,
                                 double tolerance = 1e-9) noexcept;
    // Three reflectances in 0..1 whose XYZ are the three primaries of the colour space
    // (its matrix columns), so that linear RGB (r, g, b) has the spectrum
    // r P0 + g P1 + b P2 with the same XYZ as the colour space gives. False when a
    // primary cannot be matched within `tolerance` (it lies outside what 0..1
    // reflectances reach); the primaries hold the closest spectra found.
    static bool BuildSpectralPrimaries(const SColorSpecRGB& cs, CSpectralColor primaries[3],
                                       double tolerance = 1e-6) noexcept;

    CSpectralColor& operator+=(const CSpectralColor& o) noexcept;
    CSpectralColor& operator-=(const CSpectralColor& o) noexcept;
    CSpectralColor& operator*=(const CSpectralColor& o) noexcept;
    CSpectralColor& operator*=(double k) noexcept;
    CSpectralColor& operator/=(double k) noexcept;
    friend CSpectralColor operator+(CSpectralColor a, const CSpectralColor& b) noexcept { return a += b; }
    friend CSpectralColor operator-(CSpectralColor a, const CSpectralColor& b) noexcept { return a -= b; }
    friend CSpectralColor operator*(CSpectralColor a, const CSpectralColor& b) noexcept { return a *= b; }
    friend CSpectralColor operator*(CSpectralColor a, double k) noexcept { return a *= k; }
    friend CSpectralColor operator*(double k, CSpectralColor a) noexcept { return a *= k; }
    friend CSpectralColor operator/(CSpectralColor a, double k) noexcept { return a /= k; }
    bool operator==(const CSpectralColor& o) const noexcept { return m_s == o.m_s; }

private:
    static int ClampIndex(int i) noexcept { return i < 0 ? 0 : (i >= kSampleCount ? kSampleCount - 1 : i); }
    std::array<double, kSampleCount> m_s;
};
