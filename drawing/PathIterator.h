#pragma once
// Reference-counted command streams made from a path: as stored, flattened
// (lines only, in device space), dashed, or all cubics.
#include "drawing/PathBuffer.h"
#include "drawing/Refed.h"

class CQCurve;
class CQPath;

class QGDI_API VPathIteratorRefed : public VPathIterator, public VPathInfo, public VQGDIRefed {
protected:
    ~VPathIteratorRefed() override;
};

// A dash pattern: lengths alternate on and off (an odd count is repeated once
// to make it even, as SVG does) and offset is the distance into the pattern
// at which every contour starts. Lengths are in the flattened output's units.
struct SQDASH {
    const double* lengths;
    int32_t count;
    double offset;
};

// Each returns a new iterator with one reference, or null for a null path,
// bad arguments or lack of memory.
QGDI_API VPathIteratorRefed* QGDI_PathIteratorCreate(const SQPATH* path);
// Lines only, mapped through matrix, curves flattened to flatness (a squared
// device distance; 0 or less takes the global factor).
QGDI_API VPathIteratorRefed* QGDI_PathIteratorCreateFlat(const SQPATH* path, double flatness, const double* matrix);
// The flattened path cut into dashes; closed contours carry the pattern across
// their start point. Null for negative or non-finite lengths; an all-zero
// pattern gives the undashed outline.
QGDI_API VPathIteratorRefed* QGDI_PathIteratorCreateDash(const SQPATH* path, const SQDASH* dash, double flatness = 0.0,
                                                         const double* matrix = nullptr);
QGDI_API VPathIteratorRefed* QGDI_PathIteratorCreateCubics(const SQPATH* path);
QGDI_API void QGDI_PathIteratorUnreference(VPathIteratorRefed* iterator);
// Box of the stream: tight (curve extrema) or loose (every point, controls included).
QGDI_API bool QGDI_PathIteratorGetBBox(VPathIterator* iterator, SQRECT& box, bool loose);

// The public handle on an iterator. Without one attached, Send calls the
// receiver's two hooks (unless noHooks) and succeeds.
class QGDI_API CQPathIterator {
public:
    CQPathIterator() noexcept = default;
    ~CQPathIterator();
    CQPathIterator(const CQPathIterator& other) noexcept;
    CQPathIterator& operator=(const CQPathIterator& other) noexcept;

    bool Create(const CQPath& path);
    bool CreateFlat(const CQPath& path, double flatness = 0.0, const double* matrix = nullptr);
    bool CreateDashed(const CQPath& path, const SQDASH& dash, double flatness = 0.0, const double* matrix = nullptr);
    bool CreateCubics(const CQPath& path);
    void Release() noexcept;

    bool Next(SQPATHCMD& cmd);
    void Reset();
    bool Send(VPathReceiver* receiver, bool noHooks = false, const double* matrix = nullptr);
    bool GetBBox(SQRECT& box);
    bool GetLooseBBox(SQRECT& box);
    VPathInfo* GetPathInfo() const noexcept { return m_it; }
    VPathIteratorRefed* GetIterator() const noexcept { return m_it; }
    bool AsCurve(CQCurve& curve);
    bool IsEmpty() const noexcept { return m_it == nullptr; }

private:
    bool Attach(VPathIteratorRefed* it) noexcept;
    VPathIteratorRefed* m_it = nullptr;
};
