#include "tools/qgdi/image_io.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {
std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return s;
}
bool EndsWith(const std::string& s, const char* tail) {
    const size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}
std::string CodeText(const CErrorAutoThrow& r) {
    const QuorErrorCode code = r.Ignore();
    return std::to_string(static_cast<int>(code)) + " (" + QuorErrorText(code) + ")";
}
}  // namespace

EQgdiFileType QgdiFileTypeOfData(const uint8_t* data, size_t bytes) {
    if (bytes >= 2 && data[0] == 'B' && data[1] == 'M') return keFileBmp;
    if (bytes >= 8 && std::memcmp(data, "\x89PNG\r\n\x1a\n", 8) == 0) return keFilePng;
    if (bytes >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) return keFileJpeg;
    return keFileUnknown;
}

EQgdiFileType QgdiFileTypeOfName(const std::string& path) {
    const std::string p = Lower(path);
    if (EndsWith(p, ".bmp") || EndsWith(p, ".dib")) return keFileBmp;
    if (EndsWith(p, ".png")) return keFilePng;
    if (EndsWith(p, ".jpg") || EndsWith(p, ".jpeg")) return keFileJpeg;
    return keFileUnknown;
}

bool QgdiReadFileBytes(const std::string& path, std::vector<uint8_t>& data) {
    std::unique_ptr<FILE, int (*)(FILE*)> fp(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!fp) return false;
    uint8_t buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, fp.get())) > 0) data.insert(data.end(), buffer, buffer + got);
    return !std::ferror(fp.get());
}

bool QgdiWriteFileBytes(const std::string& path, const std::vector<uint8_t>& data) {
    std::unique_ptr<FILE, int (*)(FILE*)> fp(std::fopen(path.c_str(), "wb"), &std::fclose);
    return fp && std::fwrite(data.data(), 1, data.size(), fp.get()) == data.size();
}

EQPixelFormat QgdiParseFormat(const std::string& name) {
    for (const SQPixelFormatTraits& t : kQPixelFormatTraits) {
        if (t.format <= keFormatNone) continue;
        char longName[32];
        std::snprintf(longName, sizeof longName, "%ls", t.name);
        if (Lower(name) == Lower(t.shortName) || Lower(name) == Lower(longName) || name == std::to_string(t.format))
            return t.format;
    }
    return keFormatNone;
}

EQPixelFormat QgdiBmpFormatFor(EQPixelFormat format) {
    const CQPixelFormat pf(format);
    switch (format) {
    case keFormatIndex1:
    case keFormatIndex4:
    case keFormatIndex8:
    case keFormatGrey:
    case keFormatBGR:
    case keFormatBGRA: return format;
    default:
        if (pf.IsGreyscale() && !pf.IsAlphaChannelPresent()) return keFormatGrey;
        return pf.IsAlphaChannelPresent() ? keFormatBGRA : keFormatBGR;
    }
}

std::unique_ptr<CRowIterator> QgdiReadImage(const std::string& path, std::string& error) {
    std::vector<uint8_t> data;
    if (!QgdiReadFileBytes(path, data)) {
        error = "cannot read " + path;
        return nullptr;
    }
    switch (QgdiFileTypeOfData(data.data(), data.size())) {
    case keFileBmp: {
        auto dib = std::make_unique<CDibIterator>();
        CErrorAutoThrow r = QGDI_ReadBmp(data.data(), data.size(), *dib);
        if (r.IsError()) {
            error = path + ": not a readable BMP file: error " + CodeText(r);
            return nullptr;
        }
        return dib;
    }
    case keFilePng: return QgdiReadPng(data.data(), data.size(), error);
    case keFileJpeg: return QgdiReadJpeg(data.data(), data.size(), error);
    default: error = path + ": not a BMP, PNG or JPEG file"; return nullptr;
    }
}

bool QgdiParseCompression(const std::string& text, int& level) {
    if (text.size() != 1 || text[0] < '0' + kQgdiPngCompressionMin || text[0] > '0' + kQgdiPngCompressionMax)
        return false;
    level = text[0] - '0';
    return true;
}

bool QgdiWriteImage(const std::string& path, const CRowIterator& image, std::string& error, std::string& note,
                    const SQgdiWriteOptions& options) {
    const EQgdiFileType type = QgdiFileTypeOfName(path);
    if (type == keFileUnknown) {
        error = path + ": unknown file type (use .bmp, .png or .jpg)";
        return false;
    }
    const EQPixelFormat have = image.GetPixelFormat();
    const EQPixelFormat want = type == keFileBmp   ? QgdiBmpFormatFor(have)
                               : type == keFilePng ? QgdiPngFormatFor(have)
                                                   : QgdiJpegFormatFor(have);
    CRowIterator converted;
    const CRowIterator* out = &image;
    if (want != have) {
        CErrorAutoThrow r = converted.CreateFromCopy(image, nullptr, want);
        if (r.IsError()) {
            error = "cannot convert to " + std::string(QGDI_FindPixelFormatTraits(want)->shortName) + ": error " +
                    CodeText(r);
            return false;
        }
        note = std::string("stored as ") + QGDI_FindPixelFormatTraits(want)->shortName + " (the file type has no " +
               QGDI_FindPixelFormatTraits(have)->shortName + ")";
        out = &converted;
    }
    std::vector<uint8_t> data;
    bool ok = true;
    if (type == keFileBmp) {
        CErrorAutoThrow r = QGDI_WriteBmp(*out, data);
        if (r.IsError()) {
            error = "cannot write BMP: error " + CodeText(r);
            ok = false;
        }
    } else if (type == keFilePng) {
        ok = QgdiWritePng(*out, data, error, options.pngCompression);
    } else {
        ok = QgdiWriteJpeg(*out, data, 92, error);
    }
    if (ok && !QgdiWriteFileBytes(path, data)) {
        error = "cannot write " + path;
        ok = false;
    }
    return ok;
}
