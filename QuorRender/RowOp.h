#pragma once
// Row operations. A definition (CRowOpDef) says what to do; it is bound once
// into a CRowOp for a pair of pixel formats, which then runs its kernel on row
// after row, each described by a CRowOpData. Kernels live in per-kind
// dictionaries; a pair without a kernel of its own is served through an
// intermediate format, and a pair that cannot be served at all binds to a
// kernel that does nothing.
#include <cstdint>
#include <memory>
#include <string>

#include "QuorRender/RowOpKinds.h"
#include "platform/windef.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

// The kinds of row operation, one per line of QuorRender/RowOpKinds.h.
enum EQRowOpType : int32_t {
    QGDI_ROWOP_KIND_LIST(QGDI_ROWOP_KIND_ENUMERATOR, QGDI_ROWOP_KIND_ENUMERATOR, QGDI_ROWOP_KIND_SKIP)
};

// "keRoNOP" ... for the named kinds, "Unknown" for every other value.
QGDI_API const char* QGDI_GetRowOpTypeName(int type) noexcept;

// Which kernel variant a binding asks for.
enum EQCPURequest : int32_t {
    keCPURequestPlain = 0,     // the plain kernel only
    keCPURequestSpecific = 1,  // the processor-specific kernel only
    keCPURequestBest = 2,      // the specific kernel when the processor mode allows it, else the plain one
};

// Variant field of a dictionary entry.
enum EQRowOpVariant : int32_t {
    keRoVariantPlain = 0,
    keRoVariantSpecific = 1,
};

// Library-wide processor mode read by UseMMX(): 1 uses processor-specific
// kernels, 2 detects (and detection answers no), anything else does not use them.
enum EQProcessorMode : int32_t {
    keProcessorModeOff = 0,
    keProcessorModeOn = 1,
    keProcessorModeDetect = 2,
};
QGDI_API void QGDI_SetProcessorMode(int mode) noexcept;
QGDI_API int QGDI_GetProcessorMode() noexcept;
QGDI_API bool UseMMX() noexcept;

class CRowOp;
class CRowOpDef;
class CRowOpPrepared;

// One row as a kernel sees it. Rows of the 1- and 4-bit formats start at the
// most significant bits of their first byte.
class QGDI_API CRowOpData {
public:
    EQPixelFormat eDstFormat = keFormatNone;
    int32_t nCount = 0;  // pixels to process
    uint8_t* pDst = nullptr;
    int32_t nDstPaletteCount = 0;
    const RGBQUAD* pDstPalette = nullptr;
    int32_t x = 0;  // image position of the first pixel
    int32_t y = 0;
    int32_t nImageWidth = 0;
    int32_t nImageHeight = 0;
    EQPixelFormat eSrcFormat = keFormatNone;  // keFormatNone: no source row
    const uint8_t* pSrc = nullptr;
    int32_t nSrcPaletteCount = 0;
    const RGBQUAD* pSrcPalette = nullptr;
    const uint8_t* pMask = nullptr;  // optional, one byte of coverage per pixel
    int32_t nRowCounter = 0;         // rows processed so far by the applying loop
    // What the bound operation prepared for its kernel; set by CRowOp for the
    // length of one run and put back afterwards, so that a record never keeps
    // a block alive past its binding. Kernels called without it (or with a
    // block made for another binding) prepare the same state on the spot.
    const CRowOpPrepared* pPrepared = nullptr;
};

// A kernel processes the whole span of one row.
using QRowOpFn = void (*)(const CRowOpDef& def, CRowOpData& data);

struct SRowOpDictEntry {
    int32_t nDstFormat;
    int32_t nSrcFormat;  // keFormatNone for kinds without a source
    int32_t nVariant;    // EQRowOpVariant
    QRowOpFn pfnKernel;  // null ends the dictionary
};

// The kernel that leaves its row untouched.
QGDI_API void QGDI_RowOpNOP(const CRowOpDef& def, CRowOpData& data);

// Finds the kernel for a format pair. Among matching entries a later one
// replaces an earlier one of the same variant; the request then picks the
// variant. No match gives QGDI_RowOpNOP. With `report` a miss is traced to
// the diagnostic channel.
QGDI_API QRowOpFn RoeLookUpEntry(const SRowOpDictEntry* dict, EQPixelFormat dst, EQPixelFormat src,
                                 EQCPURequest request, bool report);

