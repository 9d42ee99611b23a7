#pragma once
// A progress bar on stderr for the tool's long commands. It hands out a root
// CStatusControl whose SDK callback draws the bar, so every operation that
// takes a status shows its progress without knowing about the terminal. The
// bar is drawn only when stderr is a terminal (or QGDI_PROGRESS=1), so that
// scripts and tests see clean output.
#include <string>

#include "qdibcore/Source/StatusControl.h"

class CToolProgress {
public:
    explicit CToolProgress(std::string label);
    ~CToolProgress();  // ends the bar's line when one was drawn
    CToolProgress(const CToolProgress&) = delete;
    CToolProgress& operator=(const CToolProgress&) = delete;

    CStatusControl* Status() noexcept { return &m_status; }
    // Draws the bar at 100 % and ends its line.
    void Done();

private:
    static bool OnProgress(uint32_t percent, void* self, void*);
    void Draw(uint32_t percent);

    CStatusControl m_status;
    std::string m_label;
    bool m_enabled;
    bool m_drawn = false;
    int m_last = -1;
};
