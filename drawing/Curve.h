#pragma once
// A path measured along its length: a chain of cubic segments with their
// cumulative lengths, for placing things at distances along an outline.
#include <vector>

#include "drawing/Bezier.h"
#include "drawing/PathLinked.h"

class CQPath;

struct SQCURVESEGMENT {
    QCubicCurve cubic;
    double start;  // distance of the segment's start along the curve
    double length;
};

class QGDI_API CQCurve {
public:
    CQCurve() = default;

    // Replaces the segments with the path's edges (every contour, in order).
    bool Create(const SQPATH* path);
    bool Create(const CQPath& path);
    // Adds one segment at the end.
    bool Add(const QCubicCurve& cubic);
    void Clear() noexcept;
    // Archimedean or logarithmic spiral as cubic pieces.
    bool CreateSpiralCurve(const SQPOINT& centre, double r0, double r1, double turns, double startAngle = 0.0,
                           EQSpiralType type = keSpiralArchimedean);

    double GetLength() const noexcept { return m_length; }
    // The point and unit normal at a distance; closed curves wrap the distance,
    // open ones clamp it. False for an empty curve or a non-finite distance.
    bool GetPoint(double distance, SQPOINT& point) const;
    bool GetNormal(double distance, SQPOINT& normal) const;
    // Segment index and parameter at a distance.
    bool Seek(double distance, int& segment, double& t) const;
    // Distance along the curve of the point nearest to p (-1 when empty).
    double GetDistance(const SQPOINT& p) const;
    // Euclidean distance from p to the curve, and the nearest point.
    double GetDistanceNearestPoint(const SQPOINT& p, SQPOINT& nearest) const;
    int GetSegmentCount() const noexcept { return int(m_segments.size()); }
    bool GetSegmentInfo(int index, SQCURVESEGMENT& info) const;
    bool GetClosed() const noexcept { return m_closed; }
    void SetClosed(bool closed) noexcept { m_closed = closed; }
    // Replaces the segments with the baselines of text set inside a filled
    // shape: one horizontal chord per line, `lineHeight` apart, the first at
    // `firstBaseline` below the shape's top, each the part of the line inside
    // the shape (non-zero rule), left to right, top to bottom.
    bool MakeTextInShapeCurve(const CQPath& shape, double lineHeight, double firstBaseline, double flatness = 0.0);

private:
    double Wrap(double distance) const noexcept;
    // Index of the nearest segment and its parameter; the Euclidean distance.
    double Nearest(const SQPOINT& p, int& segment, double& t) const;

    std::vector<SQCURVESEGMENT> m_segments;
    double m_length = 0.0;
    bool m_closed = false;
};