// State a kernel needs that depends only on the definition and the kernel's
// formats (colours converted to the row's format, fixed-point constants,
// tables), made once when an operation is bound instead of on every row.
// The rule that keeps one CRowOp usable from several threads: a prepared
// block is never written after it is made. A definition changed after binding
// is therefore seen only by a new binding.
class QGDI_API CRowOpPrepared {
public:
    CRowOpPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src) noexcept
        : m_pDef(&def), m_eDst(dst), m_eSrc(src) {}
    virtual ~CRowOpPrepared();
    CRowOpPrepared(const CRowOpPrepared&) = delete;
    CRowOpPrepared& operator=(const CRowOpPrepared&) = delete;

    // Whether this block was made for `def` with these kernel formats (a
    // definition prepares one block type, so this also names the type).
    bool IsFor(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src) const noexcept {
        return m_pDef == &def && m_eDst == dst && m_eSrc == src;
    }

private:
    const CRowOpDef* m_pDef;
    EQPixelFormat m_eDst;
    EQPixelFormat m_eSrc;
};

// Base of all row-operation definitions.
class QGDI_API CRowOpDef {
public:
    virtual ~CRowOpDef();
    // A new copy of the definition, owned by the caller.
    virtual CRowOpDef* Copy() const = 0;
    // Stores this definition and the kernel Find gives for the data's formats
    // into `op` (the no-op kernel standing for a failed search).
    virtual bool Attach(CRowOp& op, const CRowOpData& data, EQCPURequest request, bool report) const;
    virtual void Detach(CRowOp& op) const;
    virtual QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const = 0;
    // The kernel a binding through an intermediate format uses: Find's,
    // unless a kind reaches some kernels only through its own Attach.
    virtual QRowOpFn FindForBinding(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
        return Find(dst, src, request, report);
    }
    // The block the kernel for `dst` and `src` reads (null: it needs none),
    // made by the kind whose dictionary holds that kernel. Called once per
    // binding; a std::bad_alloc it throws is caught by the binding, and the
    // kernel then prepares on every call.
    virtual std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const;

    EQRowOpType GetType() const noexcept { return m_eType; }
    const char* GetTypeName() const noexcept { return QGDI_GetRowOpTypeName(m_eType); }
    // Whether a pair without a kernel may be served through an intermediate format.
    bool AllowsConversion() const noexcept { return m_bAllowConversion; }
    void SetAllowConversion(bool allow) noexcept { m_bAllowConversion = allow; }

protected:
    explicit CRowOpDef(EQRowOpType type, bool allowConversion = true) noexcept
        : m_eType(type), m_bAllowConversion(allowConversion) {}
    CRowOpDef(const CRowOpDef&) = default;
    CRowOpDef& operator=(const CRowOpDef&) = default;

private:
    EQRowOpType m_eType;
    bool m_bAllowConversion;
};

// A definition bound to a pair of formats. Applying it changes nothing in the
// object, so one CRowOp may serve different rows from several threads. The
// definition is referred to, not copied: it must outlive the binding. Copies
// share the prepared block. Rows that need an intermediate buffer (converted
// or widened) take it from the calling thread's scratch arena, so that the
// hot path does not allocate once the arena has grown to the widest row.
class QGDI_API CRowOp {
public:
    CRowOp() noexcept = default;
    // `report` sends a pair that ends on the no-op kernel to the diagnostic
    // channel as a "Missing Row Operation".
    CRowOp(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request = keCPURequestBest, bool report = false);
    virtual ~CRowOp();
    CRowOp(const CRowOp&) = default;
    CRowOp& operator=(const CRowOp&) = default;

    // False only without a definition; a pair without any kernel binds to the no-op.
    bool Attach(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request = keCPURequestBest,
                bool report = false);
    void Detach() noexcept;
    bool IsAttached() const noexcept { return m_pDef != nullptr; }
    bool IsNOP() const noexcept { return m_pfnKernel == nullptr || m_pfnKernel == &QGDI_RowOpNOP; }
    bool IsConverted() const noexcept { return m_bConverted || IsWidened(); }
    // The format the kernel works in when converted; 1- and 4-bit rows served
    // by an 8-bit index kernel report keFormatIndex8.
    EQPixelFormat GetIntermediateFormat() const noexcept {
        return m_bConverted ? m_eIntermediate : IsWidened() ? keFormatIndex8 : keFormatNone;
    }
    const CRowOpDef* GetDef() const noexcept { return m_pDef; }
    QRowOpFn GetKernel() const noexcept { return m_pfnKernel; }
    // The block the kernel reads, or null for kinds with nothing to prepare.
    const CRowOpPrepared* GetPrepared() const noexcept { return m_pPrepared.get(); }

