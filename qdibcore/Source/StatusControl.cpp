#include "qdibcore/Source/StatusControl.h"

#include <algorithm>
#include <cstdarg>
#include <cwchar>
#include <new>

#include "platform/critsec.h"
#include "platform/timer.h"
#include "platform/uithread.h"

namespace {

// Reports are at most this often.
constexpr double kReportInterval = 0.3;

CRITICAL_SECTION& StatusLock() {
    static CRITICAL_SECTION* cs = new CRITICAL_SECTION;  // used until the process ends
    return *cs;
}
std::atomic<int> g_csCreated{0};

int Trunc(double v) { return static_cast<int>(v); }

std::wstring* FormatText(const wchar_t* format, va_list args) {
    if (!format) return nullptr;
    std::wstring* text = new (std::nothrow) std::wstring(256, L'\0');
    if (!text) return nullptr;
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        int n = std::vswprintf(text->data(), text->size(), format, copy);
        va_end(copy);
        if (n >= 0) {
            text->resize(static_cast<size_t>(n));
            return text;
        }
        // vswprintf reports -1 both when the buffer is short and on a bad format.
        if (text->size() >= (1u << 16)) {
            text->clear();
            return text;
        }
        text->resize(text->size() * 4);
    }
}

}  // namespace

VCoreThread::~VCoreThread() = default;

void CStatusControl::CreateCS() {
    InitializeCriticalSection(&StatusLock());
    g_csCreated.fetch_add(1, std::memory_order_acq_rel);
    QPlatform_SetDefaultMainUIThread();
}

void CStatusControl::DeleteCS() {
    int left = g_csCreated.load(std::memory_order_acquire);
    while (left > 0 && !g_csCreated.compare_exchange_weak(left, left - 1, std::memory_order_acq_rel)) {
    }
    if (left == 1) DeleteCriticalSection(&StatusLock());
}

bool CStatusControl::IsCSCreated() noexcept { return g_csCreated.load(std::memory_order_acquire) > 0; }

CStatusControl::CStatusControl(CStatusControl* parent) : m_pParent(parent ? parent : this) { Reset(true); }

CStatusControl::~CStatusControl() {
    if (m_pParent != this) {
        m_pParent->NextStep();
        m_pParent->m_pChild = nullptr;
    }
    delete m_pText;
}

CStatusControl::CStatusControl(const CStatusControl& other) { CopyFields(other); }

CStatusControl& CStatusControl::operator=(const CStatusControl& other) {
    if (this != &other) CopyFields(other);
    return *this;
}

void CStatusControl::CopyFields(const CStatusControl& o) {
    m_bEscToggle = o.m_bEscToggle;
    m_bEscTextShown = o.m_bEscTextShown;
    std::wstring* text = o.m_pText ? new (std::nothrow) std::wstring(*o.m_pText) : nullptr;
    delete m_pText;
    m_pText = text;
    m_bAbortRequested.store(o.m_bAbortRequested.load(std::memory_order_relaxed), std::memory_order_relaxed);
    m_bAborted.store(o.m_bAborted.load(std::memory_order_relaxed), std::memory_order_relaxed);
    m_bExclusiveAbort.store(o.m_bExclusiveAbort.load(std::memory_order_relaxed), std::memory_order_relaxed);
    m_bDoStatus = o.m_bDoStatus;
    m_bPumpStatus = o.m_bPumpStatus;
    m_bCompleteStatus = o.m_bCompleteStatus;
    // A copied root stays a root of its own rather than pointing at the original.
    m_pParent = o.m_pParent == &o ? this : o.m_pParent;
    m_pChild = o.m_pChild;
    m_dLastReportTime = o.m_dLastReportTime;
    m_dStepWidth = o.m_dStepWidth;
    m_nLocation = o.m_nLocation;
    m_nWidth = o.m_nWidth;
    m_nCurrentStep = o.m_nCurrentStep;
    m_nProgress = o.m_nProgress;
    m_nProgressRange = o.m_nProgressRange;
    m_nBase = o.m_nBase;
    m_nTotalSteps = o.m_nTotalSteps;
    m_pfnUpdateText = o.m_pfnUpdateText;
    m_pfnUpdateStatus = o.m_pfnUpdateStatus;
    m_pfnAbortCheck = o.m_pfnAbortCheck;
    m_pfnRemoveStatus = o.m_pfnRemoveStatus;
    m_pfnSDK = o.m_pfnSDK;
    m_pfnInterrupt = o.m_pfnInterrupt;
    m_pSDKContext[0] = o.m_pSDKContext[0];
    m_pSDKContext[1] = o.m_pSDKContext[1];
    m_pThread = o.m_pThread;
}

