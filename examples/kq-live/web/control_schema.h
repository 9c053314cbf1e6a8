// The JSON bodies of the control routes, POST /api/NAME: which fields each takes, of what
// kind and range, checked field by field into a ControlCall.
#pragma once

#include <string>
#include <vector>

#include "router.h"

namespace live {

struct ImageSetting {
    const char* name;
    int type;  // kq_isp_type
    int min;
    int max;
};

// The image settings the page may set, with the ranges the library documents.
const std::vector<ImageSetting>& imageSettings();

// A Control action for a body that fits the control NAME, else a 400 (or 404 for a NAME
// that is no control).
Action parseControl(const std::string& name, const std::string& body);

}  // namespace live
