// The text form of graphs: what it accepts runs like the builder's graph,
// and what it rejects names the line.
#include <gtest/gtest.h>

#include "effect_test_util.h"

using namespace effects_test;

namespace {

TEST(EffectGraphText, BuildsTheSameGraphAsTheBuilder) {
    const auto src = MakeBGRA(30, 20, [](int x, int y) { return uint32_t(40 + 7 * x) << 24 | uint32_t(x * 8) << 16 | uint32_t(y * 12); });
    CIoEffect fromText;
    std::string error;
    ASSERT_TRUE(QGDI_ParseEffectGraph("# shadow\n"
                                      "1 blur source-alpha sigma=2.5   # the blur\n"
                                      "\n"
                                      "2 offset 1 dx=3 dy=-2\n"
                                      "3 composite source 2 op=over subregion=2,2,20,14\n"
                                      "4 specular 3 light=spot x=5 y=4 z=30 tx=15 ty=10 tz=0 exponent=2 cone=40 shine=6\n"
                                      "5 convolve 4 kernel=0,1,0;1,-4,1;0,1,0 divisor=1 edge=wrap alpha=0\n",
                                      fromText, &error))
        << error;
    CIoEffect byHand;
    CIoEffectBuilder b(byHand);
    b(1, keEffectSourceAlpha).GaussianBlur(2.5, 2.5);
    b(2, 1).Offset(3, -2);
    b(3, keEffectSourceGraphic, 2).Composite(keCompositeOver);
    const SQRECT sub = {2, 2, 22, 16};
    byHand.SetSubregion(3, &sub);
    b(4, 3).LightSpecularSpot(CColorRef(255, 255, 255), 5, 4, 30, 15, 10, 0, 2, 40, 6);
    const double k[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
    b(5, 4).ConvolveMatrix(k, 1, keEdgeWrap, keChannelSetAllButAlpha, 3, 3);
    CRowIterator a, c;
    ASSERT_EQ(RunEffect(fromText, *src, a).Ignore(), keQuorErrSuccess);
    ASSERT_EQ(RunEffect(byHand, *src, c).Ignore(), keQuorErrSuccess);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x) ASSERT_EQ(Pixel(a, x, y), Pixel(c, x, y)) << x << "," << y;
}

TEST(EffectGraphText, ErrorsNameTheLine) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"1 blur source\n2 blurr 1\n", "line 2: unknown primitive 'blurr'"},
        {"\n\n1 blur source sigma=abc\n", "line 3: sigma takes a number"},
        {"x blur source\n", "line 1: a node starts with its number"},
        {"-1 invert source\n", "line 1: a node starts with its number"},
        {"1\n", "line 1: node 1 names no primitive"},
        {"1 composite source\n", "line 1: composite takes 2 input(s)"},
        {"1 invert source 2 3\n", "line 1: a node has at most two inputs"},
        {"1 invert elsewhere\n", "line 1: unknown input 'elsewhere'"},
        {"1 invert source colour=#ff0000\n", "line 1: unknown parameter 'colour' for invert"},
        {"1 blur source sigma=1 sigma=2\n", "line 1: parameter 'sigma' given twice"},
        {"1 matrix source values=1,2,3\n", "line 1: values takes 20 numbers"},
        {"1 composite source source op=sideways\n", "line 1: unknown composite operator 'sideways'"},
        {"1 diffuse source light=laser\n", "line 1: light is distant, point or spot"},
        {"1 chrome source colour=red\n", "line 1: colour takes a colour as #rrggbb"},
        {"1 convolve source kernel=1,2;3\n", "line 1: kernel takes rows of equal length"},
        {"1 blur source subregion=1,2,3\n", "line 1: subregion takes 4 numbers"},
        {"1 turbulence octaves=2.5\n", "line 1: octaves takes a whole number"},
    };
    for (const auto& c : cases) {
        CIoEffect fx;
        std::string error;
        EXPECT_FALSE(QGDI_ParseEffectGraph(c.text, fx, &error)) << c.text;
        EXPECT_EQ(error.rfind(c.error, 0), 0u) << c.text << " gave: " << error;
    }
}

TEST(EffectGraphText, EveryListedPrimitiveParsesWithItsDefaults) {
    int n = 0;
    for (const SEffectPrimitiveInfo* p = QGDI_GetEffectPrimitives(); p->name; ++p, ++n) {
        if (std::string(p->name) == "matrix" || std::string(p->name) == "transform") continue;  // need their values
        std::string line = "1 " + std::string(p->name);
        for (int i = 0; i < p->inputs; ++i) line += " source";
        if (std::string(p->name) == "convolve") line += " matrix=sharpen";
        CIoEffect fx;
        std::string error;
        EXPECT_TRUE(QGDI_ParseEffectGraph(line, fx, &error)) << line << ": " << error;
        const auto src = MakeBGRA(12, 9, [](int x, int y) { return 0xff000000u | uint32_t(x * 20) << 8 | uint32_t(y * 25); });
        CRowIterator out;
        EXPECT_EQ(RunEffect(fx, *src, out, src.get()).Ignore(), keQuorErrSuccess) << line;
    }
    EXPECT_GE(n, 36);
}

}  // namespace
