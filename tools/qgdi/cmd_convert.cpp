#include <cstdio>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

int QgdiCmdConvert(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    EQPixelFormat format = keFormatNone;
    SQgdiWriteOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--format" && i + 1 < args.size()) {
            format = QgdiParseFormat(args[++i]);
            if (format == keFormatNone) {
                std::fprintf(stderr, "qgdi convert: unknown format '%s' (see qgdi formats)\n", args[i].c_str());
                return 2;
            }
        } else if (args[i] == "--compression" && i + 1 < args.size()) {
            if (!QgdiParseCompression(args[++i], options.pngCompression)) {
                std::fprintf(stderr, "qgdi convert: --compression takes 0 to 9, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) {
        std::fprintf(stderr,
                     "usage: qgdi convert IN OUT [--format NAME] [--compression 0-9]"
                     "   (IN '-' is the built-in sample)\n");
        return 2;
    }
    const auto image = QgdiLoadInput("convert", files[0]);
    if (!image) return 1;
    std::string error;
    if (format != keFormatNone) {
        // The converter presents the pixels in the new format; the writer reads them through it.
        const CErrorAutoThrow r = image->SetPixelFormat(format, keImageModifyReadOnly);
        if (r.IsError()) {
            std::fprintf(stderr, "qgdi convert: no converter from %s to %s (error %d)\n",
                         QGDI_FindPixelFormatTraits(image->GetNativeFormat())->shortName,
                         QGDI_FindPixelFormatTraits(format)->shortName, static_cast<int>(r.Ignore()));
            return 1;
        }
    }
    std::string note;
    if (!QgdiWriteImage(files[1], *image, error, note, options)) {
        std::fprintf(stderr, "qgdi convert: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s: %d x %d %s%s%s\n", files[1].c_str(), image->GetWidth(), image->GetHeight(),
                QGDI_FindPixelFormatTraits(image->GetPixelFormat())->shortName, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
