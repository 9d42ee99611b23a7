#pragma once
// Reference counting of the shared drawing objects (paths, path iterators, and
// later regions, fills and polygons). A new object holds one reference; the
// last Unreference deletes it.
#include <atomic>

#include "qgdi_export.h"

class QGDI_API VQGDIRefed {
public:
    VQGDIRefed() noexcept = default;
    VQGDIRefed(const VQGDIRefed&) = delete;
    VQGDIRefed& operator=(const VQGDIRefed&) = delete;

    // Both return the count after the change; Unreference returns 0 once the
    // object is gone, so the caller must not touch it afterwards.
    long Reference() noexcept { return m_refs.fetch_add(1, std::memory_order_relaxed) + 1; }
    long Unreference() noexcept;
    long GetRefCount() const noexcept { return m_refs.load(std::memory_order_relaxed); }

protected:
    virtual ~VQGDIRefed();

private:
    std::atomic<long> m_refs{1};
};
