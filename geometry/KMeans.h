#pragma once
// k-means clustering of fixed-length vectors of doubles (colour quantisation,
// segmentation seeds). Capacities are fixed at construction; means that are not
// supplied are drawn at random inside the data's bounding box from a stored
// seed, so repeated runs on the same object continue one random sequence.
#include <cstdint>
#include <vector>

#include "qgdi_export.h"

class QGDI_API CKMeans {
public:
    // Room for nMaxVectors vectors and nMeans means of nDimensions values each;
    // negative sizes count as 0. The seed starts at nMeans + nDimensions + nMaxVectors.
    CKMeans(int nMaxVectors, int nMeans, int nDimensions);

    // Each copies nDimensions values per vector or mean; what does not fit in
    // the remaining capacity is ignored. The counts of the items accepted are returned.
    int addNewVector(const double* v);
    int addNewVectors(const double* v, int count);
    int addNewMean(const double* m);
    int addNewMeans(const double* m, int count);

    // Completes the means, then alternates assignment and update until no mean
    // coordinate moves by tolerance or more, at most 50 assignment passes.
    // Returns the number of passes made (0 when there are no vectors).
    int runKMeans(double tolerance);

    const double* getMean(int i) const noexcept;
    const double* getMeanPtr() const noexcept { return m_means.data(); }
    // The mean a vector was assigned to by the last run, −1 before any run or out of range.
    int getMeanID(int vector) const noexcept;
    const double* getVector(int i) const noexcept;
    const double* getVectorPtr() const noexcept { return m_vectors.data(); }
    int getNMeansActual() const noexcept { return m_nMeansActual; }
    int getNVectorsActual() const noexcept { return m_nVectorsActual; }
    // Means that received at least one vector in the last assignment.
    int getNUsedMeans() const noexcept { return m_nUsedMeans; }
    int getNMeans() const noexcept { return m_k; }
    int getNDimensions() const noexcept { return m_d; }
    int32_t getSeed() const noexcept { return m_seed; }
    void setSeed(int32_t seed) noexcept { m_seed = seed; }

private:
    // Copies what fits of count items after the `used` ones of a store of `capacity`.
    int Append(std::vector<double>& store, int& used, int capacity, const double* src, int count);
    void GenerateMissingMeans();
    // One assignment pass: every vector to its nearest mean.
    void Assign();
    // New means as averages of their vectors; the largest coordinate change.
    double Update();

    int m_n, m_k, m_d;
    std::vector<double> m_means, m_vectors;
    std::vector<int32_t> m_meanIds;
    int m_nMeansActual = 0, m_nVectorsActual = 0, m_nUsedMeans = 0;
    int32_t m_seed;
};
