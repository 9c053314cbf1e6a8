// The look the image channel's pictures take from the support library's image settings
// and flip.
#pragma once

#include "support/image_settings.h"
#include "video/picture_look.h"

namespace host::media {

video::PictureLook pictureLook(const support::ImageSettings& settings);

}  // namespace host::media
