// JPEG through libjpeg. Its errors arrive by longjmp, so the calls that may
// fail run inside functions whose frames hold nothing to destroy.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jerror.h>
#include <jpeglib.h>

#include "tools/qgdi/image_io.h"

namespace {

struct SJpegError {
    jpeg_error_mgr manager;
    jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void OnError(j_common_ptr info) {
    auto* e = reinterpret_cast<SJpegError*>(info->err);
    (*info->err->format_message)(info, e->message);
    longjmp(e->jump, 1);
}

// The decoder pads data that ends early with grey and only warns: refuse such
// a file instead, as the PNG reader does, rather than decode a whole image of
// padding (a few bytes may claim 65500 x 65500 pixels).
void OnMessage(j_common_ptr info, int level) {
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) OnError(info);
}

bool ReadHeader(jpeg_decompress_struct* d, SJpegError* e, const uint8_t* data, size_t bytes) {
    if (setjmp(e->jump)) return false;
    jpeg_create_decompress(d);
    jpeg_mem_src(d, data, static_cast<unsigned long>(bytes));
    jpeg_read_header(d, TRUE);
    if (d->jpeg_color_space == JCS_CMYK || d->jpeg_color_space == JCS_YCCK) {
        std::snprintf(e->message, sizeof e->message, "CMYK images are not read");
        return false;
    }
    d->out_color_space = d->num_components == 1 ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_start_decompress(d);
    return true;
}

bool ReadRows(jpeg_decompress_struct* d, SJpegError* e, CRowIterator* image) {
    if (setjmp(e->jump)) return false;
    while (d->output_scanline < d->output_height) {
        const int y = static_cast<int>(d->output_scanline);
        JSAMPROW row = QGDI_GetPixelRow(image, y);
        if (!row) return false;
        jpeg_read_scanlines(d, &row, 1);
        QGDI_ReleasePixelRow(image, y);
    }
    jpeg_finish_decompress(d);
    return true;
}

bool WriteRows(jpeg_compress_struct* c, SJpegError* e, const CRowIterator* image, int quality, unsigned char** out,
               unsigned long* bytes) {
    if (setjmp(e->jump)) return false;
    jpeg_create_compress(c);
    jpeg_mem_dest(c, out, bytes);
    c->image_width = static_cast<JDIMENSION>(image->GetWidth());
    c->image_height = static_cast<JDIMENSION>(image->GetHeight());
    const bool grey = image->GetPixelFormat() == keFormatGrey;
    c->input_components = grey ? 1 : 3;
    c->in_color_space = grey ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(c);
    jpeg_set_quality(c, quality, TRUE);
    jpeg_start_compress(c, TRUE);
    while (c->next_scanline < c->image_height) {
        const int y = static_cast<int>(c->next_scanline);
        JSAMPROW row = const_cast<JSAMPROW>(QGDI_GetPixelRow(image, y));
        if (!row) return false;
        jpeg_write_scanlines(c, &row, 1);
        QGDI_ReleasePixelRow(image, y);
    }
    jpeg_finish_compress(c);
    return true;
}

}  // namespace

EQPixelFormat QgdiJpegFormatFor(EQPixelFormat format) {
    const CQPixelFormat pf(format);
    return pf.IsGreyscale() && !pf.IsAlphaChannelPresent() ? keFormatGrey : keFormatBGR;
}

std::unique_ptr<CRowIterator> QgdiReadJpeg(const uint8_t* data, size_t bytes, std::string& error) {
    auto d = std::make_unique<jpeg_decompress_struct>();
    auto e = std::make_unique<SJpegError>();
    e->message[0] = '\0';
    d->err = jpeg_std_error(&e->manager);
    e->manager.error_exit = &OnError;
    e->manager.emit_message = &OnMessage;
    std::unique_ptr<CRowIterator> image;
    bool ok = ReadHeader(d.get(), e.get(), data, bytes);
    if (ok) {
        image = std::make_unique<CRowIterator>();
        const EQPixelFormat format = d->out_color_space == JCS_GRAYSCALE ? keFormatGrey : keFormatBGR;
        CErrorAutoThrow r = image->Create(static_cast<int>(d->output_width), static_cast<int>(d->output_height),
                                          format);
        if (r.IsError()) {
            std::snprintf(e->message, sizeof e->message, "cannot create the image (error %d)",
                          static_cast<int>(r.Ignore()));
            ok = false;
        }
    }
    if (ok) ok = ReadRows(d.get(), e.get(), image.get());
    jpeg_destroy_decompress(d.get());
    if (!ok) {
        error = std::string("JPEG: ") + e->message;
        return nullptr;
    }
    return image;
}

bool QgdiWriteJpeg(const CRowIterator& image, std::vector<uint8_t>& out, int quality, std::string& error) {
    const EQPixelFormat format = image.GetPixelFormat();
    if (format != keFormatGrey && format != keFormatBGR) {
        error = "JPEG holds only Grey and BGR";
        return false;
    }
    auto c = std::make_unique<jpeg_compress_struct>();
    auto e = std::make_unique<SJpegError>();
    e->message[0] = '\0';
    c->err = jpeg_std_error(&e->manager);
    e->manager.error_exit = &OnError;
    e->manager.emit_message = &OnMessage;
    unsigned char* buffer = nullptr;
    unsigned long bytes = 0;
    const bool ok = WriteRows(c.get(), e.get(), &image, quality, &buffer, &bytes);
    jpeg_destroy_compress(c.get());
    if (ok) out.assign(buffer, buffer + bytes);
    std::free(buffer);
    if (!ok) error = std::string("JPEG: ") + e->message;
    return ok;
}
