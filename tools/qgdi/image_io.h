#pragma once
// Image files for the tool: BMP through the library's bitmap reader and
// writer, PNG and JPEG through libpng and libjpeg into banded images.
#include <memory>
#include <string>

#include "qgdi.h"

enum EQgdiFileType { keFileUnknown, keFileBmp, keFilePng, keFileJpeg };

// From the first bytes of a file, or (for writing) from the name's extension.
EQgdiFileType QgdiFileTypeOfData(const uint8_t* data, size_t bytes);
EQgdiFileType QgdiFileTypeOfName(const std::string& path);

// zlib level of the PNG files the tool writes: 0 stores, 9 packs hardest.
// zlib's own default (6) spends most of a large write compressing. Level 4 is
// the cheapest with lazy matching: on photographs it compresses about three
// times faster than 6 for files 4 to 12 % larger, while levels 1 to 3 save
// little more time and lose more size (the README has the figures).
constexpr int kQgdiPngCompressionMin = 0, kQgdiPngCompressionMax = 9;
constexpr int kQgdiPngCompressionDefault = 4;

struct SQgdiWriteOptions {
    int pngCompression = kQgdiPngCompressionDefault;
};

// Reads an image: a CDibIterator over the file's bitmap for BMP, a banded
// image for PNG and JPEG. `error` receives a message on failure.
std::unique_ptr<CRowIterator> QgdiReadImage(const std::string& path, std::string& error);
// Writes the presented pixels; formats a file type cannot hold are converted
// to the nearest one it can (`note` says so).
bool QgdiWriteImage(const std::string& path, const CRowIterator& image, std::string& error, std::string& note,
                    const SQgdiWriteOptions& options = {});
// The value of --compression: a whole number from 0 to 9, nothing else.
bool QgdiParseCompression(const std::string& text, int& level);

// The codecs, each on bytes in memory.
std::unique_ptr<CRowIterator> QgdiReadPng(const uint8_t* data, size_t bytes, std::string& error);
std::unique_ptr<CRowIterator> QgdiReadJpeg(const uint8_t* data, size_t bytes, std::string& error);
// `image` must be in a format the codec writes (QgdiPngFormatFor / QgdiJpegFormatFor).
bool QgdiWritePng(const CRowIterator& image, std::vector<uint8_t>& out, std::string& error,
                  int compression = kQgdiPngCompressionDefault);
bool QgdiWriteJpeg(const CRowIterator& image, std::vector<uint8_t>& out, int quality, std::string& error);
// The format each file type stores `format` in.
EQPixelFormat QgdiPngFormatFor(EQPixelFormat format);
EQPixelFormat QgdiJpegFormatFor(EQPixelFormat format);
EQPixelFormat QgdiBmpFormatFor(EQPixelFormat format);

bool QgdiReadFileBytes(const std::string& path, std::vector<uint8_t>& data);
bool QgdiWriteFileBytes(const std::string& path, const std::vector<uint8_t>& data);
// "BGRA", "keFormatBGRA" or the number; keFormatNone when unknown.
EQPixelFormat QgdiParseFormat(const std::string& name);
