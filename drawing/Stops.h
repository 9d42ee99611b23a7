#pragma once
// Gradient stops in two forms. CQStopsSVG is what the gradient sources read:
// offsets with RGBA colours (red in the low byte). CQStopsMOX is the editor's
// own form: colour stops and opacity stops kept apart, each with a midpoint
// that moves the halfway blend between it and the next stop.
#include <cstdint>

#include "qgdi_export.h"

struct SMoxColourStop {
    double location;  // 0..1
    uint32_t rgb;     // red in the low byte; the alpha byte is ignored
    double midpoint;  // where between this stop and the next the blend is half done (0..1, 0.5 linear)
};

struct SMoxOpacityStop {
    double location;  // 0..1
    double opacity;   // 0..1
    double midpoint;
};

class QGDI_API CQStopsMOX {
public:
    CQStopsMOX() noexcept = default;
    ~CQStopsMOX();
    CQStopsMOX(const CQStopsMOX&) = delete;
    CQStopsMOX& operator=(const CQStopsMOX&) = delete;

    // Room for the stops, each at location 0, black or opaque, midpoint 0.5;
    // false for a negative count or when memory runs out (nothing is then held).
    bool Create(int colourCount, int opacityCount);
    void Destroy() noexcept;

    SMoxColourStop* m_pColours = nullptr;
    int m_nColours = 0;
    SMoxOpacityStop* m_pOpacities = nullptr;
    int m_nOpacities = 0;
};

class QGDI_API CQStopsSVG {
public:
    CQStopsSVG() noexcept = default;
    ~CQStopsSVG();
    CQStopsSVG(const CQStopsSVG&) = delete;
    CQStopsSVG& operator=(const CQStopsSVG&) = delete;

    // Frees the previous arrays and allocates both for `count` stops; false
    // for a negative count or when either allocation fails (both then null).
    bool Create(int count);
    // One stop wherever either list of `mox` has a stop or a midpoint off
    // 0.5, each with the colour and the opacity both lists give there; the
    // curve a midpoint bends is followed by straight pieces through its half
    // point. False with no colour stop or when memory runs out.
    bool Create(const CQStopsMOX& mox);
    void Free() noexcept;

    double* m_pOffsets = nullptr;
    uint32_t* m_pColours = nullptr;
    int m_nCount = 0;
    bool m_bAllocated = false;
};
