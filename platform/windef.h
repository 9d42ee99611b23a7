#pragma once
// The Windows data types and rectangle helpers the library's interfaces use,
// with the same names and memory layout, so that bitmaps and structures pass
// between the editor's modules unchanged.
#include <algorithm>
#include <cstddef>
#include <cstdint>

using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using LONG = int32_t;
using UINT = uint32_t;
using BOOL = int32_t;
using HRESULT = int32_t;
using SIZE_T = size_t;
using LPVOID = void*;
using LPCVOID = const void*;
using COLORREF = DWORD;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

#define RGB(r, g, b)                                                                               \
    (static_cast<COLORREF>(static_cast<BYTE>(r) | (static_cast<WORD>(static_cast<BYTE>(g)) << 8) | \
                           (static_cast<DWORD>(static_cast<BYTE>(b)) << 16)))
#define GetRValue(c) static_cast<BYTE>((c)&0xFF)
#define GetGValue(c) static_cast<BYTE>(((c) >> 8) & 0xFF)
#define GetBValue(c) static_cast<BYTE>(((c) >> 16) & 0xFF)

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

using LPRECT = RECT*;
using LPCRECT = const RECT*;
using LPPOINT = POINT*;

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};

struct PALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
};

struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};

struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};

#pragma pack(push, 2)
struct BITMAPFILEHEADER {
    WORD bfType;
    DWORD bfSize;
    WORD bfReserved1;
    WORD bfReserved2;
    DWORD bfOffBits;
};
#pragma pack(pop)

constexpr DWORD BI_RGB = 0;
constexpr DWORD BI_RLE8 = 1;
constexpr DWORD BI_RLE4 = 2;
constexpr DWORD BI_BITFIELDS = 3;

static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(sizeof(BITMAPFILEHEADER) == 14);
static_assert(sizeof(RGBQUAD) == 4 && sizeof(PALETTEENTRY) == 4);
static_assert(sizeof(RECT) == 16 && sizeof(POINT) == 8 && sizeof(SIZE) == 8);

inline bool IsRectEmpty(const RECT* rc) { return !rc || rc->left >= rc->right || rc->top >= rc->bottom; }

inline BOOL SetRect(RECT* rc, int left, int top, int right, int bottom) {
    if (!rc) return FALSE;
    *rc = RECT{left, top, right, bottom};
    return TRUE;
}

inline BOOL SetRectEmpty(RECT* rc) { return SetRect(rc, 0, 0, 0, 0); }

inline BOOL OffsetRect(RECT* rc, int dx, int dy) {
    if (!rc) return FALSE;
    rc->left += dx;
    rc->right += dx;
    rc->top += dy;
    rc->bottom += dy;
    return TRUE;
}

inline BOOL EqualRect(const RECT* a, const RECT* b) {
    if (!a || !b) return FALSE;
    return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

// As on Windows: an empty intersection yields the empty rectangle and FALSE.
inline BOOL IntersectRect(RECT* dst, const RECT* a, const RECT* b) {
    if (!dst || !a || !b) return FALSE;
    RECT r{std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
           std::min(a->bottom, b->bottom)};
    if (IsRectEmpty(&r)) {
        SetRectEmpty(dst);
        return FALSE;
    }
    *dst = r;
    return TRUE;
}

inline BOOL UnionRect(RECT* dst, const RECT* a, const RECT* b) {
    if (!dst || !a || !b) return FALSE;
    if (IsRectEmpty(a)) {
        *dst = *b;
        return !IsRectEmpty(b);
    }
    if (IsRectEmpty(b)) {
        *dst = *a;
        return TRUE;
    }
    *dst = RECT{std::min(a->left, b->left), std::min(a->top, b->top), std::max(a->right, b->right),
                std::max(a->bottom, b->bottom)};
    return TRUE;
}

inline BOOL InflateRect(RECT* rc, int dx, int dy) {
    if (!rc) return FALSE;
    rc->left -= dx;
    rc->right += dx;
    rc->top -= dy;
    rc->bottom += dy;
    return TRUE;
}

inline BOOL PtInRect(const RECT* rc, POINT pt) {
    return rc && pt.x >= rc->left && pt.x < rc->right && pt.y >= rc->top && pt.y < rc->bottom;
}
