// Lengths typed as text: whatever is accepted prints back to text that reads
// as the same length; refused text leaves the target untouched.
#include <cmath>
#include <cstdlib>
#include <string>

#include "qgdi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    // The first byte picks the default unit, out-of-range values included.
    const EQLengthUnit defaultUnit = static_cast<EQLengthUnit>(size ? int(data[0] % 9) - 1 : 0);
    const CQLength untouched(-12345.0, keUnitPicas);
    CQLength length = untouched;
    if (!CQLength::Parse(text.c_str(), length, defaultUnit)) {
        if (length.GetValue() != untouched.GetValue() || length.GetUnit() != untouched.GetUnit()) std::abort();
        return 0;
    }
    if (!std::isfinite(length.GetValue()) || length.GetUnit() < keUnitPixels || length.GetUnit() > keUnitPercent)
        std::abort();
    // Twelve decimals keep any value the formatter can print close enough to re-read.
    const std::string printed = length.Format(12);
    CQLength back;
    if (!CQLength::Parse(printed.c_str(), back)) std::abort();
    if (back.GetUnit() != length.GetUnit()) std::abort();
    const double v = length.GetValue();
    if (std::fabs(back.GetValue() - v) > 1e-12 + std::fabs(v) * 1e-15) std::abort();
    for (int u = keUnitPixels; u <= keUnitPercent; ++u) {
        const CQLength other = length.ConvertTo(static_cast<EQLengthUnit>(u), 300.0, 1000.0);
        (void)other.Format(3);
    }
    return 0;
}
