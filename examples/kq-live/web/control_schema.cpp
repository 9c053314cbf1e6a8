#include "control_schema.h"

#include <climits>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "kq_api.h"

namespace live {
namespace {

using nlohmann::json;

enum class Kind { Integer, Boolean, Text, Rgb, SettingName };
// Where a field's value goes in the ControlCall.
enum class Slot { Channel, Value, Name, TextColour, BackgroundColour };

struct Field {
    const char* name;
    Kind kind;
    int min;  // Text: the shortest length; Rgb: each byte's range
    int max;
    Slot slot;
};

struct Endpoint {
    const char* name;
    Control control;
    std::vector<Field> fields;
};

const Field kChannelField{"channel", Kind::Integer, 0, 1, Slot::Channel};
const Field kEnabledField{"enabled", Kind::Boolean, 0, 1, Slot::Value};
const Field kPositionField{"position", Kind::Integer, KQ_POS_TOP_LEFT, KQ_POS_BOTTOM_CENTER,
                           Slot::Value};

const std::vector<Endpoint>& endpoints() {
    static const std::vector<Endpoint> table = {
        {"timestamp/enabled", Control::TimestampEnabled, {kChannelField, kEnabledField}},
        {"timestamp/position", Control::TimestampPosition, {kChannelField, kPositionField}},
        {"timestamp/format",
         Control::TimestampFormat,
         {kChannelField, {"format", Kind::Text, 1, int(kMaxFormatLength), Slot::Name}}},
        {"timestamp/colour",
         Control::TimestampColour,
         {kChannelField,
          {"text", Kind::Rgb, 0, 255, Slot::TextColour},
          {"background", Kind::Rgb, 0, 255, Slot::BackgroundColour}}},
        {"watermark/enabled", Control::WatermarkEnabled, {kChannelField, kEnabledField}},
        {"watermark/position", Control::WatermarkPosition, {kChannelField, kPositionField}},
        {"watermark/opacity",
         Control::WatermarkOpacity,
         {kChannelField, {"opacity", Kind::Integer, 0, 100, Slot::Value}}},
        {"privacy", Control::Privacy, {kChannelField, kEnabledField}},
        {"flip", Control::Flip, {{"flip", Kind::Integer, 0, 3, Slot::Value}}},
        {"image",
         Control::Image,
         {{"setting", Kind::SettingName, 0, 0, Slot::Name},
          {"value", Kind::Integer, INT_MIN, INT_MAX, Slot::Value}}},
    };
    return table;
}

// What was wrong with one field.
struct FieldError {
    std::string what;
    std::string field;
    std::string value;
    std::string limit;
};

std::string shown(const json& value) {
    std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

std::string range(int min, int max) { return std::to_string(min) + ".." + std::to_string(max); }

// An integer of any JSON width, clamped to int64_t; nothing for other kinds.
std::optional<int64_t> integer(const json& value) {
    if (value.is_number_unsigned())
        return int64_t(std::min<uint64_t>(value.get<uint64_t>(), INT64_MAX));
    if (value.is_number_integer()) return value.get<int64_t>();
    return std::nullopt;
}

std::optional<FieldError> checkInteger(const Field& f, const json& value, int* out) {
    const std::optional<int64_t> n = integer(value);
    if (!n) return FieldError{"expected an integer", f.name, shown(value), range(f.min, f.max)};
    if (*n < f.min || *n > f.max)
        return FieldError{"out of range", f.name, shown(value), range(f.min, f.max)};
    *out = int(*n);
    return std::nullopt;
}

std::optional<FieldError> checkText(const Field& f, const json& value, std::string* out) {
    const std::string limit =
        std::to_string(f.min) + ".." + std::to_string(f.max) + " printable ASCII characters";
    if (!value.is_string()) return FieldError{"expected a string", f.name, shown(value), limit};
    const std::string& text = value.get_ref<const std::string&>();
    if (text.size() < std::size_t(f.min) || text.size() > std::size_t(f.max))
        return FieldError{"wrong length", f.name, shown(value), limit};
    for (const char c : text)
        if (c < 0x20 || c > 0x7e) return FieldError{"not printable", f.name, shown(value), limit};
    *out = text;
    return std::nullopt;
}

std::optional<FieldError> checkRgb(const Field& f, const json& value, uint8_t* out) {
    const std::string limit = "[R, G, B] of " + range(f.min, f.max);
    if (!value.is_array() || value.size() != 3)
        return FieldError{"expected three integers", f.name, shown(value), limit};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::optional<int64_t> n = integer(value[i]);
        if (!n || *n < f.min || *n > f.max)
            return FieldError{"out of range", f.name, shown(value), limit};
        out[i] = uint8_t(*n);
    }
    return std::nullopt;
}

const ImageSetting* findSetting(const std::string& name) {
    for (const ImageSetting& s : imageSettings())
        if (name == s.name) return &s;
    return nullptr;
}

std::string settingNames() {
    std::string names;
    for (const ImageSetting& s : imageSettings())
        names += (names.empty() ? "" : " ") + std::string(s.name);
    return names;
}

std::optional<FieldError> checkField(const Field& f, const json& value, ControlCall* call) {
    int number = 0;
    std::optional<FieldError> error;
    switch (f.kind) {
        case Kind::Integer: error = checkInteger(f, value, &number); break;
        case Kind::Boolean:
            if (!value.is_boolean())
                return FieldError{"expected true or false", f.name, shown(value), "true, false"};
            number = value.get<bool>() ? 1 : 0;
            break;
        case Kind::Text: return checkText(f, value, &call->name);
        case Kind::Rgb:
            return checkRgb(f, value, call->colour.data() + (f.slot == Slot::TextColour ? 0 : 3));
        case Kind::SettingName: {
            const ImageSetting* s =
                value.is_string() ? findSetting(value.get<std::string>()) : nullptr;
            if (!s) return FieldError{"unknown setting", f.name, shown(value), settingNames()};
            call->name = s->name;
            call->imageType = s->type;
            return std::nullopt;
        }
    }
    if (error) return error;
    (f.slot == Slot::Channel ? call->channel : call->value) = number;
    return std::nullopt;
}

// The image value's range depends on the setting named beside it.
std::optional<FieldError> checkImageValue(const json& body, const ControlCall& call) {
    const ImageSetting* s = findSetting(call.name);
    if (call.value >= s->min && call.value <= s->max) return std::nullopt;
    return FieldError{"out of range", "value", shown(body.at("value")),
                      range(s->min, s->max) + " for " + s->name};
}

std::optional<FieldError> checkBody(const Endpoint& e, const json& body, ControlCall* call) {
    if (!body.is_object())
        return FieldError{"expected a JSON object", "body", shown(body), "{...}"};
    for (const auto& item : body.items()) {
        bool known = false;
        for (const Field& f : e.fields) known = known || item.key() == f.name;
        if (!known)
            return FieldError{"unknown field", item.key(), shown(item.value()),
                              "fields of " + std::string(e.name)};
    }
    for (const Field& f : e.fields) {
        const auto it = body.find(f.name);
        if (it == body.end()) return FieldError{"missing field", f.name, "", "required"};
        if (auto error = checkField(f, *it, call)) return error;
    }
    if (e.control == Control::Image) return checkImageValue(body, *call);
    return std::nullopt;
}

}  // namespace

const std::vector<ImageSetting>& imageSettings() {
    static const std::vector<ImageSetting> table = {
        {"brightness", KQ_ISP_BRIGHTNESS, 0, 255},
        {"saturation", KQ_ISP_SATURATION, 0, 255},
        {"contrast", KQ_ISP_CONTRAST, 0, 255},
        {"sharpness", KQ_ISP_SHARPNESS, 0, 255},
        {"hue", KQ_ISP_HUE, 0, 255},
        {"detail_enhancement", KQ_ISP_DETAIL_ENHANCEMENT, 0, 255},
        {"gamma", KQ_ISP_GAMMA, 0, 255},
        {"backlight", KQ_ISP_BACKLIGHT, 0, 2},
        {"power_line_frequency", KQ_ISP_POWER_LINE_FREQUENCY, 0, 2},
        {"gray_mode", KQ_ISP_GRAY_MODE, 0, 1},
        {"wdr_mode", KQ_ISP_WDR_MODE, 0, 2},
        {"wdr_level", KQ_ISP_WDR_LEVEL, 0, 100},
        {"noise_reduction_3d", KQ_ISP_3DNR, 0, 100},
        {"dehaze", KQ_ISP_DEHAZE, 0, 1},
        {"ir_mode", KQ_ISP_IR_MODE, 0, 2},
        {"smart_ir_mode", KQ_ISP_SMART_IR_MODE, 0, 1},
        {"smart_ir_level", KQ_ISP_SMART_IR_LEVEL, 0, 100},
        {"indoor_outdoor_mode", KQ_ISP_INDOOR_OUTDOOR_MODE, 0, 2},
        {"noise_reduction", KQ_ISP_NOISE_REDUCTION, 0, 100},
        {"ae_bias", KQ_ISP_AE_1, -128, 127},
        {"ae_target", KQ_ISP_AE_2, 0, 65535},
        {"ae_speed", KQ_ISP_AE_3, 0, 255},
        {"ae_metering", KQ_ISP_AE_4, 0, 5},
        {"ae_apply", KQ_ISP_AE_APPLY, 1, 1},
    };
    return table;
}

Action parseControl(const std::string& name, const std::string& body) {
    const Endpoint* endpoint = nullptr;
    for (const Endpoint& e : endpoints())
        if (name == e.name) endpoint = &e;
    if (!endpoint) {
        Action action;
        action.reply = jsonResponse(404, json{{"error", "no such control"}, {"control", name}}.dump(
                                             -1, ' ', true, json::error_handler_t::replace));
        return action;
    }
    const json parsed = json::parse(body, nullptr, false);
    if (parsed.is_discarded())
        return badRequest("not JSON", "body", shown(json(body)), "a JSON object");
    Action action;
    action.kind = ActionKind::Control;
    action.control.control = endpoint->control;
    if (auto error = checkBody(*endpoint, parsed, &action.control))
        return badRequest(error->what, error->field, error->value, error->limit);
    return action;
}

}  // namespace live
