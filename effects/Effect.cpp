#include "effects/Effect.h"

#include <algorithm>
#include <new>
#include <sstream>
#include <unordered_set>

#include "qdibcore/Source/RowIteratorFunctions.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "diagnostics/Profile.h"

CIoEffect::CIoEffect() noexcept : CImageOp(keIoEffect) {}

CIoEffect::~CIoEffect() {
    for (SIoEffectNode* node = m_pFirst; node;) {
        SIoEffectNode* next = node->pNext;
        FreeImage(*node);
        if (node->bOwnsOp) delete node->pOp;
        delete node;
        node = next;
    }
}

void CIoEffect::FreeImage(SIoEffectNode& node) noexcept {
    delete node.pImage;
    node.pImage = nullptr;
    node.rcWritten = {0, 0, 0, 0};
}

SIoEffectNode* CIoEffect::Find(int id) const noexcept {
    for (SIoEffectNode* node = m_pFirst; node; node = node->pNext)
        if (node->nId == id) return node;
    return nullptr;
}

int CIoEffect::GetNodeCount() const noexcept {
    int n = 0;
    for (const SIoEffectNode* node = m_pFirst; node; node = node->pNext) ++n;
    return n;
}

bool CIoEffect::AddImageOp(CImageOp* op, bool owned, int id, int in1, int in2) {
    if (id == keEffectNone) return false;
    auto* record = new (std::nothrow) SIoEffectNode;
    if (!record) return false;
    record->bOwnsOp = owned ? 1 : 0;
    record->bCache = m_bCache ? 1 : 0;
    record->nId = id;
    record->nIn1 = in1;
    record->nIn2 = in2;
    record->pOp = op;
    m_bLinksResolved = false;

    SIoEffectNode* prev = nullptr;
    SIoEffectNode* old = m_pFirst;
    while (old && old->nId != id) prev = old, old = old->pNext;
    if (old) {
        record->pNext = old->pNext;
        (prev ? prev->pNext : m_pFirst) = record;
        if (m_pLast == old) m_pLast = record;
        if (m_pResult == old) m_pResult = record;
        // Links of other nodes to the old record are stale now; they are
        // found again on the next resolution.
        for (SIoEffectNode* n = m_pFirst; n; n = n->pNext) {
            if (n->pIn1 == old) n->pIn1 = record;
            if (n->pIn2 == old) n->pIn2 = record;
        }
        FreeImage(*old);
        if (old->bOwnsOp && old->pOp != op) delete old->pOp;
        delete old;
        Invalidate(id);
        return true;
    }
    (m_pLast ? m_pLast->pNext : m_pFirst) = record;
    m_pLast = record;
    m_pResult = nullptr;
    if (id >= 0) m_nResultId = id;
    return true;
}

SIoEffectNode* CIoEffect::FindOrCreateStock(int id) {
    if (SIoEffectNode* node = Find(id)) return node;
    if (id < keEffectBackgroundAlpha || id > keEffectSourceGraphic) return nullptr;
    auto* record = new (std::nothrow) SIoEffectNode;
    if (!record) return nullptr;
    record->nId = id;
    record->bCache = m_bCache ? 1 : 0;
    (m_pLast ? m_pLast->pNext : m_pFirst) = record;
    m_pLast = record;
    return record;
}

void CIoEffect::CountUsers() noexcept {
    for (SIoEffectNode* node = m_pFirst; node; node = node->pNext) node->nUsers = 0;
    for (SIoEffectNode* node = m_pFirst; node; node = node->pNext) {
        if (node->pIn1) ++node->pIn1->nUsers;
        if (node->pIn2) ++node->pIn2->nUsers;
    }
}

bool CIoEffect::ReachesItself(const SIoEffectNode* start) const {
    // Depth first over the inputs, each node visited once, so that wide
    // diamonds of shared inputs stay linear.
    std::vector<const SIoEffectNode*> stack;
    std::unordered_set<const SIoEffectNode*> seen;
    for (const SIoEffectNode* in : {start->pIn1, start->pIn2})
        if (in) stack.push_back(in);
    while (!stack.empty()) {
        const SIoEffectNode* node = stack.back();
        stack.pop_back();
        if (node->nId == start->nId) return true;
        if (!seen.insert(node).second) continue;
        for (const SIoEffectNode* in : {node->pIn1, node->pIn2})
            if (in) stack.push_back(in);
    }
    return false;
}

