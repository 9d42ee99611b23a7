#include "colour/ChromaticAdaptation.h"

namespace {

struct SConeMatrices {
    double m[9];     // rows as published
    double minv[9];  // the published inverse, rows as published
};

constexpr SConeMatrices kXYZScaling = {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
constexpr SConeMatrices kVonKries = {{0.40024, 0.7076, -0.08081, -0.2263, 1.16532, 0.0457, 0, 0, 0.91822},
                                     {1.859936, -1.129382, 0.219897, 0.361191, 0.638812, -6e-06, 0, 0, 1.089064}};
constexpr SConeMatrices kBradford = {
    {0.8951, 0.2664, -0.1614, -0.7502, 1.7135, 0.0367, 0.0389, -0.0685, 1.0296},
    {0.986993, -0.147054, 0.159963, 0.432305, 0.51836, 0.049291, -0.008529, 0.040043, 0.968487}};

const SConeMatrices& Cones(EChromaticAdaptationType type) noexcept {
    switch (type) {
    case keAdaptXYZScaling: return kXYZScaling;
    case keAdaptVonKries: return kVonKries;
    default: return kBradford;
    }
}

}  // namespace

CGenMatrix CreateChromaticAdaptationMatrix(double Xs, double Ys, double Zs, double Xd, double Yd, double Zd,
                                           EChromaticAdaptationType type) {
    const SConeMatrices& cones = Cones(type);
    const CGenMatrix M(3, 3, cones.m), Minv(3, 3, cones.minv);
    const CGenMatrix src = M * CGenMatrix(3, 1, {Xs, Ys, Zs});
    const CGenMatrix dst = M * CGenMatrix(3, 1, {Xd, Yd, Zd});
    std::vector<double> gains(3);
    for (int k = 0; k < 3; ++k) {
        if (src(k, 0) == 0.0) return CGenMatrix::identity(3);
        gains[size_t(k)] = dst(k, 0) / src(k, 0);
    }
    // A = M^-1 diag(gains) M, handed out transposed.
    return (Minv * CGenMatrix::diagonal(gains) * M).transpose();
}

void ChromaticAdaptation(double X, double Y, double Z, double& Xout, double& Yout, double& Zout,
                         const CGenMatrix& m) noexcept {
    if (m.rows() != 3 || m.cols() != 3) {
        Xout = X, Yout = Y, Zout = Z;
        return;
    }
    Xout = X * m(0, 0) + Y * m(1, 0) + Z * m(2, 0);
    Yout = X * m(0, 1) + Y * m(1, 1) + Z * m(2, 1);
    Zout = X * m(0, 2) + Y * m(1, 2) + Z * m(2, 2);
}
