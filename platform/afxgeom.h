#pragma once
// The small MFC geometry classes: thin value types over POINT, SIZE and RECT.
#include "platform/windef.h"

class CSize : public SIZE {
public:
    constexpr CSize() noexcept : SIZE{0, 0} {}
    constexpr CSize(int x, int y) noexcept : SIZE{x, y} {}
    constexpr CSize(SIZE s) noexcept : SIZE(s) {}
    bool operator==(const SIZE& o) const noexcept { return cx == o.cx && cy == o.cy; }
    bool operator!=(const SIZE& o) const noexcept { return !(*this == o); }
    CSize operator+(SIZE o) const noexcept { return CSize(cx + o.cx, cy + o.cy); }
    CSize operator-(SIZE o) const noexcept { return CSize(cx - o.cx, cy - o.cy); }
    CSize operator-() const noexcept { return CSize(-cx, -cy); }
    void operator+=(SIZE o) noexcept {
        cx += o.cx;
        cy += o.cy;
    }
    void operator-=(SIZE o) noexcept {
        cx -= o.cx;
        cy -= o.cy;
    }
};

class CPoint : public POINT {
public:
    constexpr CPoint() noexcept : POINT{0, 0} {}
    constexpr CPoint(int x0, int y0) noexcept : POINT{x0, y0} {}
    constexpr CPoint(POINT p) noexcept : POINT(p) {}
    constexpr CPoint(SIZE s) noexcept : POINT{s.cx, s.cy} {}
    void Offset(int dx, int dy) noexcept {
        x += dx;
        y += dy;
    }
    void Offset(POINT p) noexcept { Offset(p.x, p.y); }
    void SetPoint(int x0, int y0) noexcept {
        x = x0;
        y = y0;
    }
    bool operator==(const POINT& o) const noexcept { return x == o.x && y == o.y; }
    bool operator!=(const POINT& o) const noexcept { return !(*this == o); }
    CPoint operator+(SIZE s) const noexcept { return CPoint(x + s.cx, y + s.cy); }
    CPoint operator-(SIZE s) const noexcept { return CPoint(x - s.cx, y - s.cy); }
    CPoint operator+(POINT p) const noexcept { return CPoint(x + p.x, y + p.y); }
    CSize operator-(POINT p) const noexcept { return CSize(x - p.x, y - p.y); }
    CPoint operator-() const noexcept { return CPoint(-x, -y); }
    void operator+=(SIZE s) noexcept {
        x += s.cx;
        y += s.cy;
    }
    void operator-=(SIZE s) noexcept {
        x -= s.cx;
        y -= s.cy;
    }
    void operator+=(POINT p) noexcept {
        x += p.x;
        y += p.y;
    }
    void operator-=(POINT p) noexcept {
        x -= p.x;
        y -= p.y;
    }
};

class CRect : public RECT {
public:
    constexpr CRect() noexcept : RECT{0, 0, 0, 0} {}
    constexpr CRect(int l, int t, int r, int b) noexcept : RECT{l, t, r, b} {}
    constexpr CRect(const RECT& rc) noexcept : RECT(rc) {}
    CRect(const RECT* rc) noexcept : RECT(rc ? *rc : RECT{0, 0, 0, 0}) {}
    constexpr CRect(POINT p, SIZE s) noexcept : RECT{p.x, p.y, p.x + s.cx, p.y + s.cy} {}
    constexpr CRect(POINT tl, POINT br) noexcept : RECT{tl.x, tl.y, br.x, br.y} {}

    int Width() const noexcept { return right - left; }
    int Height() const noexcept { return bottom - top; }
    CSize Size() const noexcept { return CSize(Width(), Height()); }
    CPoint TopLeft() const noexcept { return CPoint(left, top); }
    CPoint BottomRight() const noexcept { return CPoint(right, bottom); }
    CPoint CenterPoint() const noexcept { return CPoint((left + right) / 2, (top + bottom) / 2); }
    bool IsRectEmpty() const noexcept { return ::IsRectEmpty(this); }
    bool IsRectNull() const noexcept { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    bool PtInRect(POINT p) const noexcept { return ::PtInRect(this, p); }
    void SetRect(int l, int t, int r, int b) noexcept { ::SetRect(this, l, t, r, b); }
    void SetRectEmpty() noexcept { ::SetRectEmpty(this); }
    void OffsetRect(int dx, int dy) noexcept { ::OffsetRect(this, dx, dy); }
    void OffsetRect(POINT p) noexcept { ::OffsetRect(this, p.x, p.y); }
    void OffsetRect(SIZE s) noexcept { ::OffsetRect(this, s.cx, s.cy); }
    void InflateRect(int dx, int dy) noexcept { ::InflateRect(this, dx, dy); }
    void DeflateRect(int dx, int dy) noexcept { ::InflateRect(this, -dx, -dy); }
    BOOL IntersectRect(const RECT* a, const RECT* b) noexcept { return ::IntersectRect(this, a, b); }
    BOOL UnionRect(const RECT* a, const RECT* b) noexcept { return ::UnionRect(this, a, b); }
    void NormalizeRect() noexcept {
        if (left > right) std::swap(left, right);
        if (top > bottom) std::swap(top, bottom);
    }
    bool EqualRect(const RECT* o) const noexcept { return ::EqualRect(this, o); }
    bool operator==(const RECT& o) const noexcept { return ::EqualRect(this, &o); }
    bool operator!=(const RECT& o) const noexcept { return !::EqualRect(this, &o); }
    CRect operator&(const RECT& o) const noexcept {
        CRect r;
        r.IntersectRect(this, &o);
        return r;
    }
    CRect operator|(const RECT& o) const noexcept {
        CRect r;
        r.UnionRect(this, &o);
        return r;
    }
    operator RECT*() noexcept { return this; }
    operator const RECT*() const noexcept { return this; }
};
