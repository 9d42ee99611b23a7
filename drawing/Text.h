#pragma once
// Text as outlines: fonts are read for their glyph outlines only, text is
// shaped into positioned glyphs, and each glyph becomes a path that goes
// through the same scan converter and fills as any other shape.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "drawing/QPath.h"

class CQCurve;

// Receives glyph outlines one at a time.
class QGDI_API VGlyphPathReceiver {
public:
    virtual ~VGlyphPathReceiver();
    // One glyph's outline in world coordinates; `cluster` is the byte offset
    // in the text of the first character it shows. False stops the text.
    virtual bool ReceiveGlyph(const CQPath& glyph, int cluster) = 0;
};

enum ETextStyle : int32_t {
    keTextStyleRegular = 0,
    keTextStyleBold = 1,
    keTextStyleItalic = 2,
    keTextStyleBoldItalic = 3,
};

enum ETextAlign : int32_t {
    keTextAlignStart = 0,   // the origin is where the text starts
    keTextAlignMiddle = 1,  // ... its middle
    keTextAlignEnd = 2,     // ... where it ends
};

struct STextProps {
    double size = 12.0;  // em size in world units
    int32_t style = keTextStyleRegular;
    bool kerning = true;
    ETextAlign align = keTextAlignStart;
    double letterSpacing = 0.0;  // added after every character, world units
    double pathOffset = 0.0;     // distance along a text path where the text starts
};

struct STextMetrics {
    double advance = 0.0;         // pen movement, world units
    SQRECT ink{0, 0, 0, 0};       // box of the glyph outlines relative to the origin (y down)
    double ascent = 0.0;          // above the baseline (positive)
    double descent = 0.0;         // below it (positive)
    int glyphs = 0;
};

// One face of a font file, shared through the font cache.
class QGDI_API CQFont {
public:
    ~CQFont();
    CQFont(const CQFont&) = delete;
    CQFont& operator=(const CQFont&) = delete;

    // A face by family name (through the system's font configuration), or a
    // font file's path. Falls back to the default family, then to any font,
    // with a message in the log (and `fallback` set); null when there is no font at all.
    static std::shared_ptr<CQFont> Find(const char* family, int style, bool* fallback = nullptr);
    static std::shared_ptr<CQFont> FromFile(const char* path, int faceIndex = 0);

    const std::string& GetFamily() const noexcept { return m_family; }
    const std::string& GetFile() const noexcept { return m_file; }
    int GetStyle() const noexcept { return m_style; }
    int GetUnitsPerEm() const noexcept;

    struct SGlyph {
        uint32_t index;
        int32_t cluster;   // byte offset of the first character
        double x, y;       // pen position, font units, y down
        double advance;    // font units
    };
    // Shaped glyphs of UTF-8 text (left to right), with or without kerning.
    bool Shape(const char* utf8, int length, bool kerning, std::vector<SGlyph>& out) const;
    // A glyph's outline in font units (y down), appended to `path`, moved by (dx, dy).
    bool GlyphOutline(uint32_t index, double dx, double dy, double scale, VPathReceiver* path) const;
    void GetVerticalMetrics(double& ascent, double& descent) const noexcept;

    // The face behind the font (opaque outside the font cache).
    struct SImpl;

private:
    CQFont() noexcept;
    std::unique_ptr<SImpl> m_impl;
    std::string m_family, m_file;
    int m_style = 0;
};

// Lays out UTF-8 text with a font and properties: glyph outlines in world
// coordinates (before the context's matrix) at `origin` on the baseline, or
// along `path` when given (each glyph placed at the point and turned to the
// direction of the path at its middle). Returns the metrics.
QGDI_API bool QGDI_TextLayout(const CQFont& font, const STextProps& props, const char* utf8, int length,
                              const SQPOINT& origin, const CQCurve* path, VGlyphPathReceiver* receiver,
                              STextMetrics* metrics);

// Starts and stops the font cache (the start-up hooks call them); stopping
// releases every cached face and the font library.
QGDI_API bool QGDI_FontCacheStartup();
QGDI_API void QGDI_FontCacheShutdown();
// Faces held by the cache now.
QGDI_API int QGDI_FontCacheSize();
