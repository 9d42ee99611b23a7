#include "tools/qgdi/job.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tools/qgdi/progress.h"
#include "tools/qgdi/sample_image.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnInterrupt(int) { g_interrupted = 1; }
int AbortCheck(CStatusControl*) { return g_interrupted; }

std::string TemporaryName(const std::string& out) {
    const size_t slash = out.find_last_of('/'), dot = out.find_last_of('.');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return hasExt ? out.substr(0, dot) + ".qgdi-partial" + out.substr(dot) : out + ".qgdi-partial";
}

}  // namespace

std::unique_ptr<CRowIterator> QgdiLoadInput(const char* command, const std::string& path) {
    std::unique_ptr<CRowIterator> image;
    std::string error;
    if (path == "-") {
        image = std::make_unique<CRowIterator>();
        if (QgdiMakeSampleImage(*image).IsError()) error = "cannot make the sample image";
    } else {
        image = QgdiReadImage(path, error);
    }
    if (image && error.empty()) return image;
    std::fprintf(stderr, "qgdi %s: %s\n", command, error.c_str());
    return nullptr;
}

bool QgdiParseNumber(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && !*end && !text.empty();
}

bool QgdiParseSize(const std::string& text, int& w, int& h) {
    char x = 0, rest = 0;
    return std::sscanf(text.c_str(), "%d%c%d%c", &w, &x, &h, &rest) == 3 && (x == 'x' || x == 'X') && w > 0 && h > 0;
}

CQgdiJob::CQgdiJob(const char* command, std::string out)
    : m_command(command), m_out(std::move(out)), m_previous(std::signal(SIGINT, &OnInterrupt)) {
    g_interrupted = 0;
}

CQgdiJob::~CQgdiJob() { std::signal(SIGINT, m_previous == SIG_ERR ? SIG_DFL : m_previous); }

int CQgdiJob::Cancelled() const {
    std::fprintf(stderr, "qgdi %s: cancelled; %s was not written\n", m_command, m_out.c_str());
    return 130;
}

int CQgdiJob::Run(const std::function<CErrorAutoThrow(CStatusControl*)>& work, const std::string& failure) {
    CErrorAutoThrow r;
    {
        CToolProgress progress(m_command);
        progress.Status()->SetAbortCheckCallback(&AbortCheck);
        r = work(progress.Status());
        if (!r.IsError()) progress.Done();
    }
    const QuorErrorCode code = r.Ignore();
    if (code == keQuorErrCancelled || g_interrupted) return Cancelled();
    if (code == keQuorErrSuccess) return 0;
    std::fprintf(stderr, "qgdi %s: %s (error %d: %s)\n", m_command, failure.c_str(), static_cast<int>(code),
                 QuorErrorText(code));
    return 1;
}

int CQgdiJob::Write(const CRowIterator& image, std::string& note, const SQgdiWriteOptions& options) {
    std::string error;
    const std::string partial = TemporaryName(m_out);
    const bool written = QgdiWriteImage(partial, image, error, note, options);
    // An interrupt while the file was written leaves nothing behind either.
    if (written && !g_interrupted && std::rename(partial.c_str(), m_out.c_str()) == 0) return 0;
    std::remove(partial.c_str());
    if (g_interrupted) return Cancelled();
    std::fprintf(stderr, "qgdi %s: %s\n", m_command, written ? ("cannot write " + m_out).c_str() : error.c_str());
    return 1;
}
