#include "tools/tuning/LookEdit.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>

#include "tools/Numbers.h"
#include "tools/ToolError.h"
#include "tools/tuning/LookKeys.h"

namespace tool {

namespace {

std::string short3(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

double numberIn(const std::string& key, const std::string& text, const NumberRange& range) {
    const std::optional<double> value = parseNumber<double>(text, range.low);
    if (!value || !(*value <= range.high)) {
        throw usageError(key + " must be a number from " + short3(range.low) + " to " + short3(range.high) +
                         ", not '" + text + "'");
    }
    return *value;
}

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, at);) {
        parts.push_back(part);
    }
    return parts;
}

void editCurve(Look& look, const std::string& value) {
    look.curve = {};
    if (value == "off") {
        return;
    }
    for (const std::string& point : split(value, ' ')) {
        if (!point.empty()) {
            look.curve.points.push_back(parseCurvePoint(point));
        }
    }
    if (const char* wrong = wrongWith(look.curve.points); *wrong != '\0') {
        throw usageError("curve: " + std::string(wrong));
    }
}

[[noreturn]] void unknownKey(const std::string& key) {
    throw usageError("there is no key '" + key + "' ('huevance look set --list' shows the keys)");
}

// The adjustment that "kind", "kind.2" or "tint.shadows" means: its place in the list, or the list's length.
template <typename T>
std::size_t findAdjustment(const Look& look, const std::string& selector, const std::string& key) {
    std::size_t wanted = 1;
    std::optional<Tint::Range> range;
    if (selector == "shadows" || selector == "highlights") {
        range = selector == "shadows" ? Tint::Range::kShadows : Tint::Range::kHighlights;
        if (!std::is_same_v<T, Tint>) {
            unknownKey(key);
        }
    } else if (!selector.empty()) {
        wanted = parseNumber<std::size_t>(selector, 1).value_or(0);
        if (wanted == 0) {
            unknownKey(key);
        }
    }
    std::size_t seen = 0;
    for (std::size_t i = 0; i < look.adjustments.size(); ++i) {
        const T* adjustment = std::get_if<T>(&look.adjustments[i]);
        if (adjustment == nullptr) {
            continue;
        }
        if constexpr (std::is_same_v<T, Tint>) {
            if (range && adjustment->range != *range) {
                continue;
            }
        }
        if (++seen == wanted) {
            return i;
        }
    }
    if (wanted > seen + 1) {
        throw usageError(key + ": the look has " + std::to_string(seen) + " of these");
    }
    return look.adjustments.size();
}

template <typename T>
T newAdjustment(const std::string& selector, const std::string& key) {
    T adjustment;
    if constexpr (std::is_same_v<T, RgbLut> || std::is_same_v<T, Table>) {
        throw usageError(
            key + ": the look has none ('huevance lut import', 'huevance fit' and 'tuning adopt' make them)");
    }
    if constexpr (std::is_same_v<T, Tint>) {
        if (selector != "shadows" && selector != "highlights") {
            throw usageError(key + ": a new tint needs its range, tint.shadows or tint.highlights");
        }
        adjustment.range = selector == "shadows" ? Tint::Range::kShadows : Tint::Range::kHighlights;
    }
    return adjustment;
}

// `words`: the key's parts behind the kind.
template <typename T>
void editAdjustment(Look& look, const std::string& key, std::vector<std::string> words,
                    const std::string& value) {
    bool isNumberKey = false;
    T probe;
    if (!words.empty()) {
        AdjustmentKeys<T>::numbers(probe, [&](const char* name, double&, const NumberRange&) {
            isNumberKey = isNumberKey || words.back() == name;
        });
    }
    const std::string field = isNumberKey ? words.back() : "";
    if (isNumberKey) {
        words.pop_back();
    }
    if (words.size() > 1) {
        unknownKey(key);
    }
    const std::string selector = words.empty() ? "" : words.front();
    const std::size_t at = findAdjustment<T>(look, selector, key);
    if (value == "off" && field.empty()) {
        if (at < look.adjustments.size()) {
            look.adjustments.erase(look.adjustments.begin() + static_cast<std::ptrdiff_t>(at));
        }
        return;
    }
    T adjustment =
        at < look.adjustments.size() ? std::get<T>(look.adjustments[at]) : newAdjustment<T>(selector, key);
    bool set = false;
    AdjustmentKeys<T>::numbers(adjustment, [&](const char* name, double& number, const NumberRange& range) {
        if (!set && (field.empty() || field == name)) {
            number = numberIn(key, value, range);
            set = true;
        }
    });
    if (at < look.adjustments.size()) {
        look.adjustments[at] = adjustment;
    } else {
        look.adjustments.emplace_back(adjustment);
    }
}

