#pragma once
// Progress and cancellation of long operations. A status maps its own 0..range
// progress into its share of the overall 0..100; nested statuses divide the
// share of the parent's current step. Progress is throttled, forwarded to the
// host's callbacks (on the main UI thread), to an SDK callback, or posted to a
// worker-thread sink; cancellation spreads through the whole nest.
#include <atomic>
#include <cstdint>
#include <string>

#include "qgdi_export.h"

class CStatusControl;

// Messages posted to a thread sink.
constexpr uint32_t QGDI_STATUS_MSG_TEXT = 1394;
constexpr uint32_t QGDI_STATUS_MSG_PROGRESS = 1395;

// A worker thread that shows progress on behalf of the operations it runs.
class QGDI_API VCoreThread {
public:
    virtual ~VCoreThread();
    // Receives QGDI_STATUS_MSG_TEXT (the text is GetText() of the status) or
    // QGDI_STATUS_MSG_PROGRESS (GetCurrentStatusLocation()).
    virtual void PostStatusMessage(uint32_t message, CStatusControl* status) = 0;
    // True when the user asked to cancel.
    virtual bool CheckAbort() = 0;
};

using QStatusUpdateTextFn = void (*)(CStatusControl* status, const wchar_t* text);
using QStatusUpdateFn = int (*)(CStatusControl* status);      // nonzero: go on
using QStatusAbortCheckFn = int (*)(CStatusControl* status);  // nonzero: cancel
using QStatusRemoveFn = int (*)(CStatusControl* status, bool);
using QStatusSDKFn = bool (*)(uint32_t percent, void* context1, void* context2);  // false: cancel
using QStatusInterruptFn = int (*)(CStatusControl* status);

class QGDI_API CStatusControl {
public:
    // Without a parent the status is a root and its own parent.
    explicit CStatusControl(CStatusControl* parent = nullptr);
    // A nested status moves its parent to the next step.
    ~CStatusControl();
    CStatusControl(const CStatusControl& other);
    CStatusControl& operator=(const CStatusControl& other);

    void Reset(bool all = true);

    void SetNumberOfSteps(int steps);
    void NextStep();
    void NextStep(int step);
    void SetStep(int step);
    int GetCurrentStep() const noexcept { return m_nCurrentStep; }
    int GetTotalSteps() const noexcept { return m_nTotalSteps; }
    int GetStatusWidth() const noexcept { return static_cast<int>(m_dStepWidth); }

    void SetProgressRange(uint64_t range) noexcept { m_nProgressRange = range; }
    uint64_t GetProgressRange() const noexcept { return m_nProgressRange; }
    uint64_t GetProgress() const noexcept { return m_nProgress; }
    // Both return true when the operation must stop.
    bool SetProgress(uint64_t value);
    bool IncrementProgress(uint64_t delta = 1);
    uint32_t GetCurrentStatusLocation();

    bool AbortCheck() { return CheckCancel(true); }
    bool ExclusiveAbortCheck() { return CheckCancel(false); }
    bool AbortRequested() const noexcept { return m_bAbortRequested.load(std::memory_order_relaxed) != 0; }
    void SetAbortRequested(bool requested) noexcept { m_bAbortRequested.store(requested, std::memory_order_relaxed); }
    bool IsAborted() const noexcept { return m_bAborted.load(std::memory_order_relaxed) != 0; }
    // Fails when exclusive abort is already on and `on` asks for it again.
    bool SetExclusiveAbort(bool on) noexcept;
    bool IsExclusiveAbort() const noexcept { return m_bExclusiveAbort.load(std::memory_order_relaxed) != 0; }

    // printf-style text for the host (or the thread sink).
    void SetText(const wchar_t* format, ...);
    const wchar_t* GetText() const noexcept { return m_pText ? m_pText->c_str() : nullptr; }
    void ToggleEscText(bool show);
    bool IsEscTextShown() const noexcept { return m_bEscTextShown != 0; }
    bool IsEscTextToggling() const noexcept { return m_bEscToggle != 0; }

    CStatusControl* GetParent() noexcept;  // the root
    CStatusControl* GetChild() noexcept;   // the innermost open nested status, or this
    CStatusControl* GetDirectParent() const noexcept { return m_pParent; }
    CStatusControl* GetDirectChild() const noexcept { return m_pChild; }
    void SetParent(CStatusControl* parent) noexcept {
        if (parent) m_pParent = parent;
    }
    void ClearParent() noexcept { m_pParent = this; }
    void SetChild(CStatusControl* child) noexcept { m_pChild = child; }
    bool IsRoot() const noexcept { return m_pParent == this; }

