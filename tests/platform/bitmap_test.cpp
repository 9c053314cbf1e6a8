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
#include "platform/host_records.h"

using namespace module;

namespace {

using bitmap_files::bmp;
using bitmap_files::Bytes;
using bitmap_files::put;

const Bytes kStandardMasks = {0, 0, 0xff, 0, 0, 0xff, 0, 0, 0xff, 0, 0, 0};

class BitmapTest : public ::testing::Test {
protected:
    void TearDown() override { std::remove(mPath.c_str()); }

    std::shared_ptr<Buf> load(const Bytes& file) {
        bitmap_files::writeFile(mPath, file);
        std::memset(&mInfo, 0xab, sizeof(mInfo));
        return GetPureBitmap(mPath.c_str(), &mInfo);
    }

    // Refused with `info` zeroed and one record giving the path and `why`.
    void expectRefused(const Bytes& file, const std::string& why) {
        takeHostRecords();
        EXPECT_EQ(load(file), nullptr) << why;
        const BmpInfo zero{};
        EXPECT_EQ(std::memcmp(&mInfo, &zero, sizeof(zero)), 0) << why;
        EXPECT_THAT(takeHostRecords(),
                    ::testing::ElementsAre("host: GetPureBitmap(\"" + mPath + "\"): " + why));
    }

    static Bytes pixels(const Buf& buf) { return Bytes(buf.Data(), buf.Data() + buf.size); }

    const std::string mPath = ::testing::TempDir() + "bitmap_test_" + std::to_string(getpid()) + ".bmp";
    BmpInfo mInfo{};
};

}  // namespace

TEST_F(BitmapTest, Reads24BitBottomUpWithRowPadding) {
    // 3x2, rows of 9 bytes padded to 12; the file's first row is the bottom one.
    const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0,
                        11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0};
    auto buf = load(bmp(3, 2, 24, 0, rows));
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(mInfo.width, 3u);
    EXPECT_EQ(mInfo.height, 2u);
    EXPECT_EQ(mInfo.format, kBitmapFormatBgra8888);
    EXPECT_EQ(mInfo.bits, 24);
    EXPECT_EQ(buf->offset, 0u);
    EXPECT_EQ(pixels(*buf), (Bytes{11, 12, 13, 255, 14, 15, 16, 255, 17, 18, 19, 255,
                                   1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255}));
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

TEST_F(BitmapTest, RefusesMalformedOrUnsupportedFilesSayingWhy) {
    const Bytes rows24(12 * 2, 7);
    const Bytes good = bmp(3, 2, 24, 0, rows24);
    ASSERT_NE(load(good), nullptr);

    Bytes badMagic = good;
    badMagic[0] = 'X';
    expectRefused(badMagic, "not a BMP file (no \"BM\" at its start)");
    expectRefused(Bytes(good.begin(), good.begin() + 40),
                  "truncated: 40 bytes, shorter than the headers");
    expectRefused(Bytes(good.begin(), good.end() - 1),
                  "truncated: the pixels need 24 bytes from offset 54, the file has 77");
    Bytes offsetPastEnd = good;
    put(offsetPastEnd, 10, 0xfffffff0u, 4);
    expectRefused(offsetPastEnd,
                  "the pixels' offset 4294967280 lies outside the file past its headers (54 to 78)");
    Bytes offsetInHeader = good;
    put(offsetInHeader, 10, 20, 4);
    expectRefused(offsetInHeader,
                  "the pixels' offset 20 lies outside the file past its headers (54 to 78)");
    Bytes infoPastEnd = good;
    put(infoPastEnd, 14, 0xffffffffu, 4);
    expectRefused(infoPastEnd, "truncated: the headers need 4294967309 bytes, the file has 78");
    const char* const header = "unsupported header (an info header of 40 bytes or more, one plane)";
    Bytes twoPlanes = good;
    put(twoPlanes, 26, 2, 2);
    expectRefused(twoPlanes, header);
    Bytes smallHeader = good;
    put(smallHeader, 14, 12, 4);
    expectRefused(smallHeader, header);

    const std::string sides = " pixels are not supported (sides of 1 to 8192)";
    expectRefused(bmp(9000, 1, 24, 0, Bytes(27000, 0)), "9000 x 1" + sides);
    expectRefused(bmp(1, -9000, 32, 0, Bytes(36000, 0)), "1 x 9000" + sides);
    expectRefused(bmp(1, INT32_MIN, 24, 0, rows24), "1 x 2147483648" + sides);
    expectRefused(bmp(3, 0, 24, 0, {}), "3 x 0" + sides);
    expectRefused(bmp(-3, 2, 24, 0, rows24), "-3 x 2" + sides);
    expectRefused(bmp(2, 2, 16, 0, Bytes(8, 0)), "16-bit pixels are not supported (24 or 32)");
    expectRefused(bmp(3, 2, 24, 1, rows24),
                  "compression 1 is not supported (uncompressed, or 32-bit with BGRA masks)");
    expectRefused(bmp(1, 1, 32, 3, Bytes(4, 0)), "truncated: the file ends within its masks");
    Bytes rgbaMasks = kStandardMasks;
    std::swap(rgbaMasks[0], rgbaMasks[2]);
    expectRefused(bmp(1, 1, 32, 3, Bytes(4, 0), rgbaMasks),
                  "32-bit pixels with masks other than BGRA are not supported");

    std::remove(mPath.c_str());
    expectRefused({}, "truncated: 0 bytes, shorter than the headers");
    std::remove(mPath.c_str());
    EXPECT_EQ(GetPureBitmap(mPath.c_str(), &mInfo), nullptr);
    EXPECT_THAT(takeHostRecords(), ::testing::ElementsAre("host: GetPureBitmap(\"" + mPath +
                                                          "\"): No such file or directory"));
    EXPECT_EQ(GetPureBitmap(nullptr, &mInfo), nullptr);
    EXPECT_EQ(GetPureBitmap(mPath.c_str(), nullptr), nullptr);
    EXPECT_EQ(takeHostRecords().size(), 2u);
}
