// qgdi blend: lays one image over another in a layer blend mode or through a
// compositing operator.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/progress.h"
#include "tools/qgdi/sample_image.h"

namespace {

constexpr const char* kUsage =
    "usage: qgdi blend BOTTOM TOP OUT [--mode NAME] [--opacity 0-255] [--at X,Y]\n"
    "       qgdi blend BOTTOM TOP OUT --sheet [--opacity 0-255]\n"
    "       qgdi blend --list\n"
    "  ('-' as BOTTOM or TOP: the built-in sample)";

void ListModes() {
    std::printf("layer blend modes (straight alpha):\n");
    int count = 0;
    const EQBlendMoxMode* modes = QGDI_GetBlendMoxModes(count);
    for (int i = 0; i < count; ++i) std::printf("  %-16s %3d\n", QGDI_GetBlendMoxModeName(modes[i]), int(modes[i]));
    std::printf("compositing operators (premultiplied alpha):\n");
    for (int op = 0; op < keCompositeOpCount; ++op) std::printf("  %-16s\n", QGDI_GetCompositeOpName(op));
}

bool ParseInt(const std::string& text, int lo, int hi, int& out) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || v < lo || v > hi) return false;
    out = int(v);
    return true;
}

std::unique_ptr<CRowIterator> ReadOrSample(const std::string& path, std::string& error) {
    if (path != "-") return QgdiReadImage(path, error);
    auto image = std::make_unique<CRowIterator>();
    if (QgdiMakeSampleImage(*image).IsError()) {
        error = "cannot make the sample image";
        return nullptr;
    }
    return image;
}

// Every layer mode side by side: tile t holds the top corner of BOTTOM with
// the top corner of TOP laid on in mode t, row after row in the order of the
// mode list.
bool MakeSheet(CRowIterator& sheet, const CRowIterator& bottom, const CRowIterator& top, int opacity,
               CStatusControl* status) {
    constexpr int kColumns = 6;
    const int tw = std::min({bottom.GetWidth(), top.GetWidth(), 192});
    const int th = std::min({bottom.GetHeight(), top.GetHeight(), 120});
    int count = 0;
    const EQBlendMoxMode* modes = QGDI_GetBlendMoxModes(count);
    const int rows = (count + kColumns - 1) / kColumns;
    if (sheet.Create(kColumns * tw, rows * th, keFormatBGRA).IsError()) return false;
    CStatusControl nested(status);
    nested.SetProgressRange(uint64_t(count));
    const CRowOpDefRowCopy copy;
    const RECT corner = {0, 0, tw, th};
    for (int t = 0; t < count; ++t) {
        const int x = (t % kColumns) * tw, y = (t / kColumns) * th;
        const RECT tile = {x, y, x + tw, y + th};
        if (!PixelIterator_ApplyRowOp(copy, sheet, bottom, &tile, &corner)) return false;
        const CRowOpDefRowBlendMox blend(modes[t], uint32_t(opacity));
        if (!PixelIterator_ApplyRowOp(blend, sheet, top, &tile, &corner)) return false;
        if (nested.SetProgress(uint64_t(t + 1))) return false;
    }
    return true;
}

bool ParsePoint(const std::string& text, int& x, int& y) {
    const size_t comma = text.find(',');
    return comma != std::string::npos && ParseInt(text.substr(0, comma), -1000000, 1000000, x) &&
           ParseInt(text.substr(comma + 1), -1000000, 1000000, y);
}

}  // namespace

