#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qgdi.h"

namespace {

TEST(RowAccess, CreatedImageRowsAreWritableAndReadBack) {
    for (bool dib : {false, true}) {
        CDibIterator dibIt;
        CRowIterator bands;
        CRowIterator& it = dib ? static_cast<CRowIterator&>(dibIt) : bands;
        ASSERT_FALSE(it.Create(300, 260, keFormatBGR).IsError());
        EXPECT_EQ(it.GetWidth(), 300);
        EXPECT_EQ(it.GetHeight(), 260);
        EXPECT_EQ(it.GetPixelFormat(), keFormatBGR);
        for (int y = 0; y < 260; ++y) {
            uint8_t* row = nullptr;
            ASSERT_FALSE(it.GetRow(row, y).IsError());
            for (int x = 0; x < 900; ++x) row[x] = static_cast<uint8_t>(x + y);
            ASSERT_FALSE(it.ReleaseRow(y).IsError());
        }
        for (int y = 0; y < 260; y += 37) {
            const uint8_t* row = nullptr;
            ASSERT_FALSE(std::as_const(it).GetRow(row, y).IsError());
            for (int x = 0; x < 900; ++x) ASSERT_EQ(row[x], static_cast<uint8_t>(x + y));
            ASSERT_FALSE(it.ReleaseRow(y).IsError());
        }
    }
}

}  // namespace