void CStatusControl::Reset(bool all) {
    if (m_pParent == this) {
        m_nWidth = 100;
        m_nBase = 0;
        m_nProgressRange = 100;
        m_nLocation = 0;
        m_bAborted.store(0, std::memory_order_relaxed);
        m_bExclusiveAbort.store(0, std::memory_order_relaxed);
        m_bDoStatus = 1;
        m_bPumpStatus = 0;
        m_bCompleteStatus = 1;
        delete m_pText;
        m_pText = nullptr;
        if (all) {
            m_pfnUpdateText = nullptr;
            m_pfnUpdateStatus = nullptr;
            m_pfnAbortCheck = nullptr;
            m_pfnRemoveStatus = nullptr;
            m_pfnSDK = nullptr;
            m_pThread = nullptr;
            m_pfnInterrupt = nullptr;
        }
    } else {
        CStatusControl* p = m_pParent;
        m_nWidth = static_cast<int32_t>(p->m_dStepWidth);
        m_nBase = p->m_nBase;
        m_nProgressRange = p->m_nProgressRange;
        m_nLocation = p->m_nLocation;
        m_bDoStatus = p->m_bDoStatus;
        m_bCompleteStatus = p->m_bCompleteStatus;
        m_bPumpStatus = p->m_bPumpStatus;
        m_bExclusiveAbort.store(p->m_bExclusiveAbort.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_pSDKContext[0] = p->m_pSDKContext[0];
        m_pSDKContext[1] = p->m_pSDKContext[1];
        m_bAborted.store(p->AbortCheck(), std::memory_order_relaxed);
        if (all) {
            m_pfnUpdateText = p->m_pfnUpdateText;
            m_pfnUpdateStatus = p->m_pfnUpdateStatus;
            m_pfnAbortCheck = p->m_pfnAbortCheck;
            m_pfnRemoveStatus = p->m_pfnRemoveStatus;
            m_pfnSDK = p->m_pfnSDK;
            m_pThread = p->m_pThread;
            m_pfnInterrupt = p->m_pfnInterrupt;
        }
        p->m_pChild = this;
    }
    m_dLastReportTime = 0;
    m_nProgress = 0;
    m_nCurrentStep = 0;
    m_pChild = nullptr;
    m_bAbortRequested.store(0, std::memory_order_relaxed);
    m_nTotalSteps = 1;
    m_dStepWidth = m_nWidth;
    m_bEscToggle = 0;
    m_bEscTextShown = 1;
}

void CStatusControl::SetNumberOfSteps(int steps) {
    m_nTotalSteps = std::max(1, steps);
    m_dStepWidth = static_cast<double>(m_nWidth) / m_nTotalSteps;
}

// The base moves by whole percents of the step boundaries so that rounding
// never accumulates over many steps.
void CStatusControl::MoveStep(int newStep) {
    m_nProgress = 0;
    m_nBase = m_nBase - Trunc(m_nCurrentStep * m_dStepWidth) + Trunc(newStep * m_dStepWidth);
    m_nCurrentStep = newStep;
}

void CStatusControl::NextStep() { MoveStep(m_nCurrentStep + 1); }
void CStatusControl::NextStep(int step) { MoveStep(step + 1); }
void CStatusControl::SetStep(int step) { MoveStep(step); }

uint32_t CStatusControl::GetCurrentStatusLocation() {
    if (m_nProgressRange != 0) {
        uint64_t loc = static_cast<uint64_t>(static_cast<uint32_t>(Trunc(m_dStepWidth))) * m_nProgress /
                           m_nProgressRange +
                       static_cast<uint32_t>(m_nBase);
        m_nLocation = static_cast<uint32_t>(std::min<uint64_t>(100, loc));
    }
    return m_nLocation;
}

bool CStatusControl::SetProgress(uint64_t value) {
    {
        CCriticalSectionLock lock(&StatusLock());
        m_nProgress = value;
        Report();
    }
    return AbortCheck();
}

bool CStatusControl::IncrementProgress(uint64_t delta) {
    {
        CCriticalSectionLock lock(&StatusLock());
        m_nProgress += delta;
        Report();
    }
    return AbortCheck();
}

void CStatusControl::Report() {
    const double now = QPlatform_GetTimeSeconds();
    if (now - m_dLastReportTime < kReportInterval) return;
    m_dLastReportTime = now;
    const uint32_t before = m_nLocation;
    if (GetCurrentStatusLocation() == before) return;
    if (m_pfnSDK) {
        if (!m_pfnSDK(m_nLocation, m_pSDKContext[0], m_pSDKContext[1])) Cancel();
        return;
    }
    if (!m_bDoStatus) return;
    if (m_pThread) {
        m_pThread->PostStatusMessage(QGDI_STATUS_MSG_PROGRESS, this);
        return;
    }
    if (m_pfnUpdateStatus && QPlatform_IsMainUIThread() && m_pfnUpdateStatus(this) == 0) Cancel();
}

bool CStatusControl::CheckCancel(bool shared) {
    // With exclusive abort only the owner of the exclusive request may see the
    // cancellation; shared checks pass unless an SDK host decides.
    const bool masked = shared && m_bExclusiveAbort.load(std::memory_order_relaxed) && !m_pfnSDK;
    if (!m_bAborted.load(std::memory_order_relaxed)) {
        if (masked) return false;
        bool cancel = m_pThread && m_pThread->CheckAbort();
        if (!cancel && m_pfnAbortCheck) cancel = m_pfnAbortCheck(this) != 0;
        if (cancel || m_bAbortRequested.load(std::memory_order_relaxed)) Cancel();
    }
    return masked ? false : m_bAborted.load(std::memory_order_relaxed) != 0;
}

void CStatusControl::Cancel() {
    if (m_bAborted.load(std::memory_order_relaxed)) return;
    for (CStatusControl* s = this;;) {
        s->m_bAborted.store(1, std::memory_order_relaxed);
        for (CStatusControl* c = s->m_pChild; c && c != s; c = c->m_pChild)
            c->m_bAborted.store(1, std::memory_order_relaxed);
        if (s->m_pParent == s) break;
        s = s->m_pParent;
        if (s->m_bAborted.load(std::memory_order_relaxed)) break;
    }
}

bool CStatusControl::SetExclusiveAbort(bool on) noexcept {
    if (on && m_bExclusiveAbort.load(std::memory_order_relaxed)) return false;
    m_bExclusiveAbort.store(on, std::memory_order_relaxed);
    return true;
}

void CStatusControl::SetText(const wchar_t* format, ...) {
    if (m_pfnSDK) return;
    va_list args;
    va_start(args, format);
    std::wstring* text = FormatText(format, args);
    va_end(args);
    if (m_pThread) {
        delete m_pText;
        m_pText = text;
        m_pThread->PostStatusMessage(QGDI_STATUS_MSG_TEXT, this);
        return;
    }
    if (m_pfnUpdateText) m_pfnUpdateText(this, text ? text->c_str() : nullptr);
    delete text;
}

void CStatusControl::ToggleEscText(bool show) {
    if (m_pfnSDK || !m_pfnUpdateText) return;
    m_bEscTextShown = show;
    m_bEscToggle = 1;
    m_pfnUpdateText(this, nullptr);
    m_bEscToggle = 0;
}

CStatusControl* CStatusControl::GetParent() noexcept {
    CStatusControl* s = this;
    while (s->m_pParent != s) s = s->m_pParent;
    return s;
}

CStatusControl* CStatusControl::GetChild() noexcept {
    CStatusControl* s = this;
    while (s->m_pChild && s->m_pChild != s) s = s->m_pChild;
    return s;
}
