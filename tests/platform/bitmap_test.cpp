// Loading BMP files written by the tests themselves.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bitmap_files.h"
#include "module/bitmap.h"

using namespace module;

namespace {

using bitmap_files::bmp;
using bitmap_files::Bytes;

const Bytes kStandardMasks = {0, 0, 0xff, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0};

class BitmapTest : public ::testing::Test {
protected:
    void TearDown() override { std::remove(mPath.c_str()); }

    std::shared_ptr<Buf> load(const Bytes& file) {
        bitmap_files::writeFile(mPath, file);
        std::memset(&mInfo, 0xab, sizeof(mInfo));
        return GetPureBitmap(mPath.c_str(), &mInfo);
    }

    static Bytes pixels(const Buf& buf) { return Bytes(buf.Data(), buf.Data() + buf.size); }

    const std::string mPath =
        ::testing::TempDir() + "bitmap_test_" + std::to_string(getpid()) + ".bmp";
    BmpInfo mInfo{};
};

}  // namespace

TEST_F(BitmapTest, Reads24BitBottomUpWithRowPadding) {
    // 3x2, rows of 9 bytes padded to 12; the file's first row is the bottom one.
    const Bytes rows = {1,  2,  3,  4,  5,  6,  7,  8,  9,  0, 0, 0,
                        11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0};
    auto buf = load(bmp(3, 2, 24, 0, rows));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(mInfo.width, 3u);
    EXPECT_EQ(mInfo.height, 2u);
    EXPECT_EQ(mInfo.format, kBitmapFormatBgra8888);
    EXPECT_EQ(mInfo.bits, 24);
    EXPECT_EQ(buf->offset, 0u);
    EXPECT_EQ(pixels(*buf), (Bytes{11, 12, 13, 255, 14, 15, 16, 255, 17, 18, 19, 255,
                                   1,  2,  3,  255, 4,  5,  6,  255, 7,  8,  9,  255}));
}

TEST_F(BitmapTest, Reads32BitTopDownWithItsAlpha) {
    const Bytes rows = {1, 2, 3, 0, 4, 5, 6, 128, 7, 8, 9, 255, 10, 11, 12, 1};
    auto buf = load(bmp(2, -2, 32, 0, rows));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(mInfo.bits, 32);
    EXPECT_EQ(mInfo.height, 2u);
    EXPECT_EQ(pixels(*buf), rows);

    // The same through BI_BITFIELDS with the standard masks.
    buf = load(bmp(2, -2, 32, 3, rows, kStandardMasks));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(pixels(*buf), rows);

    // Many tools write 0 in every alpha byte: such a picture is opaque.
    buf = load(bmp(2, 1, 32, 0, {1, 2, 3, 0, 4, 5, 6, 0}));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(pixels(*buf), (Bytes{1, 2, 3, 255, 4, 5, 6, 255}));
}
