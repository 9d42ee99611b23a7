// PNG through libpng. libpng reports errors by longjmp, so every call that
// may fail runs inside a function whose frame holds nothing to destroy.
#include <png.h>

#include <csetjmp>
#include <cstring>

#include "tools/qgdi/image_io.h"

namespace {

struct SPngContext {
    const uint8_t* data = nullptr;
    size_t bytes = 0;
    size_t pos = 0;
    std::vector<uint8_t>* out = nullptr;
    char message[200] = "";
};

void OnError(png_structp png, png_const_charp message) {
    auto* c = static_cast<SPngContext*>(png_get_error_ptr(png));
    std::snprintf(c->message, sizeof c->message, "%s", message);
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

void OnRead(png_structp png, png_bytep out, png_size_t n) {
    auto* c = static_cast<SPngContext*>(png_get_io_ptr(png));
    if (n > c->bytes - c->pos) png_error(png, "truncated file");
    std::memcpy(out, c->data + c->pos, n);
    c->pos += n;
}

void OnWrite(png_structp png, png_bytep in, png_size_t n) {
    auto* c = static_cast<SPngContext*>(png_get_io_ptr(png));
    c->out->insert(c->out->end(), in, in + n);
}

void OnFlush(png_structp) {}

struct SPngHeader {
    uint32_t width, height;
    int colourType, bitDepth;
    int paletteCount;
    png_color palette[256];
};

// Reads the header and chooses the transforms that give one of our formats.
bool ReadHeader(png_structp png, png_infop info, SPngHeader& h) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_info(png, info);
    const int type = png_get_color_type(png, info);
    const int depth = png_get_bit_depth(png, info);
    const bool trns = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    if (type == PNG_COLOR_TYPE_PALETTE) {
        if (trns) {
            png_set_palette_to_rgb(png);
            png_set_tRNS_to_alpha(png);
        } else if (depth == 2) {
            png_set_packing(png);
        }
    } else {
        if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
        if (trns) png_set_tRNS_to_alpha(png);
    }
    if (depth == 16) png_set_swap(png);
    png_set_bgr(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    h.width = png_get_image_width(png, info);
    h.height = png_get_image_height(png, info);
    h.colourType = png_get_color_type(png, info);
    h.bitDepth = png_get_bit_depth(png, info);
    h.paletteCount = 0;
    png_colorp palette = nullptr;
    int count = 0;
    if (h.colourType == PNG_COLOR_TYPE_PALETTE && png_get_PLTE(png, info, &palette, &count) && palette) {
        h.paletteCount = count > 256 ? 256 : count;
        std::memcpy(h.palette, palette, sizeof(png_color) * size_t(h.paletteCount));
    }
    return true;
}

bool ReadPixels(png_structp png, png_infop info, png_bytepp rows) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_read_image(png, rows);
    png_read_end(png, info);
    return true;
}

EQPixelFormat FormatOf(const SPngHeader& h) {
    const bool wide = h.bitDepth == 16;
    switch (h.colourType) {
    case PNG_COLOR_TYPE_GRAY: return wide ? keFormatGrey_u16 : keFormatGrey;
    case PNG_COLOR_TYPE_GRAY_ALPHA: return wide ? keFormatGreyA_u16 : keFormatGreyA;
    case PNG_COLOR_TYPE_RGB: return wide ? keFormatBGR_u16 : keFormatBGR;
    case PNG_COLOR_TYPE_RGB_ALPHA: return wide ? keFormatBGRA_u16 : keFormatBGRA;
    case PNG_COLOR_TYPE_PALETTE:
        return h.bitDepth == 1 ? keFormatIndex1 : h.bitDepth == 4 ? keFormatIndex4 : keFormatIndex8;
    default: return keFormatNone;
    }
}

struct SPngWrite {
    uint32_t width, height;
    int colourType, bitDepth;
    int compression;
    int paletteCount;
    png_color palette[256];
};

bool WriteAll(png_structp png, png_infop info, const SPngWrite& w, const CRowIterator* image) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_IHDR(png, info, w.width, w.height, w.bitDepth, w.colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (w.colourType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, w.palette, w.paletteCount);
    png_set_compression_level(png, w.compression);
    // Stored rows gain nothing from filtering, and choosing the filters costs as much as storing.
    if (w.compression == 0) png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_write_info(png, info);
    if (w.bitDepth == 16) png_set_swap(png);
    png_set_bgr(png);
    for (uint32_t y = 0; y < w.height; ++y) {
        const uint8_t* row = QGDI_GetPixelRow(image, static_cast<int>(y));
        if (!row) png_error(png, "row not available");
        png_write_row(png, row);
        QGDI_ReleasePixelRow(image, static_cast<int>(y));
    }
    png_write_end(png, info);
    return true;
}

}  // namespace

