// Fonts: faces opened once and shared through a cache, outlines read in font
// units (never rasterised here), text shaped into positioned glyphs.
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H
#include <hb-ft.h>
#include <hb.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "QuorRender/SystemStartup.h"
#include "diagnostics/QgdiLog.h"
#include "drawing/Text.h"

struct CQFont::SImpl {
    std::mutex lock;  // a face serves one thread at a time
    FT_Face face = nullptr;
    hb_font_t* hb = nullptr;
    int upem = 1000;
};

namespace {

// The library, the open faces by (file, index), and every font alive (so
// that shutting the cache down can close faces still held by contexts).
struct SCache {
    std::mutex lock;
    FT_Library library = nullptr;
    std::map<std::pair<std::string, int>, std::weak_ptr<CQFont>> faces;
    std::set<CQFont::SImpl*> alive;
};

// Never destroyed, so that the exit guard below may still close it.
SCache& Cache() {
    static SCache* cache = new SCache;
    return *cache;
}

bool StartLocked(SCache& c) {
    if (c.library) return true;
    return FT_Init_FreeType(&c.library) == 0;
}

void CloseFace(CQFont::SImpl& f) {
    if (f.hb) hb_font_destroy(f.hb);
    if (f.face) FT_Done_Face(f.face);
    f.hb = nullptr;
    f.face = nullptr;
}

const char* const kDefaultFamily = "DejaVu Sans";

bool LooksLikeFile(const char* s) {
    const size_t n = std::strlen(s);
    auto ends = [&](const char* e) {
        const size_t k = std::strlen(e);
        return n >= k && strcasecmp(s + n - k, e) == 0;
    };
    return std::strchr(s, '/') || ends(".ttf") || ends(".otf") || ends(".ttc");
}

// Asks the font configuration for the face nearest to family and style.
bool Match(const char* family, int style, std::string& file, int& index, std::string& found) {
    if (!FcInit()) return false;
    FcPattern* pat = FcPatternCreate();
    if (!pat) return false;
    FcPatternAddString(pat, FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
    FcPatternAddInteger(pat, FC_WEIGHT, (style & keTextStyleBold) ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pat, FC_SLANT, (style & keTextStyleItalic) ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pat, FC_OUTLINE, FcTrue);
    FcConfigSubstitute(nullptr, pat, FcMatchPattern);
    FcDefaultSubstitute(pat);
    FcResult result = FcResultNoMatch;
    FcPattern* m = FcFontMatch(nullptr, pat, &result);
    FcPatternDestroy(pat);
    if (!m) return false;
    FcChar8* f = nullptr;
    FcChar8* fam = nullptr;
    int idx = 0;
    const bool ok = FcPatternGetString(m, FC_FILE, 0, &f) == FcResultMatch;
    if (ok) {
        file = reinterpret_cast<const char*>(f);
        if (FcPatternGetInteger(m, FC_INDEX, 0, &idx) != FcResultMatch) idx = 0;
        index = idx;
        found = FcPatternGetString(m, FC_FAMILY, 0, &fam) == FcResultMatch ? reinterpret_cast<const char*>(fam) : "";
    }
    FcPatternDestroy(m);
    return ok;
}

bool StartHook() { return QGDI_FontCacheStartup(); }
void StopHook() { QGDI_FontCacheShutdown(); }

// The start-up sequence opens and closes the cache with the library.
const bool g_hooked = [] {
    QGDI_SetFontCacheHooks(&StartHook, &StopHook);
    return true;
}();

// A process that never shuts the library down still closes its faces and
// the font configuration on the way out.
struct SExitGuard {
    ~SExitGuard() { QGDI_FontCacheShutdown(); }
} g_exitGuard;

}  // namespace

CQFont::CQFont() noexcept = default;

CQFont::~CQFont() {
    if (!m_impl) return;
    SCache& c = Cache();
    std::lock_guard<std::mutex> g(c.lock);
    c.alive.erase(m_impl.get());
    CloseFace(*m_impl);
}

std::shared_ptr<CQFont> CQFont::FromFile(const char* path, int faceIndex) {
    if (!path || !*path) return nullptr;
    SCache& c = Cache();
    std::lock_guard<std::mutex> g(c.lock);
    if (!StartLocked(c)) return nullptr;
    const auto key = std::make_pair(std::string(path), faceIndex);
    if (auto it = c.faces.find(key); it != c.faces.end())
        if (auto held = it->second.lock()) return held;
    std::shared_ptr<CQFont> font(new (std::nothrow) CQFont());
    if (!font) return nullptr;
    font->m_impl = std::make_unique<SImpl>();
    SImpl& f = *font->m_impl;
    if (FT_New_Face(c.library, path, faceIndex, &f.face) != 0 || !FT_IS_SCALABLE(f.face)) {
        if (f.face) FT_Done_Face(f.face);
        // Emptied, so that its destructor does not take the cache's lock we hold.
        font->m_impl.reset();
        return nullptr;
    }
    f.upem = f.face->units_per_EM > 0 ? f.face->units_per_EM : 1000;
    hb_face_t* hface = hb_ft_face_create_referenced(f.face);
    f.hb = hb_font_create(hface);
    hb_face_destroy(hface);
    hb_font_set_scale(f.hb, f.upem, f.upem);
    font->m_file = path;
    font->m_family = f.face->family_name ? f.face->family_name : "";
    font->m_style = ((f.face->style_flags & FT_STYLE_FLAG_BOLD) ? keTextStyleBold : 0) |
                    ((f.face->style_flags & FT_STYLE_FLAG_ITALIC) ? keTextStyleItalic : 0);
    c.faces[key] = font;
    c.alive.insert(&f);
    return font;
}

std::shared_ptr<CQFont> CQFont::Find(const char* family, int style, bool* fallback) {
    if (fallback) *fallback = false;
    if (family && *family && LooksLikeFile(family)) {
        if (auto f = FromFile(family)) return f;
        QGDI_Log(keLogWarning, "font file \"%s\" could not be opened; using %s", family, kDefaultFamily);
        if (fallback) *fallback = true;
        family = kDefaultFamily;
    }
    const char* want = family && *family ? family : kDefaultFamily;
    std::string file, found;
    int index = 0;
    std::shared_ptr<CQFont> font;
    if (Match(want, style, file, index, found)) font = FromFile(file.c_str(), index);
    if (!font && Match(kDefaultFamily, style, file, index, found)) font = FromFile(file.c_str(), index);
    if (!font) font = FromFile("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    if (!font) {
        QGDI_Log(keLogError, "no font could be opened for \"%s\"", want);
        return nullptr;
    }
    if (strcasecmp(font->m_family.c_str(), want) != 0) {
        QGDI_Log(keLogWarning, "font family \"%s\" not found; using \"%s\"", want, font->m_family.c_str());
        if (fallback) *fallback = true;
    }
    return font;
}

int CQFont::GetUnitsPerEm() const noexcept { return m_impl ? m_impl->upem : 1000; }

void CQFont::GetVerticalMetrics(double& ascent, double& descent) const noexcept {
    ascent = descent = 0.0;
    if (!m_impl) return;
    std::lock_guard<std::mutex> g(m_impl->lock);
    if (!m_impl->face) return;
    ascent = m_impl->face->ascender;
    descent = -double(m_impl->face->descender);
}

bool CQFont::Shape(const char* utf8, int length, bool kerning, std::vector<SGlyph>& out) const {
    out.clear();
    if (!m_impl || !utf8) return false;
    if (length < 0) length = int(std::strlen(utf8));
    std::lock_guard<std::mutex> g(m_impl->lock);
    if (!m_impl->hb) return false;
    hb_buffer_t* buf = hb_buffer_create();
    if (!hb_buffer_allocation_successful(buf)) {
        hb_buffer_destroy(buf);
        return false;
    }
    hb_buffer_add_utf8(buf, utf8, length, 0, length);
    hb_buffer_guess_segment_properties(buf);
    hb_feature_t features[1];
    unsigned nFeatures = 0;
    if (!kerning) {
        features[0] = hb_feature_t{HB_TAG('k', 'e', 'r', 'n'), 0, HB_FEATURE_GLOBAL_START, HB_FEATURE_GLOBAL_END};
        nFeatures = 1;
    }
    hb_shape(m_impl->hb, buf, features, nFeatures);
    unsigned n = 0;
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buf, &n);
    const hb_glyph_position_t* pos = hb_buffer_get_glyph_positions(buf, &n);
    bool ok = true;
    try {
        out.reserve(n);
        double x = 0.0, y = 0.0;
        for (unsigned i = 0; i < n; ++i) {
            out.push_back(SGlyph{info[i].codepoint, int32_t(info[i].cluster), x + pos[i].x_offset,
                                 y - pos[i].y_offset, double(pos[i].x_advance)});
            x += pos[i].x_advance;
            y -= pos[i].y_advance;
        }
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    hb_buffer_destroy(buf);
    return ok;
}

namespace {

struct SDecompose {
    VPathReceiver* rx;
    double dx, dy, scale;
    bool open = false;
    bool ok = true;
    SQPOINT Map(const FT_Vector* v) const { return SQPOINT{dx + v->x * scale, dy - v->y * scale}; }
};

int MoveTo(const FT_Vector* to, void* user) {
    auto* d = static_cast<SDecompose*>(user);
    if (d->open) d->ok = d->ok && d->rx->ClosePath(nullptr);
    d->ok = d->ok && d->rx->MoveTo(d->Map(to), nullptr);
    d->open = true;
    return d->ok ? 0 : 1;
}
int LineTo(const FT_Vector* to, void* user) {
    auto* d = static_cast<SDecompose*>(user);
    d->ok = d->ok && d->rx->LineTo(d->Map(to), nullptr);
    return d->ok ? 0 : 1;
}
int ConicTo(const FT_Vector* c, const FT_Vector* to, void* user) {
    auto* d = static_cast<SDecompose*>(user);
    d->ok = d->ok && d->rx->QuadraticCurveTo(d->Map(c), d->Map(to), nullptr);
    return d->ok ? 0 : 1;
}
int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
    auto* d = static_cast<SDecompose*>(user);
    d->ok = d->ok && d->rx->CubicCurveTo(d->Map(c1), d->Map(c2), d->Map(to), nullptr);
    return d->ok ? 0 : 1;
}

}  // namespace

