#include "control_state.h"

namespace live {

int ControlState::apply(const ControlCall& c, CameraPort& camera) {
    const int code = call(c, camera);
    if (code == 0) remember(c);
    return code;
}

int ControlState::call(const ControlCall& c, CameraPort& camera) {
    switch (c.control) {
        case Control::TimestampEnabled: return camera.enableTimestamp(c.channel, c.value != 0);
        case Control::TimestampPosition: return camera.setTimestampPosition(c.channel, c.value);
        case Control::TimestampFormat: return camera.setTimestampFormat(c.channel, c.name);
        case Control::TimestampColour: return camera.setTimestampColour(c.channel, c.colour);
        case Control::WatermarkEnabled: return camera.enableWatermark(c.channel, c.value != 0);
        case Control::WatermarkPosition: return camera.setWatermarkPosition(c.channel, c.value);
        case Control::WatermarkOpacity: return camera.setWatermarkOpacity(c.channel, c.value);
        case Control::Privacy: return camera.enablePrivacy(c.channel, c.value != 0);
        case Control::Flip: return camera.setFlip(c.value);
        case Control::Image: return camera.setImage(c.imageType, c.value);
    }
    return -1;
}

void ControlState::remember(const ControlCall& c) {
    std::lock_guard<std::mutex> lock(mMutex);
    nlohmann::json& channel = mState["channels"][c.channel];
    switch (c.control) {
        case Control::TimestampEnabled: channel["timestamp"]["enabled"] = c.value != 0; break;
        case Control::TimestampPosition: channel["timestamp"]["position"] = c.value; break;
        case Control::TimestampFormat: channel["timestamp"]["format"] = c.name; break;
        case Control::TimestampColour:
            channel["timestamp"]["text"] = {c.colour[0], c.colour[1], c.colour[2]};
            channel["timestamp"]["background"] = {c.colour[3], c.colour[4], c.colour[5]};
            break;
        case Control::WatermarkEnabled: channel["watermark"]["enabled"] = c.value != 0; break;
        case Control::WatermarkPosition: channel["watermark"]["position"] = c.value; break;
        case Control::WatermarkOpacity: channel["watermark"]["opacity"] = c.value; break;
        case Control::Privacy: channel["privacy"]["enabled"] = c.value != 0; break;
        case Control::Flip: mState["flip"] = c.value; break;
        case Control::Image: mState["image"][c.name] = c.value; break;
    }
}

std::string ControlState::json() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mState.dump();
}

}  // namespace live
