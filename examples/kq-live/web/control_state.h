// The controls as the page set them: each checked call goes to the camera, and what the
// camera took is remembered for GET /api/state, so that a page opened later shows it.
#pragma once

#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "camera_port.h"
#include "router.h"

namespace live {

class ControlState {
public:
    // Makes the call on `camera`: its code, remembered when 0. Any thread.
    int apply(const ControlCall& call, CameraPort& camera);
    // {"channels": [{"timestamp": {...}, "watermark": {...}, "privacy": {...}}, ...],
    //  "flip": N, "image": {"NAME": N}}, with what was set so far.
    std::string json() const;
    // Remembers `call` as made: what the camera set up before the page could.
    void remember(const ControlCall& call);

private:
    static int call(const ControlCall& call, CameraPort& camera);

    mutable std::mutex mMutex;
    nlohmann::json mState = {{"channels", {nlohmann::json::object(), nlohmann::json::object()}},
                             {"image", nlohmann::json::object()}};
};

}  // namespace live
