#include "geometry/QLength.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "geometry/GeomConstants.h"

namespace {

// Inches per unit for the physical units.
double InchesPer(EQLengthUnit u) {
    switch (u) {
    case keUnitInches: return 1.0;
    case keUnitCentimeters: return 1.0 / 2.54;
    case keUnitMillimeters: return 1.0 / 25.4;
    case keUnitPoints: return 1.0 / 72.0;
    case keUnitPicas: return 1.0 / 6.0;
    default: return 0.0;
    }
}

double UsableDpi(double dpi) { return dpi > 0.0 && std::isfinite(dpi) ? dpi : CQLength::kDefaultDpi; }

}  // namespace

double CQLength::ToPixels(double dpi, double reference) const noexcept {
    switch (m_unit) {
    case keUnitPixels: return m_value;
    case keUnitPercent: return m_value * reference / 100.0;
    default: return m_value * InchesPer(m_unit) * UsableDpi(dpi);
    }
}

CQLength CQLength::FromPixels(double pixels, EQLengthUnit unit, double dpi, double reference) noexcept {
    unit = Valid(unit);
    switch (unit) {
    case keUnitPixels: return CQLength(pixels, unit);
    case keUnitPercent: return CQLength(reference != 0.0 ? pixels * 100.0 / reference : 0.0, unit);
    default: return CQLength(pixels / (InchesPer(unit) * UsableDpi(dpi)), unit);
    }
}

CQLength CQLength::ConvertTo(EQLengthUnit unit, double dpi, double reference) const noexcept {
    unit = Valid(unit);
    if (unit == m_unit) return *this;
    // Between physical units the resolution cancels; skip it to keep exact ratios.
    if (InchesPer(unit) > 0.0 && InchesPer(m_unit) > 0.0)
        return CQLength(m_value * InchesPer(m_unit) / InchesPer(unit), unit);
    return FromPixels(ToPixels(dpi, reference), unit, dpi, reference);
}

const char* CQLength::UnitSuffix(EQLengthUnit unit) noexcept {
    static const char* const kSuffix[] = {"px", "in", "cm", "mm", "pt", "pc", "%"};
    return kSuffix[Valid(unit)];
}

std::string CQLength::Format(int decimals) const {
    if (decimals < 0) decimals = 0;
    if (decimals > 12) decimals = 12;
    // Fixed notation of a large value runs to hundreds of digits: size the text first.
    const int length = std::snprintf(nullptr, 0, "%.*f", decimals, m_value);
    if (length <= 0) return std::string("0 ") + UnitSuffix(m_unit);
    std::string s(size_t(length) + 1, '\0');
    std::snprintf(s.data(), s.size(), "%.*f", decimals, m_value);
    s.resize(size_t(length));
    if (s.find('.') != std::string::npos) {
        while (s.back() == '0') s.pop_back();
        if (s.back() == '.') s.pop_back();
    }
    if (s == "-0") s = "0";
    s += m_unit == keUnitPercent ? "" : " ";
    return s + UnitSuffix(m_unit);
}

bool CQLength::Parse(const char* text, CQLength& out, EQLengthUnit defaultUnit) {
    if (!text) return false;
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || !std::isfinite(v)) return false;
    while (std::isspace(static_cast<unsigned char>(*end))) ++end;
    // The unit is the rest of the text minus trailing blanks, compared without case.
    std::string unit(end);
    while (!unit.empty() && std::isspace(static_cast<unsigned char>(unit.back()))) unit.pop_back();
    for (char& c : unit) c = char(std::tolower(static_cast<unsigned char>(c)));
    struct {
        const char* name;
        EQLengthUnit unit;
    } const kNames[] = {{"px", keUnitPixels},      {"in", keUnitInches},      {"\"", keUnitInches},
                        {"cm", keUnitCentimeters}, {"mm", keUnitMillimeters}, {"pt", keUnitPoints},
                        {"pc", keUnitPicas},       {"%", keUnitPercent}};
    EQLengthUnit u = Valid(defaultUnit);
    if (!unit.empty()) {
        bool found = false;
        for (const auto& n : kNames)
            if (unit == n.name) {
                u = n.unit;
                found = true;
            }
        if (!found) return false;
    }
    out.Set(v, u);
    return true;
}

bool CQLength::operator==(const CQLength& o) const noexcept {
    return m_unit == o.m_unit && QGDI_IsEqual(m_value, o.m_value);
}