int QgdiCmdBlend(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    std::string modeName = "normal";
    int opacity = 255, atX = 0, atY = 0;
    bool sheet = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--list") {
            ListModes();
            return 0;
        } else if (a == "--sheet") {
            sheet = true;
        } else if (a == "--mode" && hasValue) {
            modeName = args[++i];
        } else if (a == "--opacity" && hasValue) {
            if (!ParseInt(args[++i], 0, 255, opacity)) {
                std::fprintf(stderr, "qgdi blend: --opacity takes 0 to 255, not '%s'\n", args[i].c_str());
                return 1;
            }
        } else if (a == "--at" && hasValue) {
            if (!ParsePoint(args[++i], atX, atY)) {
                std::fprintf(stderr, "qgdi blend: --at takes X,Y, not '%s'\n", args[i].c_str());
                return 1;
            }
        } else if (a.rfind("--", 0) == 0) {
            std::fprintf(stderr, "qgdi blend: unknown option '%s'\n%s\n", a.c_str(), kUsage);
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 3) {
        std::fprintf(stderr, "%s\n", kUsage);
        return 2;
    }
    EQBlendMoxMode mode = keBlendMoxNormal;
    EQCompositeOp op = keCompositeOver;
    const bool layerMode = QGDI_FindBlendMoxMode(modeName.c_str(), mode);
    if (!layerMode && !QGDI_FindCompositeOp(modeName.c_str(), op)) {
        std::fprintf(stderr, "qgdi blend: unknown mode '%s' (qgdi blend --list shows them)\n", modeName.c_str());
        return 1;
    }

    std::string error;
    const std::unique_ptr<CRowIterator> bottom = ReadOrSample(files[0], error);
    if (!bottom) {
        std::fprintf(stderr, "qgdi blend: %s\n", error.c_str());
        return 1;
    }
    const std::unique_ptr<CRowIterator> top = ReadOrSample(files[1], error);
    if (!top) {
        std::fprintf(stderr, "qgdi blend: %s\n", error.c_str());
        return 1;
    }
    if (sheet) {
        CRowIterator result;
        CToolProgress progress("blend sheet");
        if (top->SetPixelFormat(keFormatBGRA, keImageModifyReadOnly).IsError() ||
            !MakeSheet(result, *bottom, *top, opacity, progress.Status())) {
            std::fprintf(stderr, "qgdi blend: cannot make the sheet\n");
            return 1;
        }
        progress.Done();
        std::string note;
        if (!QgdiWriteImage(files[2], result, error, note)) {
            std::fprintf(stderr, "qgdi blend: %s\n", error.c_str());
            return 1;
        }
        std::printf("%s: %d x %d, every layer mode in the order of qgdi blend --list\n", files[2].c_str(),
                    result.GetWidth(), result.GetHeight());
        return 0;
    }
    // Layer modes work on straight colour, operators on premultiplied colour:
    // both images are presented in that form, the result made in it.
    const EQPixelFormat work = layerMode ? keFormatBGRA : keFormatBGRxA;
    CRowIterator result;
    if (result.Create(bottom->GetWidth(), bottom->GetHeight(), work).IsError() ||
        top->SetPixelFormat(work, keImageModifyReadOnly).IsError()) {
        std::fprintf(stderr, "qgdi blend: no memory for a %d x %d image\n", bottom->GetWidth(), bottom->GetHeight());
        return 1;
    }
    const CRowOpDefRowCopy copy;
    CToolProgress progress("blend");
    if (!PixelIterator_ApplyRowOp(copy, result, *bottom)) return 1;

    // The top image's rectangle on the bottom one, clipped to both.
    RECT dest = {atX, atY, atX + top->GetWidth(), atY + top->GetHeight()};
    const RECT bounds = {0, 0, result.GetWidth(), result.GetHeight()};
    RECT clipped;
    if (IntersectRect(&clipped, &dest, &bounds)) {
        const RECT source = {clipped.left - atX, clipped.top - atY, clipped.right - atX, clipped.bottom - atY};
        std::unique_ptr<CRowOpDef> def;
        if (layerMode) def = std::make_unique<CRowOpDefRowBlendMox>(mode, uint32_t(opacity));
        else def = std::make_unique<CRowOpDefRowBlend>(op, uint8_t(opacity));
        const CErrorAutoThrow r = PixelIterator_ApplyRowOpChecked(*def, result, *top, &clipped, &source,
                                                                  progress.Status());
        if (r.IsError()) {
            std::fprintf(stderr, "qgdi blend: stopped (error %d)\n", int(r.Ignore()));
            return 1;
        }
    }
    progress.Done();
    std::string note;
    if (!QgdiWriteImage(files[2], result, error, note)) {
        std::fprintf(stderr, "qgdi blend: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s: %d x %d, %s at %d,%d, opacity %d%s%s\n", files[2].c_str(), result.GetWidth(), result.GetHeight(),
                modeName.c_str(), atX, atY, opacity, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
