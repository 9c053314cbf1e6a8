#include "media/picture_look.h"

namespace host::media {

using support::ImageSetting;

video::PictureLook pictureLook(const support::ImageSettings& settings) {
    video::PictureLook look;
    look.brightness = settings[ImageSetting::Brightness];
    look.contrast = settings[ImageSetting::Contrast];
    look.saturation = settings[ImageSetting::Saturation];
    look.hue = settings[ImageSetting::Hue];
    look.gray = settings[ImageSetting::GrayMode] != 0;
    look.mirror = (settings.flip & 1) != 0;
    look.upsideDown = (settings.flip & 2) != 0;
    return look;
}

}  // namespace host::media