EQPixelFormat QgdiPngFormatFor(EQPixelFormat format) {
    switch (format) {
    case keFormatIndex1:
    case keFormatIndex4:
    case keFormatIndex8:
    case keFormatGrey:
    case keFormatGreyA:
    case keFormatBGR:
    case keFormatBGRA:
    case keFormatGrey_u16:
    case keFormatGreyA_u16:
    case keFormatBGR_u16:
    case keFormatBGRA_u16: return format;
    case keFormatIndex8A:
    case keFormatBGRxA: return keFormatBGRA;
    case keFormatGrey_f32: return keFormatGrey_u16;
    case keFormatGreyA_f32: return keFormatGreyA_u16;
    case keFormatBGR_f32: return keFormatBGR_u16;
    default: return keFormatBGRA_u16;
    }
}

std::unique_ptr<CRowIterator> QgdiReadPng(const uint8_t* data, size_t bytes, std::string& error) {
    SPngContext c;
    c.data = data;
    c.bytes = bytes;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &c, &OnError, &OnWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        error = "out of memory";
        return nullptr;
    }
    png_set_read_fn(png, &c, &OnRead);
    // Refuse images too large to be real before allocating for them.
    png_set_user_limits(png, 1u << 20, 1u << 20);
    auto header = std::make_unique<SPngHeader>();
    std::unique_ptr<CRowIterator> image;
    std::vector<png_bytep> rows;
    bool ok = ReadHeader(png, info, *header);
    const EQPixelFormat format = ok ? FormatOf(*header) : keFormatNone;
    if (ok && format == keFormatNone) {
        std::snprintf(c.message, sizeof c.message, "unsupported PNG colour type");
        ok = false;
    }
    if (ok) {
        RGBQUAD palette[256];
        for (int i = 0; i < header->paletteCount; ++i)
            palette[i] = RGBQUAD{header->palette[i].blue, header->palette[i].green, header->palette[i].red, 0};
        image = std::make_unique<CRowIterator>();
        CErrorAutoThrow r = image->Create(static_cast<int>(header->width), static_cast<int>(header->height), format,
                                          nullptr, header->paletteCount ? palette : nullptr, header->paletteCount);
        if (r.IsError()) {
            std::snprintf(c.message, sizeof c.message, "cannot create a %ux%u image (error %d)", header->width,
                          header->height, static_cast<int>(r.Ignore()));
            ok = false;
        }
    }
    if (ok) {
        rows.resize(header->height);
        for (uint32_t y = 0; y < header->height; ++y) rows[y] = QGDI_GetPixelRow(image.get(), static_cast<int>(y));
        ok = ReadPixels(png, info, rows.data());
        for (uint32_t y = 0; y < header->height; ++y) QGDI_ReleasePixelRow(image.get(), static_cast<int>(y));
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok) {
        error = std::string("PNG: ") + c.message;
        return nullptr;
    }
    return image;
}

bool QgdiWritePng(const CRowIterator& image, std::vector<uint8_t>& out, std::string& error, int compression) {
    const EQPixelFormat format = image.GetPixelFormat();
    if (QgdiPngFormatFor(format) != format) {
        error = "PNG cannot hold this format";
        return false;
    }
    if (compression < kQgdiPngCompressionMin || compression > kQgdiPngCompressionMax) {
        error = "PNG compression must be 0 to 9";
        return false;
    }
    // Rows must start at their first bit.
    CRowIterator packed;
    const CRowIterator* source = &image;
    if (image.GetPixelOffset() != 0) {
        if (packed.CreateFromCopy(image).IsError()) {
            error = "out of memory";
            return false;
        }
        source = &packed;
    }
    auto w = std::make_unique<SPngWrite>();
    w->width = static_cast<uint32_t>(image.GetWidth());
    w->height = static_cast<uint32_t>(image.GetHeight());
    w->compression = compression;
    const CQPixelFormat pf(format);
    w->bitDepth = pf.IsIndexedColor() ? pf.GetBitsPerPixel() : pf.GetBitsPerChannel();
    w->colourType = pf.IsIndexedColor() ? PNG_COLOR_TYPE_PALETTE
                    : pf.IsGreyscale()  ? (pf.IsAlphaChannelPresent() ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY)
                                        : (pf.IsAlphaChannelPresent() ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB);
    w->paletteCount = pf.IsIndexedColor() ? std::max(1, image.GetPaletteCount()) : 0;
    for (int i = 0; i < w->paletteCount; ++i) {
        const RGBQUAD q = image.GetPaletteCount() ? image.GetPalette()[i] : RGBQUAD{0, 0, 0, 0};
        w->palette[i] = png_color{q.rgbRed, q.rgbGreen, q.rgbBlue};
    }
    SPngContext c;
    c.out = &out;
    out.clear();
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &c, &OnError, &OnWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        error = "out of memory";
        return false;
    }
    png_set_write_fn(png, &c, &OnWrite, &OnFlush);
    const bool ok = WriteAll(png, info, *w, source);
    png_destroy_write_struct(&png, &info);
    if (!ok) error = std::string("PNG: ") + c.message;
    return ok;
}
