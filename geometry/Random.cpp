#include "geometry/Random.h"

namespace {

// The range m + 1 of a bounded draw; m = 1 for empty or inverted ranges so the
// modulus never reaches 0, and 2^31 − 1 is capped so that m + 1 fits.
int64_t BoundedModulus(int64_t n) noexcept {
    if (n < 1) return 2;
    if (n == CRandomMinStd::kModulus) return CRandomMinStd::kModulus;
    return n + 1;
}

}  // namespace

void CRandomMinStd::Seed(int32_t seed) noexcept {
    m_state = seed < 1 ? 1 : (seed > kModulus - 1 ? kModulus - 1 : seed);
}

int32_t CRandomMinStd::Next() noexcept {
    // Schrage: with q = m div a = 127773 and r = m mod a = 2836, a·s mod m equals
    // a·(s mod q) − r·(s div q), plus m when that is not positive.
    constexpr int32_t a = 16807, q = 127773, r = 2836;
    const int32_t hi = m_state / q;
    const int32_t lo = m_state % q;
    int32_t s = a * lo - r * hi;
    if (s <= 0) s += kModulus;
    m_state = s;
    return s;
}

int32_t CRandomMinStd::Get(int32_t n) noexcept { return static_cast<int32_t>(Next() % BoundedModulus(n)); }

int32_t CRandomMinStd::Get(int32_t lo, int32_t hi) noexcept {
    const int64_t span = int64_t{hi} - lo;
    return static_cast<int32_t>(lo + Next() % BoundedModulus(span));
}
