// The BMP Suite: every good file decodes to its reference picture exactly,
// questionable files load or are refused with a code, bad files are refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tools/qgdi/image_io.h"

namespace {

const std::string kSuite = std::string(QGDI_TESTDATA_DIR) + "/bmpsuite";

bool HaveSuite() { return std::filesystem::exists(kSuite + "/g/pal8.bmp"); }

// The reference picture of each good file (from the suite's own page).
struct SGood {
    const char* bmp;
    const char* png;
};
// clang-format off
const SGood kGood[] = {
    {"pal1.bmp", "pal1.png"},         {"pal1wb.bmp", "pal1.png"},     {"pal1bg.bmp", "pal1bg.png"},
    {"pal4.bmp", "pal4.png"},         {"pal4gs.bmp", "pal4gs.png"},   {"pal4rle.bmp", "pal4.png"},
    {"pal8.bmp", "pal8.png"},         {"pal8-0.bmp", "pal8.png"},     {"pal8gs.bmp", "pal8gs.png"},
    {"pal8rle.bmp", "pal8.png"},      {"pal8w126.bmp", "pal8w126.png"}, {"pal8w125.bmp", "pal8w125.png"},
    {"pal8w124.bmp", "pal8w124.png"}, {"pal8topdown.bmp", "pal8.png"}, {"pal8nonsquare.bmp", "pal8nonsquare-e.png"},
    {"pal8os2.bmp", "pal8.png"},      {"pal8v4.bmp", "pal8.png"},     {"pal8v5.bmp", "pal8.png"},
    {"rgb16.bmp", "rgb16.png"},       {"rgb16bfdef.bmp", "rgb16.png"}, {"rgb16-565.bmp", "rgb16-565.png"},
    {"rgb16-565pal.bmp", "rgb16-565.png"}, {"rgb24.bmp", "rgb24.png"}, {"rgb24pal.bmp", "rgb24.png"},
    {"rgb32.bmp", "rgb24.png"},       {"rgb32bfdef.bmp", "rgb24.png"}, {"rgb32bf.bmp", "rgb24.png"},
};
// clang-format on

// Both images as straight 8-bit BGRA, compared pixel by pixel.
::testing::AssertionResult SamePixels(const CRowIterator& a, const CRowIterator& b) {
    if (!a.IsSameSizeAs(b))
        return ::testing::AssertionFailure()
               << a.GetWidth() << "x" << a.GetHeight() << " vs " << b.GetWidth() << "x" << b.GetHeight();
    CRowIterator x, y;
    if (x.CreateFromCopy(a, nullptr, keFormatBGRA).IsError() || y.CreateFromCopy(b, nullptr, keFormatBGRA).IsError())
        return ::testing::AssertionFailure() << "conversion failed";
    for (int row = 0; row < x.GetHeight(); ++row)
        for (int col = 0; col < x.GetWidth(); ++col) {
            CColorRef p, q;
            x.GetPixel(col, row, p).Ignore();
            y.GetPixel(col, row, q).Ignore();
            // Fully transparent pixels have no colour to compare.
            if (p != q && !(p.IsTransparent() && q.IsTransparent()))
                return ::testing::AssertionFailure()
                       << "pixel (" << col << "," << row << ") " << std::hex << p.GetRGBA() << " vs " << q.GetRGBA();
        }
    return ::testing::AssertionSuccess();
}

class GoodFiles : public ::testing::TestWithParam<SGood> {};

TEST_P(GoodFiles, MatchTheReferencePicture) {
    if (!HaveSuite()) GTEST_SKIP() << "BMP Suite not found under " << kSuite;
    std::string error;
    std::unique_ptr<CRowIterator> bmp = QgdiReadImage(kSuite + "/g/" + GetParam().bmp, error);
    ASSERT_TRUE(bmp) << error;
    std::unique_ptr<CRowIterator> png = QgdiReadImage(kSuite + "/html/" + GetParam().png, error);
    ASSERT_TRUE(png) << error;
    EXPECT_TRUE(SamePixels(*bmp, *png));
    // The reader hands the iterator a bitmap with the 40-byte header.
    const auto* dib = dynamic_cast<CDibIterator*>(bmp.get());
    ASSERT_NE(dib, nullptr);
    EXPECT_EQ(dib->GetBitmapInfoHeader()->biSize, 40u);
}

INSTANTIATE_TEST_SUITE_P(Suite, GoodFiles, ::testing::ValuesIn(kGood), [](const ::testing::TestParamInfo<SGood>& i) {
    std::string n = i.param.bmp;
    for (char& c : n)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return n;
});

std::vector<std::string> FilesIn(const char* group) {
    std::vector<std::string> out;
    if (!HaveSuite()) return out;
    for (const auto& e : std::filesystem::directory_iterator(kSuite + "/" + group))
        if (e.path().extension() == ".bmp") out.push_back(e.path().string());
    std::sort(out.begin(), out.end());
    return out;
}

QuorErrorCode ReadCode(const std::string& path, CDibIterator& it) {
    std::vector<uint8_t> data;
    if (!QgdiReadFileBytes(path, data)) return keQuorErrFailed;
    return QGDI_ReadBmp(data.data(), data.size(), it).Ignore();
}

TEST(BmpSuite, BadFilesAreRefusedWithACode) {
    if (!HaveSuite()) GTEST_SKIP() << "BMP Suite not found under " << kSuite;
    const std::vector<std::string> files = FilesIn("b");
    EXPECT_EQ(files.size(), 20u);
    for (const std::string& f : files) {
        CDibIterator it;
        const QuorErrorCode code = ReadCode(f, it);
        EXPECT_TRUE(code == keQuorErrFailed || code == keQuorErrOutOfMemory || code == keQuorErrFormatNotSupported)
            << f << " gave " << code;
        EXPECT_FALSE(it.IsAttached()) << f;
    }
}

TEST(BmpSuite, QuestionableFilesLoadOrAreRefused) {
    if (!HaveSuite()) GTEST_SKIP() << "BMP Suite not found under " << kSuite;
    int loaded = 0;
    for (const std::string& f : FilesIn("q")) {
        CDibIterator it;
        const QuorErrorCode code = ReadCode(f, it);
        if (code == keQuorErrSuccess) {
            ++loaded;
            // Whatever loads can be read whole.
            CRowIterator copy;
            EXPECT_FALSE(copy.CreateFromCopy(it, nullptr, keFormatBGRA).IsError()) << f;
        } else {
            EXPECT_TRUE(code == keQuorErrFailed || code == keQuorErrFormatNotSupported) << f << " gave " << code;
            EXPECT_FALSE(it.IsAttached());
        }
    }
    EXPECT_GT(loaded, 20);
}

// Questionable files whose reference picture is certain.
TEST(BmpSuite, QuestionableFilesWithAReference) {
    if (!HaveSuite()) GTEST_SKIP() << "BMP Suite not found under " << kSuite;
    const SGood cases[] = {{"pal8offs.bmp", "pal8.png"},
                           {"pal8oversizepal.bmp", "pal8.png"},
                           {"rgb24largepal.bmp", "rgb24.png"},
                           {"pal8os2v2.bmp", "pal8.png"},
                           {"rgb32-7187.bmp", "rgb32-7187.png"},
                           {"rgba32-1.bmp", "rgba32.png"},
                           {"rgba32-2.bmp", "rgba32.png"},
                           {"rgba32-1010102.bmp", "rgba32-1010102.png"},
                           {"rgba32-81284.bmp", "rgba32-81284.png"},
                           {"rgba32-61754.bmp", "rgba32-61754.png"},
                           {"rgba32h56.bmp", "rgba32.png"},
                           {"rgb32h52.bmp", "rgb24.png"},
                           {"rgb32-xbgr.bmp", "rgb24.png"},
                           {"rgba16-4444.bmp", "rgba16-4444.png"},
                           {"rgba16-5551.bmp", "rgba16-5551.png"},
                           {"rgb16-231.bmp", "rgb16-231.png"},
                           {"rgb16-3103.bmp", "rgb16-3103.png"},
                           {"pal2.bmp", "pal2.png"},
                           {"rgba32abf.bmp", "rgba32.png"},
                           {"rgb32fakealpha.bmp", "rgb24.png"}};
    for (const SGood& c : cases) {
        std::string error;
        std::unique_ptr<CRowIterator> bmp = QgdiReadImage(kSuite + "/q/" + c.bmp, error);
        ASSERT_TRUE(bmp) << c.bmp << ": " << error;
        std::unique_ptr<CRowIterator> png = QgdiReadImage(kSuite + "/html/" + c.png, error);
        ASSERT_TRUE(png) << error;
        EXPECT_TRUE(SamePixels(*bmp, *png)) << c.bmp;
    }
}

}  // namespace