    // Runs the bound kernel on one row; rows without pixels are skipped. A row
    // whose scratch memory cannot be had is left as it was and logged; Run
    // says so to its caller instead.
    void operator()(CRowOpData& data) const;
    // The same, with 102 when the row was left unchanged for want of memory.
    CErrorAutoThrow Run(CRowOpData& data) const;
    // Run's code without a result object, for loops in which nothing may throw.
    QuorErrorCode RunCode(CRowOpData& data) const noexcept;

    // A short run (a rasteriser's span: typically 1 to 32 pixels) at one
    // coverage: 255 runs the kernel plainly, 0 leaves the row alone, anything
    // between gives exactly what a mask of that byte everywhere gives. The
    // data's own mask is not used. No allocation and no set-up per call.
    CErrorAutoThrow Span(CRowOpData& data, uint8_t coverage) const;
    // A short run through a coverage mask of data.nCount bytes, stored into
    // data.pMask (null: full coverage).
    CErrorAutoThrow SpanMasked(CRowOpData& data, const uint8_t* mask) const;

    // For CRowOpDef::Attach and its overrides.
    void SetKernel(const CRowOpDef* def, QRowOpFn kernel) noexcept;

private:
    bool IsWidened() const noexcept { return m_eWidenedDst != keFormatNone || m_eWidenedSrc != keFormatNone; }
    void RunConverted(CRowOpData& data, uint8_t* scratch) const noexcept;
    void RunWidened(CRowOpData& data, uint8_t* scratch) const noexcept;
    void RunBound(CRowOpData& data, uint8_t* scratch) const noexcept;
    bool Bind(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request, bool report);
    bool BindThrough(EQPixelFormat intermediate, const CRowOpData& data, EQCPURequest request);
    bool BindWidened(const CRowOpDef* def, const CRowOpData& data, EQCPURequest request);
    void Prepare(const CRowOpData& data);

    const CRowOpDef* m_pDef = nullptr;
    QRowOpFn m_pfnKernel = nullptr;
    bool m_bConverted = false;
    EQPixelFormat m_eIntermediate = keFormatNone;
    QRowOpFn m_pfnSrcToIntermediate = nullptr;
    QRowOpFn m_pfnDstToIntermediate = nullptr;
    QRowOpFn m_pfnIntermediateToDst = nullptr;
    // 1- and 4-bit sides that are unpacked to 8-bit indices around the kernel
    // (keFormatNone when the side is used as it is).
    EQPixelFormat m_eWidenedDst = keFormatNone;
    EQPixelFormat m_eWidenedSrc = keFormatNone;
    QRowOpFn m_pfnUnpackDst = nullptr;
    QRowOpFn m_pfnUnpackSrc = nullptr;
    // The formats the kernel itself sees, and what was prepared for them.
    EQPixelFormat m_eKernelDst = keFormatNone;
    EQPixelFormat m_eKernelSrc = keFormatNone;
    std::shared_ptr<const CRowOpPrepared> m_pPrepared;
    // Scratch bytes one pixel needs on the converted and widened paths (0: none).
    uint32_t m_nScratchPerPixel = 0;
};

// The text of the "Missing Row Operation" diagnostic: "Type = %s\nDst = %s\nSrc = %s".
QGDI_API std::string QGDI_MissingRowOpText(int type, EQPixelFormat dst, EQPixelFormat src);

// A kind whose kernels all come from one dictionary: copying and finding
// are the same for every such kind and are written once here.
template <class Derived, const SRowOpDictEntry* (*kGetDict)() noexcept>
class TRowOpDefKind : public CRowOpDef {
public:
    CRowOpDef* Copy() const override { return new Derived(static_cast<const Derived&>(*this)); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override {
        return RoeLookUpEntry(kGetDict(), dst, src, request, report);
    }

protected:
    using CRowOpDef::CRowOpDef;
};

QGDI_API const SRowOpDictEntry* GetNOPDict() noexcept;

// The row-operation kind that does nothing.
class QGDI_API CRowOpDefNOP : public TRowOpDefKind<CRowOpDefNOP, GetNOPDict> {
public:
    CRowOpDefNOP() noexcept : TRowOpDefKind(keRoNOP, false) {}
};
