// The pipe's overlay (OSD) pack and privacy mask pack; the running timestamp, the
// watermark logo and the privacy icon drawn through the OSD pack, and the privacy mask.
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

// The seven placements of the timestamp and the logo, 5 pixels from the edges; an
// unknown option leaves the position as it was.
bool VideoPipe::placeItem(uint32_t option, int32_t itemWidth, int32_t itemHeight, int32_t* x,
                          int32_t* y) const {
    const int32_t width = static_cast<int32_t>(frameWidth());
    const int32_t height = static_cast<int32_t>(frameHeight());
    const int32_t right = width - kMargin - itemWidth;
    const int32_t bottom = height - kMargin - itemHeight;
    const int32_t centre = (width - itemWidth) / 2;
    switch (option) {
        case KQ_POS_TOP_LEFT:
        case KQ_POS_TOP_LEFT_ALT: *x = kMargin, *y = kMargin; return true;
        case KQ_POS_BOTTOM_LEFT: *x = kMargin, *y = bottom; return true;
        case KQ_POS_TOP_RIGHT: *x = right, *y = kMargin; return true;
        case KQ_POS_BOTTOM_RIGHT: *x = right, *y = bottom; return true;
        case KQ_POS_TOP_CENTER: *x = centre, *y = kMargin; return true;
        case KQ_POS_BOTTOM_CENTER: *x = centre, *y = bottom; return true;
        default: return false;
    }
}

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
    const uint32_t option = mTimestampPos;
    if (!placeItem(option, textWidth, font, &mTimestampX, &mTimestampY))
        KQ_WARNING("%s, unknown option: %d", "calcTimestampPosition", static_cast<int>(option));
}

