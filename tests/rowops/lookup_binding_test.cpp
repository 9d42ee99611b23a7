// Dictionary lookup, the catalogue's dictionaries, and binding with its
// fallback through intermediate formats.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "QuorRender/internal/RowOpDict.h"
#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;
using qgdi::rowop::KindSamples;
using qgdi::rowop::SKindSample;

void KernelA(const CRowOpDef&, CRowOpData&) {}
void KernelB(const CRowOpDef&, CRowOpData&) {}
void KernelC(const CRowOpDef&, CRowOpData&) {}

class ProcessorMode {
public:
    explicit ProcessorMode(int mode) : m_old(QGDI_GetProcessorMode()) { QGDI_SetProcessorMode(mode); }
    ~ProcessorMode() { QGDI_SetProcessorMode(m_old); }

private:
    int m_old;
};

struct LookupCase {
    const char* name;
    std::vector<SRowOpDictEntry> dict;  // without the terminator
    int processorMode;
    EQCPURequest request;
    QRowOpFn expected;
};

class Lookup : public testing::TestWithParam<LookupCase> {};

TEST_P(Lookup, ChoosesByVariantAndRequest) {
    const LookupCase& c = GetParam();
    std::vector<SRowOpDictEntry> dict = c.dict;
    dict.push_back({keFormatNone, keFormatNone, 0, nullptr});
    ProcessorMode mode(c.processorMode);
    EXPECT_EQ(RoeLookUpEntry(dict.data(), keFormatBGRA, keFormatBGR, c.request, false), c.expected);
}