bool CQFont::GlyphOutline(uint32_t index, double dx, double dy, double scale, VPathReceiver* path) const {
    if (!m_impl || !path) return false;
    std::lock_guard<std::mutex> g(m_impl->lock);
    if (!m_impl->face) return false;
    // Unscaled and unhinted: the outline exactly as designed, in font units.
    if (FT_Load_Glyph(m_impl->face, index, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP | FT_LOAD_NO_HINTING) != 0)
        return false;
    FT_GlyphSlot slot = m_impl->face->glyph;
    if (slot->format != FT_GLYPH_FORMAT_OUTLINE) return true;  // nothing to draw (a space)
    static const FT_Outline_Funcs funcs = {&MoveTo, &LineTo, &ConicTo, &CubicTo, 0, 0};
    SDecompose d{path, dx, dy, scale};
    if (FT_Outline_Decompose(&slot->outline, &funcs, &d) != 0 && d.ok) return false;
    if (d.open && d.ok) d.ok = path->ClosePath(nullptr);
    return d.ok;
}

bool QGDI_FontCacheStartup() {
    (void)g_hooked;
    SCache& c = Cache();
    std::lock_guard<std::mutex> g(c.lock);
    return StartLocked(c);
}

void QGDI_FontCacheShutdown() {
    SCache& c = Cache();
    std::lock_guard<std::mutex> g(c.lock);
    // Faces still held (by contexts) are closed now and draw nothing after.
    for (CQFont::SImpl* f : c.alive) {
        std::lock_guard<std::mutex> fg(f->lock);
        CloseFace(*f);
    }
    c.alive.clear();
    c.faces.clear();
    if (c.library) FT_Done_FreeType(c.library);
    c.library = nullptr;
    FcFini();
}

int QGDI_FontCacheSize() {
    SCache& c = Cache();
    std::lock_guard<std::mutex> g(c.lock);
    return int(c.alive.size());
}