// Trims the text to what fits left of the frame's right edge, then draws it.
void VideoPipe::setOsdText(const char* text, uint32_t length, int32_t x, int32_t y, int32_t block) {
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
        KQ_WARNING("timestamp format \"%s\" expands beyond %d characters, not drawn", mTimeFormat,
                   static_cast<int>(kTimestampChars));
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

// ---- Watermark logo and privacy mask ----------------------------------------------------

namespace {

// Makes the record's image from the pixels; 0, or -1 (record left empty) when the
// support library refuses.
int createImage(OsdImage& record, const void* pixels, uint32_t width, uint32_t height,
                uint32_t attrWord, uint8_t attrByte) {
    record.image = create_osd_image(pixels, width, height, attrWord, attrByte);
    if (!record.image) return kOverlayFailed;
    record.width = width;
    record.height = height;
    record.attrWord = attrWord;
    record.attrByte = attrByte;
    return 0;
}

// The support library frees the image and clears the handle.
void destroyImage(OsdImage& record) {
    record.width = 0;
    record.height = 0;
    record.attrWord = 0;
    record.attrByte = 0;
    destroy_osd_image(&record.image);
}

bool complete(const OsdImage& record) {
    return record.image && record.width && record.height && record.attrWord && record.attrByte;
}

}  // namespace

VideoPipe::~VideoPipe() {
    if (mWatermark.image) destroyWatermarkImage();
    if (mPrivacyIcon.image) destroyPrivacyIcon();
}

void VideoPipe::setWatermarkImage(const void* pixels, uint32_t width, uint32_t height,
                                  uint32_t attrWord, uint8_t attrByte) {
    if (mWatermark.image) destroyWatermarkImage();
    if (createImage(mWatermark, pixels, width, height, attrWord, attrByte) != 0)
        KQ_WARNING("set watermark image fail");
}

void VideoPipe::destroyWatermarkImage() { destroyImage(mWatermark); }

int VideoPipe::setPrivacyIcon(const void* pixels, uint32_t width, uint32_t height,
                              uint32_t attrWord, uint8_t attrByte) {
    if (mPrivacyIcon.image) destroyPrivacyIcon();
    int r = createImage(mPrivacyIcon, pixels, width, height, attrWord, attrByte);
    if (r != 0) KQ_WARNING("set privacy icon fail");
    return r;
}

void VideoPipe::destroyPrivacyIcon() { destroyImage(mPrivacyIcon); }

void VideoPipe::calcWatermarkPosition(uint32_t width, uint32_t height) {
    const uint32_t option = mWatermarkPos;
    if (!placeItem(option, static_cast<int32_t>(width), static_cast<int32_t>(height), &mWatermarkX,
                   &mWatermarkY))
        KQ_WARNING("%s, unknown option: %d", "calcWatermarkPosition", static_cast<int>(option));
}

int VideoPipe::drawImage(const OsdImage& record, int32_t x, int32_t y, int32_t block) {
    std::lock_guard<std::mutex> lock(mOsdMutex);
    return draw_osd_image(&mOsdPack, record.image, record.width, record.height, record.attrWord,
                          static_cast<uint8_t>(record.attrByte), x, y, block);
}

int VideoPipe::eraseImage(int32_t block) {
    std::lock_guard<std::mutex> lock(mOsdMutex);
    return erase_osd_image(&mOsdPack, block);
}

int VideoPipe::enableWatermark(uint8_t on) {
    if (!osdReady()) return 0;
    if (!on) {
        // Sent whether or not a logo was ever drawn: the block is simply left empty.
        int r = eraseImage(mWatermarkBlock);
        if (r != 0) KQ_PLATFORM_WARNING("erase osd image fail, ret = %d, %s", r);
        return r;
    }
    if (!complete(mWatermark)) {
        KQ_WARNING("bad watermark image");
        return kOverlayFailed;
    }
    calcWatermarkPosition(mWatermark.width, mWatermark.height);
    int r = drawImage(mWatermark, mWatermarkX, mWatermarkY, mWatermarkBlock);
    if (r != 0) KQ_PLATFORM_WARNING("draw osd image fail, ret = %d, %s", r);
    return r;
}

// The icon first, then the mask; neither failure stops the other step. The result is
// the mask's failure, else the icon's.
int VideoPipe::imposePrivacyMask() {
    if (!maskReady()) {
        KQ_WARNING("impose privacy mask fail, mask not ready!");
        return kOverlayFailed;
    }
    int iconResult = mPrivacyIcon.image ? drawPrivacyIcon() : 0;
    int r = enable_rect_mask(&mMaskPack, mPrivacyMaskIndex, frameWidth(), frameHeight(), 0, 0);
    if (r != 0) {
        KQ_PLATFORM_WARNING("enable rect mask fail, ret = %d, %s", r);
        return r;
    }
    return iconResult;
}

int VideoPipe::drawPrivacyIcon() {
    if (!osdReady()) {
        KQ_WARNING("draw privacy icon fail, OSD not ready!");
        return kOverlayFailed;
    }
    const uint32_t width = frameWidth();
    const uint32_t height = frameHeight();
    // Centring would wrap around: such an icon is not drawn at all.
    if (mPrivacyIcon.width > width || mPrivacyIcon.height > height) {
        KQ_WARNING("draw privacy icon fail, icon %ux%u larger than the frame %ux%u",
                   mPrivacyIcon.width, mPrivacyIcon.height, width, height);
        return kOverlayFailed;
    }
    mPrivacyIconX = (width - mPrivacyIcon.width) >> 1;
    mPrivacyIconY = (height - mPrivacyIcon.height) >> 1;
    int r = drawImage(mPrivacyIcon, static_cast<int32_t>(mPrivacyIconX),
                      static_cast<int32_t>(mPrivacyIconY), mPrivacyIconBlock);
    if (r != 0) KQ_PLATFORM_WARNING("draw privacy icon fail, ret = %d, %s", r);
    return r;
}

// The icon's erase, then the mask's; the erase is sent even when privacy was never on.
int VideoPipe::removePrivacyMask() {
    if (!maskReady()) {
        KQ_WARNING("impose privacy mask fail, mask not ready!");
        return kOverlayFailed;
    }
    int iconResult = 0;
    if (mPrivacyIcon.image && osdReady()) {
        iconResult = eraseImage(mPrivacyIconBlock);
        if (iconResult != 0)
            KQ_PLATFORM_WARNING("erase privacy icon fail, ret = %d, %s", iconResult);
    }
    int r = disable_mask(&mMaskPack, mPrivacyMaskIndex);
    if (r != 0) {
        KQ_PLATFORM_WARNING("disable mask fail, ret = %d, %s", r);
        return r;
    }
    return iconResult;
}

}  // namespace kq