constexpr EQPixelFormat A = keFormatBGRA, B = keFormatBGR;
const LookupCase kLookupCases[] = {
    {"LaterPlainEntryWins", {{A, B, 0, KernelA}, {A, B, 0, KernelB}}, 0, keCPURequestPlain, KernelB},
    {"OtherPairsIgnored", {{A, B, 0, KernelA}, {B, A, 0, KernelB}, {A, A, 0, KernelC}}, 0, keCPURequestBest, KernelA},
    {"SpecificOnPlainOnlyTableIsNOP", {{A, B, 0, KernelA}}, 1, keCPURequestSpecific, QGDI_RowOpNOP},
    {"DetectModeGivesPlain", {{A, B, 0, KernelA}, {A, B, 1, KernelB}}, 2, keCPURequestBest, KernelA},
    {"ModeOnGivesSpecific", {{A, B, 0, KernelA}, {A, B, 1, KernelB}}, 1, keCPURequestBest, KernelB},
    {"ModeOffGivesPlain", {{A, B, 1, KernelB}, {A, B, 0, KernelA}}, 0, keCPURequestBest, KernelA},
    {"SpecificRequestIgnoresMode", {{A, B, 0, KernelA}, {A, B, 1, KernelB}}, 0, keCPURequestSpecific, KernelB},
    {"PlainRequestSkipsSpecific", {{A, B, 1, KernelB}}, 1, keCPURequestPlain, QGDI_RowOpNOP},
    {"UnknownRequestIsNOP", {{A, B, 0, KernelA}}, 0, static_cast<EQCPURequest>(7), QGDI_RowOpNOP},
    {"NoMatchIsNOP", {{B, B, 0, KernelA}}, 0, keCPURequestBest, QGDI_RowOpNOP},
    {"EmptyTableIsNOP", {}, 0, keCPURequestBest, QGDI_RowOpNOP},
};
INSTANTIATE_TEST_SUITE_P(Rules, Lookup, testing::ValuesIn(kLookupCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Lookup, NullDictionaryIsNOP) {
    EXPECT_EQ(RoeLookUpEntry(nullptr, keFormatBGRA, keFormatNone, keCPURequestBest, true), &QGDI_RowOpNOP);
}

TEST(ProcessorModeTest, DetectionAnswersNoAndStays) {
    for (int mode : {0, 3, -1}) {
        ProcessorMode m(mode);
        EXPECT_FALSE(UseMMX()) << mode;
    }
    ProcessorMode on(1);
    EXPECT_TRUE(UseMMX());
    QGDI_SetProcessorMode(2);
    EXPECT_FALSE(UseMMX());
    EXPECT_FALSE(UseMMX());
}

TEST(RowOpType, DiagnosticNames) {
    const std::pair<int, const char*> names[] = {
        {0, "keRoNOP"},
        {1, "keRoChannelConstant"},
        {7, "keRoChannelLinear"},
        {10, "keRoRowBlend"},
        {11, "Unknown"},
        {12, "keRoRowBlendMox"},
        {16, "keRoRowCopyPalettedWithTransparencyIndex"},
        {24, "keRoRowMask"},
        {31, "keRoRowTurbulence"},
        {32, "Unknown"},
        {33, "keRoHighPass"},
        {34, "Unknown"},
        {-1, "Unknown"},
    };
    for (const auto& [type, name] : names) EXPECT_STREQ(QGDI_GetRowOpTypeName(type), name) << type;
}

// Each dictionary: its stated size, every entry plain and a distinct format pair.
TEST(Catalogue, DictionariesHaveTheirSizesAndNoDuplicates) {
    for (const SKindSample& kind : KindSamples()) {
        const SRowOpDictEntry* dict = kind.getDict();
        ASSERT_EQ(qgdi::rowop::DictSize(dict), kind.entries) << kind.name;
        std::set<std::pair<int, int>> pairs;
        for (size_t i = 0; i < kind.entries; ++i) {
            EXPECT_EQ(dict[i].nVariant, keRoVariantPlain) << kind.name;
            EXPECT_TRUE(pairs.insert({dict[i].nDstFormat, dict[i].nSrcFormat}).second)
                << kind.name << ": duplicate " << dict[i].nDstFormat << " <- " << dict[i].nSrcFormat;
        }
    }
}

// The registry holds each of the dictionaries once (the catalogue's 28 and
// those of the blend modes and compositing operators), and its sample
// definitions are of the kind they are filed under, copies included.
TEST(Catalogue, RegistryListsEveryDictionaryOnceWithItsKind) {
    std::set<const SRowOpDictEntry* (*)() noexcept> getters;
    std::set<std::string> names;
    for (const SKindSample& kind : KindSamples()) {
        EXPECT_TRUE(getters.insert(kind.getDict).second) << kind.name;
        EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
        EXPECT_EQ(qgdi::rowop::FindKindSample(kind.name), &kind);
        const std::unique_ptr<CRowOpDef> def = kind.makeSample();
        ASSERT_TRUE(def) << kind.name;
        EXPECT_EQ(def->GetType(), kind.type) << kind.name;
        EXPECT_STRNE(def->GetTypeName(), "Unknown") << kind.name;
        EXPECT_EQ(std::unique_ptr<CRowOpDef>(def->Copy())->GetType(), kind.type) << kind.name;
    }
    EXPECT_EQ(getters.size(), 30u);
    EXPECT_EQ(qgdi::rowop::FindKindSample("Unknown"), nullptr);
}

// The plain copies join every format to 8-bit BGR and BGRA both ways, which
// is what lets any kind fall back through them.
TEST(Catalogue, EveryFormatMeetsTheEightBitHub) {
    for (int f = keFormatGrey; f <= keFormatBGRxA_f32; ++f)
        for (EQPixelFormat hub : {keFormatBGR, keFormatBGRA}) {
            const auto format = static_cast<EQPixelFormat>(f);
            EXPECT_NE(RoeLookUpEntry(GetRowCopyDict(), hub, format, keCPURequestPlain, false), &QGDI_RowOpNOP) << f;
            EXPECT_NE(RoeLookUpEntry(GetRowCopyDict(), format, hub, keCPURequestPlain, false), &QGDI_RowOpNOP) << f;
        }
}

// A kind whose kernels exist only for the formats it is given.
class CTestDef : public CRowOpDef {
public:
    CTestDef(std::vector<EQPixelFormat> formats, bool withSource, bool allowConversion = true)
        : CRowOpDef(keRoRowFill, allowConversion) {
        for (EQPixelFormat f : formats) m_dict.push_back({f, withSource ? f : keFormatNone, 0, KernelA});
        m_dict.push_back({keFormatNone, keFormatNone, 0, nullptr});
    }
    CRowOpDef* Copy() const override { return new CTestDef(*this); }
    QRowOpFn Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const override {
        return RoeLookUpEntry(m_dict.data(), dst, src, request, report);
    }

private:
    std::vector<SRowOpDictEntry> m_dict;
};

struct BindCase {
    const char* name;
    std::vector<EQPixelFormat> kernels;
    EQPixelFormat dst, src;
    EQPixelFormat expected;  // intermediate; None: direct, Custom: stays the no-op
};

class Binding : public testing::TestWithParam<BindCase> {};

TEST_P(Binding, FallsBackInTheStatedOrder) {
    const BindCase& c = GetParam();
    CTestDef def(c.kernels, c.src != keFormatNone);
    CRowOpData data;
    data.eDstFormat = c.dst;
    data.eSrcFormat = c.src;
    CRowOp op(&def, data);
    ASSERT_TRUE(op.IsAttached());
    if (c.expected == keFormatCustom) {
        EXPECT_TRUE(op.IsNOP());
        EXPECT_FALSE(op.IsConverted());
    } else if (c.expected == keFormatNone) {
        EXPECT_FALSE(op.IsConverted());
        EXPECT_EQ(op.GetKernel(), &KernelA);
    } else {
        EXPECT_TRUE(op.IsConverted());
        EXPECT_EQ(op.GetIntermediateFormat(), c.expected);
    }
}

constexpr EQPixelFormat kAll[] = {keFormatBGR_u16, keFormatBGRA_u16, keFormatBGR, keFormatBGRA};
const BindCase kBindCases[] = {
    {"DirectKernelWins", {keFormatBGR_u16, keFormatGrey_u16}, keFormatGrey_u16, keFormatNone, keFormatNone},
    {"Flat16TriesBGR16First", {std::begin(kAll), std::end(kAll)}, keFormatGrey_u16, keFormatNone, keFormatBGR_u16},
    {"Flat16ThenBGRA16",
     {keFormatBGRA_u16, keFormatBGR, keFormatBGRA},
     keFormatBGR_u16,
     keFormatNone,
     keFormatBGRA_u16},
    {"Flat16ThenBGR", {keFormatBGR, keFormatBGRA}, keFormatBGR_u16, keFormatNone, keFormatBGR},
    {"Flat16ThenBGRA", {keFormatBGRA}, keFormatBGR_u16, keFormatNone, keFormatBGRA},
    {"Alpha16SkipsFlat", {std::begin(kAll), std::end(kAll)}, keFormatGreyA_u16, keFormatNone, keFormatBGRA_u16},
    {"SourceAlphaSkipsFlat", {std::begin(kAll), std::end(kAll)}, keFormatBGR_u16, keFormatBGRA_u16, keFormatBGRA_u16},
    {"EightBitNeverTries16",
     {keFormatBGR_u16, keFormatBGRA_u16, keFormatBGRA},
     keFormatGrey,
     keFormatNone,
     keFormatBGRA},
    {"FloatUsesEightBit", {keFormatBGR_u16, keFormatBGR}, keFormatGrey_f32, keFormatNone, keFormatBGR},
    {"NothingUsableStaysNOP", {keFormatBGR_u16}, keFormatGreyA, keFormatNone, keFormatCustom},
};
INSTANTIATE_TEST_SUITE_P(Order, Binding, testing::ValuesIn(kBindCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Binding, WithoutConversionStaysNOP) {
    CTestDef def({keFormatBGRA}, false, false);
    CRowOpData data;
    data.eDstFormat = keFormatBGR;
    CRowOp op(&def, data);
    EXPECT_TRUE(op.IsNOP());
    EXPECT_FALSE(op.IsConverted());
    EXPECT_FALSE(CRowOp().Attach(nullptr, data));
    CRowOpDefNOP nop;
    data.eDstFormat = keFormatBGRA;
    EXPECT_TRUE(CRowOp(&nop, data).IsNOP());
}

std::vector<std::string> g_lines;
void CaptureLog(EQLogLevel, const char* line, void*) { g_lines.emplace_back(line); }

TEST(Binding, MissingKernelIsReportedWhenAsked) {
    const EQLogLevel level = QGDI_GetLogLevel();
    QGDI_SetLogLevel(keLogWarning);
    QGDI_SetLogSink(CaptureLog, nullptr);
    g_lines.clear();
    // Kodalith works without a source, so no intermediate format can serve one.
    CRowOpDefRowKodalith lith;
    CRowOpData data;
    data.eDstFormat = keFormatGrey;
    data.eSrcFormat = keFormatGrey;
    CRowOp quiet(&lith, data, keCPURequestBest, false);
    CRowOp loud(&lith, data, keCPURequestBest, true);
    QGDI_SetLogSink(nullptr, nullptr);
    QGDI_SetLogLevel(level);
    EXPECT_TRUE(quiet.IsNOP() && loud.IsNOP());
    ASSERT_EQ(g_lines.size(), 1u);
    EXPECT_NE(g_lines[0].find("Missing Row Operation"), std::string::npos);
    EXPECT_NE(g_lines[0].find("keRoRowAdjustMox"), std::string::npos);
    EXPECT_EQ(QGDI_MissingRowOpText(keRoRowFill, keFormatIndex4, keFormatNone),
              "Type = keRoRowFill\nDst = keFormatIndex4\nSrc = keFormatNone");
}

// The converted path must give what the direct kernel gives on an equivalent
// format, so that a missing kernel costs speed, not correctness.
TEST(ConvertedPath, FillOfFloatBGRMatchesDirectFloatBGRA) {
    CRowOpDefRowFill fill(0x80C0FF20u);  // red 0x20, green 0xFF, blue 0xC0
    Bytes viaBGR(5 * 12), direct(5 * 16);
    const CRowOp op = RunOp(fill, keFormatBGR_f32, viaBGR);
    ASSERT_TRUE(op.IsConverted());
    EXPECT_EQ(op.GetIntermediateFormat(), keFormatBGR);
    EXPECT_FALSE(RunOp(fill, keFormatBGRA_f32, direct).IsConverted());
    const auto* a = reinterpret_cast<const float*>(viaBGR.data());
    const auto* b = reinterpret_cast<const float*>(direct.data());
    for (int i = 0; i < 5; ++i)
        for (int c = 0; c < 3; ++c) EXPECT_FLOAT_EQ(a[i * 3 + c], b[i * 4 + c]) << i << "," << c;
}

TEST(ConvertedPath, HighPassOfGreyAlpha16MatchesItsRule) {
    // GreyA_u16 has no kernel of its own and passes through BGRA_u16.
    const uint16_t blurred[] = {1000, 7, 40000, 65535, 65535, 0};
    const uint16_t original[] = {1500, 9, 10000, 3, 0, 65535};
    Bytes dst(sizeof blurred), src(sizeof original);
    std::memcpy(dst.data(), blurred, sizeof blurred);
    std::memcpy(src.data(), original, sizeof original);
    CRowOpDefHighPass hp;
    const CRowOp op = RunOp(hp, keFormatGreyA_u16, dst, keFormatGreyA_u16, &src);
    ASSERT_TRUE(op.IsConverted());
    EXPECT_EQ(op.GetIntermediateFormat(), keFormatBGRA_u16);
    const auto* d = reinterpret_cast<const uint16_t*>(dst.data());
    // grey = clamp(original - blurred + 32768), alpha = the original's
    EXPECT_EQ(d[0], 1500 - 1000 + 32768);
    EXPECT_EQ(d[1], 9);
    EXPECT_EQ(d[2], 10000 - 40000 + 32768);
    EXPECT_EQ(d[3], 3);
    EXPECT_EQ(d[4], 0);
    EXPECT_EQ(d[5], 65535);
}

TEST(ConvertedPath, MaskStillWeighsTheResult) {
    CRowOpDefRowFill fill(0xFFFFFFFFu);
    const Bytes mask = {0, 255, 128};
    Bytes converted(3 * 12, 0), direct(3 * 16, 0);
    ASSERT_TRUE(RunOp(fill, keFormatBGR_f32, converted, keFormatNone, nullptr, &mask).IsConverted());
    RunOp(fill, keFormatBGRA_f32, direct, keFormatNone, nullptr, &mask);
    const auto* a = reinterpret_cast<const float*>(converted.data());
    const auto* b = reinterpret_cast<const float*>(direct.data());
    const float expected[] = {0.0f, 1.0f, 128 / 255.0f};
    for (int i = 0; i < 3; ++i)
        for (int c = 0; c < 3; ++c) {
            EXPECT_FLOAT_EQ(a[i * 3 + c], expected[i]);
            EXPECT_FLOAT_EQ(b[i * 4 + c], expected[i]);
        }
}

}  // namespace
