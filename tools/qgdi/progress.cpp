#include "tools/qgdi/progress.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

CToolProgress::CToolProgress(std::string label) : m_label(std::move(label)) {
    const char* forced = std::getenv("QGDI_PROGRESS");
    m_enabled = forced ? std::strcmp(forced, "0") != 0 : isatty(STDERR_FILENO) != 0;
    m_status.SetSDKCallback(&CToolProgress::OnProgress, this, nullptr);
}

CToolProgress::~CToolProgress() {
    if (m_drawn) std::fputc('\n', stderr);
}

bool CToolProgress::OnProgress(uint32_t percent, void* self, void*) {
    static_cast<CToolProgress*>(self)->Draw(percent);
    return true;  // the tool never cancels; Ctrl-C ends the process
}

void CToolProgress::Draw(uint32_t percent) {
    if (!m_enabled || static_cast<int>(percent) == m_last) return;
    m_last = static_cast<int>(percent);
    constexpr int kWidth = 40;
    const int filled = static_cast<int>(percent) * kWidth / 100;
    char bar[kWidth + 1];
    for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '.';
    bar[kWidth] = '\0';
    std::fprintf(stderr, "\r%s [%s] %3u%%", m_label.c_str(), bar, percent);
    std::fflush(stderr);
    m_drawn = true;
}

void CToolProgress::Done() {
    Draw(100);
    if (m_drawn) std::fputc('\n', stderr);
    m_drawn = false;
}
