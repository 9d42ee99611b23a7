#include "geometry/KMeans.h"

#include <algorithm>
#include <cmath>

#include "geometry/Random.h"

namespace {

constexpr int kMaxPasses = 50;
// Start of the nearest-mean search and of the per-dimension bounds.
constexpr double kHuge = 1e20;

size_t Span(int count, int d) noexcept { return static_cast<size_t>(count) * static_cast<size_t>(d); }

}  // namespace

CKMeans::CKMeans(int nMaxVectors, int nMeans, int nDimensions)
    : m_n(std::max(0, nMaxVectors)),
      m_k(std::max(0, nMeans)),
      m_d(std::max(0, nDimensions)),
      m_means(Span(m_k, m_d), 0.0),
      m_vectors(Span(m_n, m_d), 0.0),
      m_meanIds(static_cast<size_t>(m_n), -1),
      m_seed(static_cast<int32_t>(int64_t{m_k} + m_d + m_n)) {}

int CKMeans::Append(std::vector<double>& store, int& used, int capacity, const double* src, int count) {
    const int take = src ? std::clamp(count, 0, capacity - used) : 0;
    std::copy(src, src + Span(take, m_d), store.data() + Span(used, m_d));
    used += take;
    return take;
}

int CKMeans::addNewVectors(const double* v, int count) { return Append(m_vectors, m_nVectorsActual, m_n, v, count); }

int CKMeans::addNewVector(const double* v) { return addNewVectors(v, 1); }

int CKMeans::addNewMeans(const double* m, int count) { return Append(m_means, m_nMeansActual, m_k, m, count); }

int CKMeans::addNewMean(const double* m) { return addNewMeans(m, 1); }

const double* CKMeans::getMean(int i) const noexcept {
    return i >= 0 && i < m_k ? m_means.data() + Span(i, m_d) : nullptr;
}

const double* CKMeans::getVector(int i) const noexcept {
    return i >= 0 && i < m_nVectorsActual ? m_vectors.data() + Span(i, m_d) : nullptr;
}

int CKMeans::getMeanID(int vector) const noexcept {
    return vector >= 0 && vector < m_nVectorsActual ? m_meanIds[static_cast<size_t>(vector)] : -1;
}

void CKMeans::GenerateMissingMeans() {
    if (m_nMeansActual >= m_k) return;
    std::vector<double> lo(static_cast<size_t>(m_d), kHuge), hi(static_cast<size_t>(m_d), -kHuge);
    for (int i = 0; i < m_nVectorsActual; ++i) {
        const double* v = m_vectors.data() + Span(i, m_d);
        for (int j = 0; j < m_d; ++j) {
            lo[static_cast<size_t>(j)] = std::min(lo[static_cast<size_t>(j)], v[j]);
            hi[static_cast<size_t>(j)] = std::max(hi[static_cast<size_t>(j)], v[j]);
        }
    }
    CRandomMinStd rnd(m_seed);
    for (; m_nMeansActual < m_k; ++m_nMeansActual) {
        double* m = m_means.data() + Span(m_nMeansActual, m_d);
        for (int j = 0; j < m_d; ++j) m[j] = rnd.Get(lo[static_cast<size_t>(j)], hi[static_cast<size_t>(j)]);
    }
    m_seed = rnd.GetSeed();
}

void CKMeans::Assign() {
    const int n = m_nVectorsActual, k = m_k, d = m_d;
    const double* means = m_means.data();
    const double* vectors = m_vectors.data();
    int32_t* ids = m_meanIds.data();
    // Each vector is independent; only large problems are worth the threads.
    const bool parallel = static_cast<double>(n) * k * d > 1e5;
#pragma omp parallel for schedule(static) if (parallel)
    for (int i = 0; i < n; ++i) {
        const double* v = vectors + Span(i, d);
        double best = kHuge;
        int32_t id = 0;
        // Strictly smaller only, so the lowest-numbered mean wins ties.
        for (int m = 0; m < k; ++m) {
            const double* c = means + Span(m, d);
            double dist = 0.0;
            for (int j = 0; j < d; ++j) dist += (v[j] - c[j]) * (v[j] - c[j]);
            if (dist < best) {
                best = dist;
                id = m;
            }
        }
        ids[i] = id;
    }
}

double CKMeans::Update() {
    std::vector<double> sums(Span(m_k, m_d), 0.0);
    std::vector<int> counts(static_cast<size_t>(m_k), 0);
    for (int i = 0; i < m_nVectorsActual; ++i) {
        const int id = m_meanIds[static_cast<size_t>(i)];
        const double* v = m_vectors.data() + Span(i, m_d);
        double* s = sums.data() + Span(id, m_d);
        for (int j = 0; j < m_d; ++j) s[j] += v[j];
        ++counts[static_cast<size_t>(id)];
    }
    double change = 0.0;
    m_nUsedMeans = 0;
    for (int m = 0; m < m_k; ++m) {
        const int c = counts[static_cast<size_t>(m)];
        if (c == 0) continue;
        ++m_nUsedMeans;
        double* mean = m_means.data() + Span(m, m_d);
        const double* s = sums.data() + Span(m, m_d);
        for (int j = 0; j < m_d; ++j) {
            const double next = s[j] / c;
            change = std::max(change, std::fabs(next - mean[j]));
            mean[j] = next;
        }
    }
    return change;
}

int CKMeans::runKMeans(double tolerance) {
    if (m_nVectorsActual == 0 || m_k == 0) return 0;
    GenerateMissingMeans();
    int passes = 0;
    while (passes < kMaxPasses) {
        Assign();
        ++passes;
        if (!(Update() >= tolerance)) break;
    }
    return passes;
}