bool CIoEffect::ResolveLinks() {
    if (m_bLinksResolved) return true;
    try {
        for (SIoEffectNode* node = m_pFirst; node; node = node->pNext) {
            node->pIn1 = node->pIn2 = nullptr;
            node->nUsers = 0;
        }
        // Stock nodes created here are appended, so the loop reaches them too.
        for (SIoEffectNode* node = m_pFirst; node; node = node->pNext) {
            for (int k = 0; k < 2; ++k) {
                const int id = k ? node->nIn2 : node->nIn1;
                if (id == keEffectNone) continue;
                SIoEffectNode* in = FindOrCreateStock(id);
                if (!in) return false;
                ++in->nUsers;
                (k ? node->pIn2 : node->pIn1) = in;
            }
        }
        m_pResult = Find(m_nResultId);
        if (!m_pResult) return false;
        for (const SIoEffectNode* node = m_pFirst; node; node = node->pNext)
            if (ReachesItself(node)) return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_bLinksResolved = true;
    return true;
}

bool CIoEffect::IsValidEffect() { return ResolveLinks(); }

bool CIoEffect::Invalidate(int id) {
    SIoEffectNode* node = Find(id);
    if (!node) return false;
    // Along the chain of first consumers; a visited set ends it should the
    // graph hold a cycle.
    std::unordered_set<const SIoEffectNode*> seen;
    while (node && seen.insert(node).second) {
        FreeImage(*node);
        node->nUsers = 0;
        SIoEffectNode* consumer = m_pFirst;
        while (consumer && consumer->nIn1 != node->nId && consumer->nIn2 != node->nId) consumer = consumer->pNext;
        node = consumer;
    }
    return true;
}

bool CIoEffect::SetCache(bool cache) {
    const bool previous = m_bCache;
    m_bCache = cache;
    for (SIoEffectNode* node = m_pFirst; node; node = node->pNext) node->bCache = cache ? 1 : 0;
    return previous;
}

bool CIoEffect::SetEvaluation(bool all) {
    const bool previous = m_bEvaluateAll;
    m_bEvaluateAll = all;
    return previous;
}

bool CIoEffect::SetSubregion(int id, const SQRECT* subregion) {
    SIoEffectNode* node = Find(id);
    if (!node || !node->pOp) return false;
    node->pOp->SetSubregion(subregion);
    return true;
}

const CRowIterator* CIoEffect::GetNodeImage(int id) const noexcept {
    const SIoEffectNode* node = Find(id);
    return node ? node->pImage : nullptr;
}

std::string CIoEffect::Dump() const {
    std::ostringstream out;
    out << "[MOXx64]\t[DEBUG]\tEffect\tnodes\t" << GetNodeCount() << "\tresult\t" << m_nResultId << "\tresolved\t"
        << (m_bLinksResolved ? 1 : 0) << "\tcache\t" << (m_bCache ? 1 : 0) << "\tevaluate-all\t"
        << (m_bEvaluateAll ? 1 : 0) << "\n";
    for (const SIoEffectNode* node = m_pFirst; node; node = node->pNext) {
        out << "[MOXx64]\t[DEBUG]\tNode\t" << node->nId << "\tin\t" << node->nIn1 << "\t" << node->nIn2 << "\top\t";
        if (node->pOp) out << node->pOp->GetType();
        else out << "-";
        out << "\towned\t" << int(node->bOwnsOp) << "\tcache\t" << int(node->bCache) << "\tusers\t" << node->nUsers
            << "\timage\t";
        if (node->pImage) out << node->pImage->GetWidth() << "x" << node->pImage->GetHeight();
        else out << "-";
        out << (node == m_pResult ? "\tresult" : "") << "\n";
    }
    return out.str();
}

RECT CIoEffect::NodeRect(const SIoEffectNode* node, const RECT& input, int depth) const {
    if (!node || depth > 256) return input;
    const SIoEffectNode* in1 = node->pIn1 ? node->pIn1 : Find(node->nIn1);
    const SIoEffectNode* in2 = node->pIn2 ? node->pIn2 : Find(node->nIn2);
    RECT reach = input;
    if (in1 || in2) {
        const RECT a = in1 ? NodeRect(in1, input, depth + 1) : RECT{0, 0, 0, 0};
        const RECT b = in2 ? NodeRect(in2, input, depth + 1) : a;
        const RECT first = in1 ? a : b;
        reach = {std::min(first.left, b.left), std::min(first.top, b.top), std::max(first.right, b.right),
                 std::max(first.bottom, b.bottom)};
    }
    return node->pOp ? node->pOp->CalculateRectangle(reach, {0, 0}) : reach;
}

RECT CIoEffect::CalculateRectangle(const RECT& input, POINT origin) const {
    const SIoEffectNode* result = m_pResult ? m_pResult : Find(m_nResultId);
    RECT rc = NodeRect(result, input, 0);
    ::OffsetRect(&rc, origin.x, origin.y);
    return rc;
}

double CIoEffect::GetTime(int width, int height) const {
    double total = 0;
    for (const SIoEffectNode* node = m_pFirst; node; node = node->pNext)
        total += node->pOp ? node->pOp->GetTime(width, height) : 1.0 * width * height;
    return total;
}

CErrorAutoThrow CIoEffect::MakeStock(SIoEffectNode& node, const CIoData& data, const RECT& work) {
    const bool background = node.nId == keEffectBackgroundImage || node.nId == keEffectBackgroundAlpha;
    const CRowIterator* from = background ? data.pBackground : data.pSrc;
    if (!from || !from->IsAttached()) return QERR(keQuorErrFailed);
    const bool alpha = node.nId == keEffectSourceAlpha || node.nId == keEffectBackgroundAlpha;
    auto* image = new (std::nothrow) CRowIteratorBands;
    if (!image) return QERR(keQuorErrOutOfMemory);
    const int w = work.right - work.left, h = work.bottom - work.top;
    if (CErrorAutoThrow made = image->CreateCompatible(*from, w, h); made.IsError()) {
        delete image;
        return made;
    }
    FreeImage(node);
    node.pImage = image;
    node.rcWritten = {0, 0, w, h};
    node.bCache = m_bCache ? 1 : 0;
    node.bOwnsOp = 1;
    // The working rectangle in the source's own coordinates, clipped to it.
    RECT in = work;
    ::OffsetRect(&in, -data.ptOrigin.x, -data.ptOrigin.y);
    const RECT clipped = {std::max<int>(in.left, 0), std::max<int>(in.top, 0),
                          std::min<int>(in.right, from->GetWidth()), std::min<int>(in.bottom, from->GetHeight())};
    bool copied = clipped.right > clipped.left && clipped.bottom > clipped.top;
    if (copied) {
        const POINT at = {clipped.left - in.left, clipped.top - in.top};
        copied = !RowIterator_CopyRect(*image, at, *from, &clipped).IsError();
    }
    if (copied && image->GetPixelFormat() != keFormatBGRA) {
        CRowIteratorBands bgra;
        copied = !bgra.CreateFromCopy(*image, nullptr, keFormatBGRA).IsError();
        if (copied) *image = std::move(bgra);
    }
    // A source alpha whose copy failed is left as it is and the run goes on:
    // only the colour images are worth stopping for.
    if (!copied) return alpha ? CErrorAutoThrow() : QERR(keQuorErrFailed);
    if (alpha) RowIterator_ClearRGB(*image).Ignore();
    return {};
}

void CIoEffect::Release(SIoEffectNode* input, const SIoEffectNode& consumer) noexcept {
    if (!input) return;
    if (--input->nUsers == 0 && !input->bCache && !consumer.bCache) FreeImage(*input);
}

CErrorAutoThrow CIoEffect::Compute(SIoEffectNode& node, const CIoData& data, const RECT& work,
                                   CStatusControl* status) {
    if (node.pImage) return {};
    if (!node.pOp) return QERR(keQuorErrFailed);
    if (node.pIn1) QGDI_TRY(Compute(*node.pIn1, data, work, status));
    if (node.pIn2) QGDI_TRY(Compute(*node.pIn2, data, work, status));
    const int w = work.right - work.left, h = work.bottom - work.top;
    const POINT origin = {data.ptOrigin.x - work.left, data.ptOrigin.y - work.top};
    const RECT rect = node.pOp->GetSubregionRect(w, h, origin);
    auto* image = new (std::nothrow) CRowIteratorBands;
    if (!image) return QERR(keQuorErrOutOfMemory);
    const CColorRef clear(0, 0, 0, 0);
    if (CErrorAutoThrow made = image->Create(w, h, keFormatBGRA, &clear); made.IsError()) {
        delete image;
        return made;
    }
    CIoData run;
    run.pDst = image;
    run.pSrc = data.pSrc;
    run.pBackground = data.pBackground;
    run.rcDst = rect;
    run.ptOrigin = origin;
    run.pStatus = status;
    if (node.pIn1) run.SetInput(0, node.pIn1->pImage, &node.pIn1->rcWritten);
    if (node.pIn2) run.SetInput(1, node.pIn2->pImage, &node.pIn2->rcWritten);
    CErrorAutoThrow result = rect.right > rect.left && rect.bottom > rect.top ? node.pOp->Execute(run)
                                                                              : CErrorAutoThrow();
    if (result.IsError()) {
        delete image;
        return result;
    }
    node.pImage = image;
    node.rcWritten = rect;
    Release(node.pIn1, node);
    Release(node.pIn2, node);
    return result;
}

CErrorAutoThrow CIoEffect::Execute(const CIoData& data) {
    QGDI_PROFILE_SCOPE("effect graph");
    if (!ResolveLinks()) return QERR(keQuorErrFailed);
    CountUsers();
    if (!data.pDst || !data.pDst->IsAttached()) return QERR(keQuorErrFailed);
    const RECT work = {std::max<int>(data.rcDst.left, 0), std::max<int>(data.rcDst.top, 0),
                       std::min<int>(data.rcDst.right, data.pDst->GetWidth()),
                       std::min<int>(data.rcDst.bottom, data.pDst->GetHeight())};
    if (work.right <= work.left || work.bottom <= work.top) return QERR(keQuorErrFailed);

    for (int id = keEffectSourceGraphic; id >= keEffectBackgroundAlpha; --id) {
        SIoEffectNode* node = m_bEvaluateAll ? FindOrCreateStock(id) : Find(id);
        if (!node) {
            if (m_bEvaluateAll) return QERR(keQuorErrOutOfMemory);
            continue;
        }
        if (!node->pImage) QGDI_TRY(MakeStock(*node, data, work));
    }
    if (m_bEvaluateAll) {
        // Stock nodes made just now have no links to count.
        m_bLinksResolved = false;
        if (!ResolveLinks()) return QERR(keQuorErrFailed);
        CountUsers();
    }

    int pending = 0;
    for (const SIoEffectNode* node = m_pFirst; node; node = node->pNext) pending += node->pImage ? 0 : 1;
    CStatusControl status(data.pStatus);
    status.SetNumberOfSteps(std::max(pending, 1));
    QGDI_TRY(Compute(*m_pResult, data, work, &status));
    if (m_bEvaluateAll) {
        for (SIoEffectNode* node = m_pFirst; node; node = node->pNext)
            if (!node->pImage) QGDI_TRY(Compute(*node, data, work, &status));
    }
    if (status.AbortCheck()) return QERR(keQuorErrCancelled);

    if (data.pSrc && data.pSrc != data.pDst && data.pSrc->IsAttached()) {
        if (RowIterator_CopyRect(*data.pDst, data.ptOrigin, *data.pSrc).IsError()) return QERR(keQuorErrFailed);
    }
    if (!m_pResult->pImage ||
        RowIterator_CopyRect(*data.pDst, {work.left, work.top}, *m_pResult->pImage).IsError())
        return QERR(keQuorErrFailed);
    return {};
}
