#include "tools/studio/Schema.h"

#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "tools/tuning/LookKeys.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

struct Label {
    std::string_view key;
    const char* label;
};

constexpr Label kStrengthLabels[] = {{"claheStrength", "Local contrast"},
                                     {"satStrength", "Saturation"},
                                     {"colorStrength", "Colour strength"},
                                     {"curveColor", "Colours follow the curve"}};

// Dumps are left out: nobody wants them from an editor.
constexpr Label kSettingLabels[] = {{"photoSwitch", "Enhance captures"},
                                    {"frameSwitch", "Enhance previews"},
                                    {"claheSwitch", "Local contrast"},
                                    {"curveSwitch", "Tone curve and saturation"},
                                    {"cCorrSwitch", "Colour correction"},
                                    {"colorSwitch", "Colour table"},
                                    {"pProtectSwitch", "Portrait protection"},
                                    {"maskSource", "Portrait mask (0 none, 1 from the host, 2 skin)"},
                                    {"gridWidth", "Tiles across"},
                                    {"gridHeight", "Tiles down"},
                                    {"sampRate", "Sampling step"},
                                    {"transFrameNum", "Frames of a fade"}};

constexpr Label kKindLabels[] = {{"saturation", "Saturation"},
                                 {"vibrance", "Vibrance"},
                                 {"warmth", "Warmth and tint"},
                                 {"selective", "Selective colour"},
                                 {"tint", "Tint"},
                                 {"lut", "Imported LUT"},
                                 {"table", "Table"}};

constexpr const char* kStages[] = {"clahe", "curve", "correction", "table", "protection"};

Json settingsJson(bool photo) {
    Json settings = Json::array();
    for (const auto& [key, label] : studioSettings(photo)) {
        settings.push_back({{"key", key->name},
                            {"label", label},
                            {"kind", key->kind == TuningKey::Kind::kSwitch ? "switch" : "number"},
                            {"low", key->low},
                            {"high", key->high}});
    }
    return settings;
}

template <std::size_t N>
const char* labelOf(const Label (&labels)[N], std::string_view key) {
    for (const Label& label : labels) {
        if (label.key == key) {
            return label.label;
        }
    }
    return "";
}

// Keys that are words, as the reader of look files takes them.
Json choicesOf(std::string_view kind) {
    if (kind == AdjustmentKeys<Tint>::kKind) {
        return {{{"key", "range"}, {"values", {"shadows", "highlights"}}}};
    }
    if (kind == AdjustmentKeys<RgbLut>::kKind) {
        return {{{"key", "gamut"}, {"values", {"keep", "clamp"}}},
                {{"key", "matrix"}, {"values", {"bt601", "bt709"}}}};
    }
    return Json::array();
}

}  // namespace

std::vector<StudioSetting> studioSettings(bool photo) {
    std::vector<StudioSetting> settings;
    for (const Label& label : kSettingLabels) {
        for (const TuningKey& key : keysOfFile(photo ? "photoSet.ini" : "frameSet.ini")) {
            if (label.key == key.name) {
                settings.push_back({&key, label.label});
            }
        }
    }
    return settings;
}

void addSchema(Json& json) {
    json["strengths"] = Json::array();
    Look look;
    visitStrengths(look, [&](const char* key, double value, const NumberRange& range) {
        json["strengths"].push_back({{"key", key},
                                     {"low", range.low},
                                     {"high", range.high},
                                     {"default", value},
                                     {"label", labelOf(kStrengthLabels, key)},
                                     {"meaning", range.meaning}});
    });
    json["adjustments"] = Json::array();
    visitKinds([&](auto adjustment) {
        using Keys = AdjustmentKeys<decltype(adjustment)>;
        Json keys = Json::array();
        Keys::numbers(adjustment, [&](const char* key, double value, const NumberRange& range) {
            keys.push_back({{"key", key},
                            {"low", range.low},
                            {"high", range.high},
                            {"meaning", range.meaning},
                            {"default", value}});
        });
        const bool data =
            std::is_same_v<decltype(adjustment), RgbLut> || std::is_same_v<decltype(adjustment), Table>;
        json["adjustments"].push_back({{"kind", Keys::kKind},
                                       {"label", labelOf(kKindLabels, Keys::kKind)},
                                       {"keys", keys},
                                       {"choices", choicesOf(Keys::kKind)},
                                       {"data", data}});
    });
    json["settings"] = {{"photo", settingsJson(true)}, {"frame", settingsJson(false)}};
    json["stages"] = kStages;
}

}  // namespace tool
