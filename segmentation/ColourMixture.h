#pragma once
// Gaussian mixtures over 8-bit colours (blue, green, red as 0..255 values):
// the colour models of foreground and background. Components start from a
// k-means clustering and are refitted from hard assignments, so a fit costs
// one pass over the pixels and its result depends on nothing but the input.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qgdi::segment {

// Full 3 x 3 covariance, inverted in closed form.
struct SGaussian3 {
    double weight = 0;
    double mean[3] = {0, 0, 0};
    // Inverse covariance, upper triangle: xx, xy, xz, yy, yz, zz.
    float inverse[6] = {1, 0, 0, 1, 0, 1};
    // log(weight) - log(sqrt((2 pi)^3 det)): the constant of the log density.
    float logScale = 0;
};

class CColourMixture {
public:
    static constexpr int kiMaxComponents = 16;
    // Added to every variance (squared 8-bit levels): a uniform region would
    // otherwise give a singular covariance and an infinitely sharp model.
    static constexpr double kfVarianceFloor = 4.0;

    // Clusters `count` colours (3 bytes each, `stride` bytes apart) into at
    // most `components` groups with CKMeans, then fits one Gaussian per group.
    // Fewer colours than components give fewer components; none leaves the
    // mixture empty (Empty() is then true).
    void Initialise(const uint8_t* colours, size_t count, size_t stride, int components);
    // Refits every component from the colours assigned to it (`component[i]`
    // for colour i, values outside 0..Components()-1 ignored). A component
    // left without colours keeps its Gaussian at a tiny weight.
    void Refit(const uint8_t* colours, const uint8_t* component, size_t count, size_t stride);

    bool Empty() const noexcept { return m_components.empty(); }
    int Components() const noexcept { return static_cast<int>(m_components.size()); }
    const SGaussian3& Component(int k) const noexcept { return m_components[static_cast<size_t>(k)]; }

    // For n colours: the negative log likelihood of each under the mixture
    // (capped at kfMaxCost) and the most likely component of each.
    static constexpr float kfMaxCost = 60.f;
    void Evaluate(const uint8_t* colours, int n, float* cost, uint8_t* best) const;

private:
    // Mean and inverse covariance from accumulated sums.
    static SGaussian3 FromMoments(const double* sums, double total);

    std::vector<SGaussian3> m_components;
};

}  // namespace qgdi::segment
