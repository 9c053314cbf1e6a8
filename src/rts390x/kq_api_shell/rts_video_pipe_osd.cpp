// The pipe's overlay (OSD) pack and privacy mask pack, and the running timestamp drawn
// through the OSD pack.
#include <cstring>

#include "rts_log.h"
#include "rts_video_pipe.h"

namespace kq {
namespace {

// The timestamp's text buffer holds this many characters and its NUL; the erase
// writes as many blanks.
constexpr std::size_t kTimestampChars = 24;
// Distance of a placed timestamp from the frame's edges, in pixels.
constexpr int32_t kMargin = 5;

// Font size in pixels for a frame width: the timestamp stays readable on every size.
uint32_t fontSizeForWidth(uint32_t width) {
    if (width <= 960) return 24;
    if (width <= 1280) return 48;
    return 64;
}

}  // namespace

int VideoPipe::initOsdPack() {
    mFontSize = fontSizeForWidth(frameWidth());
    int r = init_osd_pack(&mOsdPack, mFontSize, 0, frameWidth(), frameHeight());
    if (r != 0) KQ_PLATFORM_ERROR("init osd pack fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::deinitOsdPack() {
    if (osdReady()) deinit_osd_pack(&mOsdPack);
    return 0;
}

int VideoPipe::setDefaultOsdAttr() {
    if (!osdReady()) return 0;
    int r = set_default_osd_attr(&mOsdPack, mOsdChn);
    if (r != 0) KQ_PLATFORM_WARNING("set default osd attr fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::initMaskPack() {
    int r = init_mask_pack(&mMaskPack, frameWidth(), frameHeight());
    if (r != 0) KQ_PLATFORM_ERROR("init mask pack fail, ret = %d, %s\n", r);
    return r;
}

int VideoPipe::deinitMaskPack() {
    if (maskReady()) deinit_mask_pack(&mMaskPack);
    return 0;
}

void VideoPipe::setOsdFormat(const char* text) {
    std::lock_guard<std::mutex> lock(mOsdMutex);
    std::memset(mTimeFormat, 0, sizeof mTimeFormat);
    std::strncpy(mTimeFormat, text, sizeof mTimeFormat - 1);
    mFormatRejected = false;
}

void VideoPipe::setOsdColor(uint8_t c1, uint8_t c2, uint8_t c3, uint8_t c4, uint8_t c5,
                            uint8_t c6) {
    std::lock_guard<std::mutex> lock(mOsdMutex);
    const uint8_t colour[6] = {c1, c2, c3, c4, c5, c6};
    std::memcpy(mOsdPack.color, colour, sizeof colour);
}

// Every character is reckoned half the font size wide.
void VideoPipe::calcTimestampPosition(uint32_t length) {
    const int32_t font = static_cast<int32_t>(mFontSize);
    const int32_t textWidth = font / 2 * static_cast<int32_t>(length);
    const int32_t width = static_cast<int32_t>(frameWidth());
    const int32_t height = static_cast<int32_t>(frameHeight());
    const uint32_t option = mTimestampPos;
    switch (option) {
    case KQ_POS_TOP_LEFT:
    case KQ_POS_TOP_LEFT_ALT: mTimestampX = kMargin, mTimestampY = kMargin; break;
    case KQ_POS_BOTTOM_LEFT: mTimestampX = kMargin, mTimestampY = height - kMargin - font; break;
    case KQ_POS_TOP_RIGHT: mTimestampX = width - kMargin - textWidth, mTimestampY = kMargin; break;
    case KQ_POS_BOTTOM_RIGHT:
        mTimestampX = width - kMargin - textWidth, mTimestampY = height - kMargin - font;
        break;
    case KQ_POS_TOP_CENTER: mTimestampX = (width - textWidth) / 2, mTimestampY = kMargin; break;
    case KQ_POS_BOTTOM_CENTER:
        mTimestampX = (width - textWidth) / 2, mTimestampY = height - kMargin - font;
        break;
    default:
        KQ_WARNING("%s, unknown option: %d", "calcTimestampPosition", static_cast<int>(option));
        break;
    }
}

// Trims the text to what fits left of the frame's right edge, then draws it.
void VideoPipe::setOsdText(const char* text, uint32_t length, int32_t x, int32_t y,
                           int32_t block) {
    const int32_t width = static_cast<int32_t>(frameWidth());
    if (x >= width) {
        KQ_WARNING("OSD text at x %d starts beyond the frame width %d, not drawn", x, width);
        return;
    }
    const int32_t half = static_cast<int32_t>(mFontSize / 2);
    int32_t count = static_cast<int32_t>(length);
    while (count > 0 && x + count * half >= width) --count;
    if (count != static_cast<int32_t>(length))
        KQ_WARNING("trimming OSD text from %d to %d", static_cast<int>(length), count);
    int r = set_osd_text(&mOsdPack, text, count, x, y, block);
    if (r != 0) KQ_PLATFORM_WARNING("set osd text fail, ret = %d, %s", r);
}

std::size_t VideoPipe::formatTimestamp(time_t now, char (&text)[kTimestampChars + 1]) {
    tm local{};
    localtime_r(&now, &local);
    std::size_t length = strftime(text, sizeof text, mTimeFormat, &local);
    if (length == 0 && mTimeFormat[0] != '\0' && !mFormatRejected) {
        KQ_WARNING("timestamp format \"%s\" expands beyond %d characters, not drawn",
                   mTimeFormat, static_cast<int>(kTimestampChars));
        mFormatRejected = true;
    }
    return length;
}

void VideoPipe::updateTimestamp() {
    if (!mOsdEnabled) {
        if (!mTimestampDrawn) return;
        std::lock_guard<std::mutex> lock(mOsdMutex);
        eraseTimestamp();
        return;
    }
    // time() counts whole seconds: this redraws once whenever the second changes.
    time_t now = time(nullptr);
    if (!(difftime(now, mLastTime) > 0.5)) return;
    mLastTime = now;
    std::lock_guard<std::mutex> lock(mOsdMutex);
    char text[kTimestampChars + 1] = {};
    std::size_t length = formatTimestamp(now, text);
    if (length == 0 && mTimeFormat[0] != '\0') {
        // Nothing defined to draw: rather no timestamp than a stale one.
        if (mTimestampDrawn) eraseTimestamp();
        return;
    }
    calcTimestampPosition(static_cast<uint32_t>(length));
    setOsdText(text, static_cast<uint32_t>(length), mTimestampX, mTimestampY, mTimestampBlock);
    // Marked drawn whatever the drawing returned: the next switch-off erases it.
    mTimestampDrawn = 1;
}

// Overwrites the timestamp with blanks at its last position, without placing it anew.
void VideoPipe::eraseTimestamp() {
    char blanks[kTimestampChars + 1] = {};
    std::memset(blanks, ' ', kTimestampChars);
    setOsdText(blanks, kTimestampChars, mTimestampX, mTimestampY, mTimestampBlock);
    mTimestampDrawn = 0;
}

}  // namespace kq
