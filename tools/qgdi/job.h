#pragma once
// The plumbing every image command shares: the input ('-' is the built-in
// sample), long work run under the progress bar with Ctrl+C cancelling it,
// and an output that appears complete or not at all.
#include <functional>
#include <memory>
#include <string>

#include "tools/qgdi/image_io.h"

// Reads IN, or makes the sample for '-'; prints "qgdi CMD: why" and gives null on failure.
std::unique_ptr<CRowIterator> QgdiLoadInput(const char* command, const std::string& path);

// A number with nothing after it.
bool QgdiParseNumber(const std::string& text, double& value);
// "WxH" with both parts whole numbers of at least 1.
bool QgdiParseSize(const std::string& text, int& w, int& h);

// One run of a command that writes OUT. While it lives, SIGINT cancels the
// work through the status's abort check instead of killing the process, so
// that nothing half-written is left behind.
class CQgdiJob {
public:
    CQgdiJob(const char* command, std::string out);
    ~CQgdiJob();
    CQgdiJob(const CQgdiJob&) = delete;
    CQgdiJob& operator=(const CQgdiJob&) = delete;

    // Runs `work` with a progress bar. 0 when it succeeded; otherwise the
    // reason is printed ("cancelled", or `failure` with the error) and the
    // exit code returned (130 or 1).
    int Run(const std::function<CErrorAutoThrow(CStatusControl*)>& work, const std::string& failure);
    // Writes to a file beside OUT with the same extension (so the writer
    // picks the same type) and renames it over OUT once complete. 0 or the
    // exit code, as Run; `note` says what the writer converted.
    int Write(const CRowIterator& image, std::string& note, const SQgdiWriteOptions& options = {});

private:
    int Cancelled() const;

    const char* m_command;
    std::string m_out;
    void (*m_previous)(int);
};
