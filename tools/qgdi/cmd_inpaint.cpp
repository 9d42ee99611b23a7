#include <cstdio>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"

int QgdiCmdInpaint(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi inpaint IN MASK OUT [--patch N] [--seed S] [--feather F] [--source SRC]   "
        "(MASK: white marks the hole; SRC: white marks where content may come from)\n";
    std::vector<std::string> files;
    std::string sourcePath;
    SQInpaintOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        int* target = a == "--patch" ? &options.nPatchSize : a == "--feather" ? &options.nFeather : nullptr;
        double value = 0;
        if (target && hasValue) {
            if (!QgdiParseNumber(args[++i], value) || value != static_cast<int>(value)) {
                std::fprintf(stderr, "qgdi inpaint: %s takes a whole number, not '%s'\n", a.c_str(), args[i].c_str());
                return 2;
            }
            *target = static_cast<int>(value);
        } else if (a == "--seed" && hasValue) {
            if (!QgdiParseNumber(args[++i], value) || value < 0 || value > 4294967295.0 || value != static_cast<double>(static_cast<uint32_t>(value))) {
                std::fprintf(stderr, "qgdi inpaint: --seed takes a whole number 0 to 4294967295, not '%s'\n", args[i].c_str());
                return 2;
            }
            options.nSeed = static_cast<uint32_t>(value);
        } else if (a == "--source" && hasValue) {
            sourcePath = args[++i];
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 3) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (options.nPatchSize < 3 || options.nPatchSize > 31 || options.nPatchSize % 2 == 0) {
        std::fprintf(stderr, "qgdi inpaint: --patch takes an odd size from 3 to 31\n");
        return 2;
    }
    if (options.nFeather < 0 || options.nFeather > 64) {
        std::fprintf(stderr, "qgdi inpaint: --feather takes 0 to 64 pixels\n");
        return 2;
    }
    const auto image = QgdiLoadInput("inpaint", files[0]);
    if (!image) return 1;
    const auto mask = QgdiLoadInput("inpaint", files[1]);
    if (!mask) return 1;
    std::unique_ptr<CRowIterator> source;
    if (!sourcePath.empty() && !(source = QgdiLoadInput("inpaint", sourcePath))) return 1;
    if (!mask->IsSameSizeAs(*image) || (source && !source->IsSameSizeAs(*image))) {
        std::fprintf(stderr, "qgdi inpaint: the masks must have the image's size (%d x %d)\n", image->GetWidth(),
                     image->GetHeight());
        return 1;
    }
    options.pSource = source.get();
    CQgdiJob job("inpaint", files[2]);
    std::string note;
    if (const int code = job.Run([&](CStatusControl* status) { return QGDI_Inpaint(*image, *mask, options, status); },
                                 "cannot fill the hole"))
        return code;
    if (const int code = job.Write(*image, note)) return code;
    std::printf("%s: filled with %d x %d patches, seed %u%s%s\n", files[2].c_str(), options.nPatchSize,
                options.nPatchSize, options.nSeed, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