void edit(Look& look, const std::string& key, const std::string& value) {
    if (key == "name") {
        if (!isLookName(value)) {
            throw usageError("name must be 1 to 31 letters, digits, \"-\" or \"_\", beginning with a letter");
        }
        look.name = value;
        return;
    }
    if (key == "about") {
        look.about = value;
        return;
    }
    if (key == "curve") {
        editCurve(look, value);
        return;
    }
    bool found = false;
    visitStrengths(look, [&](const char* name, double& number, const NumberRange& range) {
        if (key == name) {
            number = numberIn(key, value, range);
            found = true;
        }
    });
    const std::vector<std::string> words = split(key, '.');
    visitKinds([&](const auto& kind) {
        using T = std::decay_t<decltype(kind)>;
        if (!words.empty() && words.front() == AdjustmentKeys<T>::kKind) {
            editAdjustment<T>(look, key, {words.begin() + 1, words.end()}, value);
            found = true;
        }
    });
    if (!found) {
        unknownKey(key);
    }
}

}  // namespace

CurvePoint parseCurvePoint(const std::string& text) {
    const std::size_t comma = text.find(',');
    const auto level = [&](const std::string& part) {
        const std::optional<double> value = parseNumber<double>(part, 0);
        if (comma == std::string::npos || !value || !(*value <= 255)) {
            throw usageError("a point is X,Y with levels from 0 to 255, not '" + text + "'");
        }
        return *value;
    };
    return {level(text.substr(0, comma)), level(comma == std::string::npos ? "" : text.substr(comma + 1))};
}

void editLook(Look& look, const std::string& keyAndValue) {
    const std::size_t equals = keyAndValue.find('=');
    if (equals == std::string::npos) {
        throw usageError("'" + keyAndValue + "' is not KEY=VALUE");
    }
    Look changed = look;
    edit(changed, keyAndValue.substr(0, equals), keyAndValue.substr(equals + 1));
    look = std::move(changed);
}

std::string lookKeyList() {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    const auto line = [&](std::string key, const std::string& range, const std::string& meaning) {
        key.resize(std::max<std::size_t>(key.size(), 22), ' ');
        out << key << " " << range << std::string(range.size() < 12 ? 12 - range.size() : 0, ' ') << " "
            << meaning << "\n";
    };
    const auto number = [&](const std::string& key, const NumberRange& range) {
        line(key, short3(range.low) + " .. " + short3(range.high), range.meaning);
    };
    line("name", "", "what the scene is called everywhere");
    line("about", "", "a sentence for people");
    Look look;
    visitStrengths(look, [&](const char* key, double&, const NumberRange& range) { number(key, range); });
    line("curve", "X,Y X,Y ...", "points of the tone curve, levels 0 .. 255; off: none");
    visitKinds([&](auto kind) {
        using Keys = AdjustmentKeys<decltype(kind)>;
        const std::string name =
            std::string(Keys::kKind) + (std::is_same_v<decltype(kind), Tint> ? ".shadows" : "");
        Keys::numbers(kind, [&](const char* key, double&, const NumberRange& range) {
            number(name + "." + key, range);
        });
    });
    out << "\nKIND.2.KEY means the second adjustment of its kind, KIND=off removes one, tint.highlights is "
           "the other "
           "tint.\nHues in Oklab: red 29, skin 40 .. 70, orange 60, yellow 110, green 142, cyan 195, blue "
           "264, magenta 328.\n";
    return out.str();
}

}  // namespace tool
