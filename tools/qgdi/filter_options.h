#pragma once
// Argument handling shared by the filter commands: files, "--name value"
// options (repeatable), bare flags, and the edge-mode names.
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "tools/qgdi/job.h"

struct SQgdiFilterArgs {
    std::vector<std::string> files;
    std::map<std::string, std::vector<std::string>> values;
    std::set<std::string> flags;

    bool Has(const std::string& name) const { return values.count(name) != 0; }
    // The last value of `name` as a number (false, with a message, when it is not one).
    bool Number(const char* command, const std::string& name, double& out) const {
        const auto it = values.find(name);
        if (it == values.end()) return true;
        if (QgdiParseNumber(it->second.back(), out)) return true;
        std::fprintf(stderr, "qgdi %s: %s takes a number, not '%s'\n", command, name.c_str(), it->second.back().c_str());
        return false;
    }
};

// False (with the usage printed) for an option that is neither valued nor a flag.
inline bool QgdiSplitFilterArgs(const char* command, const char* usage, const std::vector<std::string>& args,
                                const std::set<std::string>& valued, const std::set<std::string>& flags,
                                SQgdiFilterArgs& out) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (valued.count(a) && i + 1 < args.size()) {
            out.values[a].push_back(args[++i]);
        } else if (flags.count(a)) {
            out.flags.insert(a);
        } else if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            std::fprintf(stderr, "qgdi %s: unknown or incomplete option '%s'\n%s", command, a.c_str(), usage);
            return false;
        } else {
            out.files.push_back(a);
        }
    }
    return true;
}

inline bool QgdiParseEdge(const char* command, const SQgdiFilterArgs& args, EEdgeMode& edge) {
    const auto it = args.values.find("--edge");
    if (it == args.values.end()) return true;
    const std::string& m = it->second.back();
    if (m == "wrap") edge = keEdgeWrap;
    else if (m == "clamp") edge = keEdgeClamp;
    else if (m == "constant") edge = keEdgeConstant;
    else {
        std::fprintf(stderr, "qgdi %s: unknown edge mode '%s' (wrap, clamp, constant)\n", command, m.c_str());
        return false;
    }
    return true;
}

// Runs `work` under the progress bar and writes the result; the exit code.
template <class Work>
int QgdiRunFilter(const char* command, const std::string& out, CRowIterator& result, Work&& work,
                  const char* failure, const std::string& what) {
    CQgdiJob job(command, out);
    std::string note;
    if (const int code = job.Run(work, failure)) return code;
    if (const int code = job.Write(result, note)) return code;
    std::printf("%s: %s%s%s\n", out.c_str(), what.c_str(), note.empty() ? "" : ", ", note.c_str());
    return 0;
}
