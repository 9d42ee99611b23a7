#pragma once
// A length with its unit, as typed in dialogs: converts between physical units,
// pixels at a resolution and percentages of a reference length.
#include <string>

#include "qgdi_export.h"

enum EQLengthUnit : int {
    keUnitPixels = 0,
    keUnitInches = 1,
    keUnitCentimeters = 2,
    keUnitMillimeters = 3,
    keUnitPoints = 4,   // 1/72 inch
    keUnitPicas = 5,    // 12 points
    keUnitPercent = 6,  // of a reference length in pixels
};

class QGDI_API CQLength {
public:
    // Used when a caller passes no usable resolution.
    static constexpr double kDefaultDpi = 72.0;

    CQLength() noexcept = default;
    CQLength(double value, EQLengthUnit unit) noexcept : m_value(value), m_unit(Valid(unit)) {}

    double GetValue() const noexcept { return m_value; }
    EQLengthUnit GetUnit() const noexcept { return m_unit; }
    void Set(double value, EQLengthUnit unit) noexcept {
        m_value = value;
        m_unit = Valid(unit);
    }

    // In pixels at `dpi` pixels per inch; a percentage is of `reference` pixels.
    double ToPixels(double dpi, double reference = 0.0) const noexcept;
    static CQLength FromPixels(double pixels, EQLengthUnit unit, double dpi, double reference = 0.0) noexcept;
    // The same length in another unit (through pixels when either unit is one
    // that needs the resolution or the reference).
    CQLength ConvertTo(EQLengthUnit unit, double dpi, double reference = 0.0) const noexcept;

    // "12.5 mm": the value with at most `decimals` decimals, trailing zeros dropped.
    std::string Format(int decimals = 2) const;
    // Reads a number with an optional unit ("px", "in" or '"', "cm", "mm", "pt",
    // "pc", "%", any case); without a unit the default applies. False, with
    // `out` untouched, for anything else.
    static bool Parse(const char* text, CQLength& out, EQLengthUnit defaultUnit = keUnitPixels);
    static const char* UnitSuffix(EQLengthUnit unit) noexcept;

    // Same unit and value within the geometry tolerance.
    bool operator==(const CQLength& o) const noexcept;
    bool operator!=(const CQLength& o) const noexcept { return !(*this == o); }

private:
    static EQLengthUnit Valid(EQLengthUnit u) noexcept {
        return u >= keUnitPixels && u <= keUnitPercent ? u : keUnitPixels;
    }

    double m_value = 0.0;
    EQLengthUnit m_unit = keUnitPixels;
};
