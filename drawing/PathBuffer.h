#pragma once
// The flat form of a path: records of one command each, a fixed-capacity
// buffer of them, and the iterator and path-information interfaces that
// command streams offer.
#include <cstdint>

#include "drawing/PathLinked.h"
#include "drawing/PathReceiver.h"

enum EQPathCmd : int32_t {
    keCmdMoveTo = 0,
    keCmdLineTo = 1,
    keCmdQuadraticCurveTo = 2,
    keCmdCubicCurveTo = 3,
    keCmdArcTo = 4,
    keCmdClosePath = 5,
};

struct SQPATHCMD {
    SQPOINT a;  // control point (quadratic, first of cubic) or the arc's radii
    union {
        SQPOINT b;  // second control point of a cubic
        SQARCPARAMS arc;
    };
    SQPOINT end;
    int32_t command;
    int32_t contour;
};

// Replays one command on a receiver.
QGDI_API bool QGDI_PathCmdSend(VPathReceiver* receiver, const SQPATHCMD& cmd, const double* matrix);

class QGDI_API VPathIterator {
public:
    virtual ~VPathIterator();
    // The next command; false at the end.
    virtual bool Next(SQPATHCMD& cmd) = 0;
    virtual void Reset() = 0;
};

class QGDI_API VPathInfo {
public:
    virtual ~VPathInfo();
    virtual int GetContourCount() const = 0;
    virtual bool IsContourClosed(int contour) const = 0;
};

// Rewinds the iterator and replays every command; the receiver's BeginPath and
// EndPath hooks frame them unless noHooks. False when the receiver refuses.
QGDI_API bool QGDI_PathIteratorSend(VPathIterator* iterator, VPathReceiver* receiver, bool noHooks,
                                    const double* matrix = nullptr);

class QGDI_API CQPathBuffer : public VPathReceiver, public VPathIterator, public VPathInfo {
public:
    CQPathBuffer() noexcept = default;
    ~CQPathBuffer() override;
    CQPathBuffer(const CQPathBuffer&) = delete;
    CQPathBuffer& operator=(const CQPathBuffer&) = delete;

    // Replaces the array; a capacity below 1 leaves none (every add then fails).
    bool Create(int capacity);

    bool LineTo(const SQPOINT& point, const double* matrix) override;
    bool MoveTo(const SQPOINT& point, const double* matrix) override;
    bool ClosePath(const double* matrix) override;
    bool QuadraticCurveTo(const SQPOINT& control, const SQPOINT& end, const double* matrix) override;
    bool CubicCurveTo(const SQPOINT& control1, const SQPOINT& control2, const SQPOINT& end,
                      const double* matrix) override;
    bool ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end,
               const double* matrix) override;

    bool Next(SQPATHCMD& cmd) override;
    void Reset() override;

    int GetContourCount() const override { return m_used ? m_maxContour + 1 : 0; }
    bool IsContourClosed(int contour) const override;

    void SetContour(int n) noexcept;
    int GetContour() const noexcept { return m_contour; }
    void SetClosed(bool closed) noexcept { m_closed = closed; }
    bool IsContourClosed() const noexcept { return m_closed; }
    // Appends a prepared record as it is; false when full.
    bool Add(const SQPATHCMD& cmd) noexcept;

    int GetCapacity() const noexcept { return m_capacity; }
    int GetCount() const noexcept { return m_used; }
    const SQPATHCMD* GetCommands() const noexcept { return m_cmds; }

private:
    SQPATHCMD* Slot() noexcept;

    SQPATHCMD* m_cmds = nullptr;
    int m_capacity = 0;
    int m_used = 0;
    int m_contour = 0;
    int m_maxContour = 0;
    bool m_closed = false;
    int m_read = 0;
};

// A receiver that only measures the box of the points it is given.
class QGDI_API CMeasurePathReceiver : public VPathReceiver {
public:
    bool LineTo(const SQPOINT& point, const double* matrix) override;
    // Grows the box by a point taken as it is (no matrix).
    void AddPoint(const SQPOINT& point) noexcept;
    void Reset() noexcept;
    bool HasPoints() const noexcept { return m_has; }
    const SQRECT& GetRect() const noexcept { return m_rect; }

private:
    SQRECT m_rect{0.0, 0.0, 0.0, 0.0};
    bool m_has = false;
};
