#pragma once
// The protocol through which shapes are produced and consumed. A producer
// calls MoveTo, then segments, then ClosePath; each call returns false to stop
// the producer. Every operation takes, last, an optional bare nine-double
// matrix (null = identity) that maps the given points to device space; the
// receiver keeps its current and start points unmapped.
#include "geometry/QPoint.h"
#include "qgdi_export.h"

class QGDI_API VPathReceiver {
public:
    VPathReceiver() noexcept = default;
    virtual ~VPathReceiver();

    // Slot order matters to binary callers: do not reorder the virtuals.
    virtual bool LineTo(const SQPOINT& point, const double* matrix) = 0;
    // Stores the point as the current point (and the start of the contour).
    virtual bool MoveTo(const SQPOINT& point, const double* matrix);
    // Hooks around a whole path sent by an iterator; true unless overridden.
    virtual bool BeginPath();
    virtual bool EndPath();
    // A line back to the contour's start point.
    virtual bool ClosePath(const double* matrix);
    // Squared device distance a flattened curve may deviate by.
    virtual double GetFlatness();
    // Flatten, then LineTo(end) once more: receivers see the end point twice.
    virtual bool QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix);
    virtual bool CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end,
                              const double* matrix);
    // SVG-style elliptical arc from the current point, sent as cubics in device
    // space; false for radii whose product is below 1e-6.
    virtual bool ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
                       const double* matrix);

    const SQPOINT& GetCurrentPoint() const noexcept { return m_current; }
    const SQPOINT& GetStartPoint() const noexcept { return m_start; }

protected:
    SQPOINT m_start{0.0, 0.0};
    SQPOINT m_current{0.0, 0.0};
};

// The global flatness factor (0.05 at start), read and written without a lock.
QGDI_API double QGDI_GetFlatnessFactor() noexcept;
// Returns the previous value.
QGDI_API double QGDI_SetFlatnessFactor(double value) noexcept;