    void SetUpdateTextCallback(QStatusUpdateTextFn fn) noexcept { m_pfnUpdateText = fn; }
    QStatusUpdateTextFn GetUpdateTextCallback() const noexcept { return m_pfnUpdateText; }
    void SetUpdateStatusCallback(QStatusUpdateFn fn) noexcept { m_pfnUpdateStatus = fn; }
    QStatusUpdateFn GetUpdateStatusCallback() const noexcept { return m_pfnUpdateStatus; }
    void SetAbortCheckCallback(QStatusAbortCheckFn fn) noexcept { m_pfnAbortCheck = fn; }
    QStatusAbortCheckFn GetAbortCheckCallback() const noexcept { return m_pfnAbortCheck; }
    void SetRemoveStatusCallback(QStatusRemoveFn fn) noexcept { m_pfnRemoveStatus = fn; }
    QStatusRemoveFn GetRemoveStatusCallback() const noexcept { return m_pfnRemoveStatus; }
    void SetGetDWZPInterruptCallback(QStatusInterruptFn fn) noexcept { m_pfnInterrupt = fn; }
    QStatusInterruptFn GetGetDWZPInterruptCallback() const noexcept { return m_pfnInterrupt; }
    int GetDWZPInterrupt() { return m_pfnInterrupt ? m_pfnInterrupt(this) : 0; }
    bool DWZPInterruptExist() const noexcept { return m_pfnInterrupt != nullptr; }
    void SetSDKCallback(QStatusSDKFn fn, void* context1, void* context2) noexcept {
        m_pfnSDK = fn;
        m_pSDKContext[0] = context1;
        m_pSDKContext[1] = context2;
    }
    QStatusSDKFn GetSDKCallback() const noexcept { return m_pfnSDK; }
    void SetClearVThread(VCoreThread* sink) noexcept { m_pThread = sink; }
    VCoreThread* GetVThread() const noexcept { return m_pThread; }

    void SetDoStatus(bool on) noexcept { m_bDoStatus = on; }
    bool DoStatus() const noexcept { return m_bDoStatus != 0; }
    void SetPumpStatusMessages(bool on) noexcept { m_bPumpStatus = on; }
    bool PumpStatusMessages() const noexcept { return m_bPumpStatus != 0; }
    void SetCompleteStatus(bool on) noexcept { m_bCompleteStatus = on; }
    bool CompleteStatus() const noexcept { return m_bCompleteStatus != 0; }

    // The library-wide lock of progress updates. CreateCS also makes the calling
    // thread the main UI thread unless the host registered one explicitly
    // (QPlatform_SetMainUIThread). Calls nest; the lock exists from load to unload,
    // so a status used before CreateCS is still safe.
    static void CreateCS();
    static void DeleteCS();
    static bool IsCSCreated() noexcept;

private:
    void Report();
    bool CheckCancel(bool shared);
    void Cancel();
    void MoveStep(int newStep);
    void CopyFields(const CStatusControl& other);

    uint8_t m_bEscToggle = 0;
    uint8_t m_bEscTextShown = 1;
    std::wstring* m_pText = nullptr;
    std::atomic<uint8_t> m_bAbortRequested{0};
    std::atomic<uint8_t> m_bAborted{0};
    std::atomic<uint8_t> m_bExclusiveAbort{0};
    uint8_t m_bDoStatus = 1;
    uint8_t m_bPumpStatus = 0;
    uint8_t m_bCompleteStatus = 1;
    CStatusControl* m_pParent = this;
    CStatusControl* m_pChild = nullptr;
    double m_dLastReportTime = 0;
    double m_dStepWidth = 100;
    uint32_t m_nLocation = 0;
    int32_t m_nWidth = 100;
    int32_t m_nCurrentStep = 0;
    uint64_t m_nProgress = 0;
    uint64_t m_nProgressRange = 100;
    int32_t m_nBase = 0;
    int32_t m_nTotalSteps = 1;
    QStatusUpdateTextFn m_pfnUpdateText = nullptr;
    QStatusUpdateFn m_pfnUpdateStatus = nullptr;
    QStatusAbortCheckFn m_pfnAbortCheck = nullptr;
    QStatusRemoveFn m_pfnRemoveStatus = nullptr;
    QStatusSDKFn m_pfnSDK = nullptr;
    QStatusInterruptFn m_pfnInterrupt = nullptr;
    void* m_pSDKContext[2] = {nullptr, nullptr};
    VCoreThread* m_pThread = nullptr;
};
