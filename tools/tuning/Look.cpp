#include "tools/tuning/Look.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "tools/Files.h"
#include "tools/tuning/Base64.h"
#include "tools/tuning/LookKeys.h"

namespace tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxPoints = 64;
constexpr std::size_t kMaxAdjustments = 32;

std::string numberText(double value) {
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof(text), value == 0 ? 0.0 : value);
    return {text, error == std::errc() ? end : text};
}

// Reads characters and counts lines, for messages.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, int* line) : m_at(at), m_line(line) {}
    reference operator*() const { return *m_at; }
    CountingIterator& operator++() {
        *m_line += *m_at == '\n' ? 1 : 0;
        ++m_at;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return m_at == other.m_at; }
    bool operator!=(const CountingIterator& other) const { return m_at != other.m_at; }

private:
    const char* m_at;
    int* m_line;
};

// A parsed file, and the line of every key, object and list, by its path ("adjustments[1].amount").
struct Source {
    std::string file;
    std::map<std::string, int> lines;

    [[noreturn]] void fail(const std::string& path, const std::string& what) const {
        std::string known = path;  // a number in a list stands on its list's line
        while (lines.count(known) == 0 && !known.empty()) {
            known.pop_back();
        }
        throw LookError(file, lines.count(known) != 0 ? lines.at(known) : 1,
                        (path.empty() ? "" : path + " ") + what);
    }
};

// Follows the parser: where it is, and which keys it has seen there.
class Tracker {
public:
    Tracker(Source& source, const int& line) : m_source(source), m_line(line) {}

    bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
        switch (event) {
            case Json::parse_event_t::object_start:
            case Json::parse_event_t::array_start:
                begin(event == Json::parse_event_t::array_start);
                break;
            case Json::parse_event_t::key:
                key(parsed.get<std::string>());
                break;
            case Json::parse_event_t::object_end:
            case Json::parse_event_t::array_end:
                m_levels.pop_back();
                next();
                break;
            case Json::parse_event_t::value:
                next();
                break;
        }
        return true;
    }

private:
    struct Level {
        std::string path;
        bool list;
        std::size_t index = 0;
        std::string current;  // key
        std::set<std::string> keys;
    };

    std::string path() const {
        if (m_levels.empty()) {
            return "";
        }
        const Level& level = m_levels.back();
        if (level.list) {
            return level.path + "[" + std::to_string(level.index) + "]";
        }
        return level.path.empty() ? level.current : level.path + "." + level.current;
    }
    void begin(bool list) {
        const std::string at = path();
        m_source.lines.emplace(at, m_line);
        m_levels.push_back({at, list, 0, {}, {}});
        if (m_levels.size() > 8) {
            m_source.fail(at, "is nested too deeply");
        }
    }
    void key(const std::string& name) {
        Level& level = m_levels.back();
        level.current = name;
        const bool first = level.keys.insert(name).second;
        m_source.lines[path()] = m_line;
        if (!first) {
            m_source.fail(path(), "stands twice");
        }
    }
    void next() {
        if (!m_levels.empty()) {
            ++m_levels.back().index;
        }
    }

    Source& m_source;
    const int& m_line;
    std::vector<Level> m_levels;
};

// An object whose keys are taken one by one; what is left at the end is not known.
class Object {
public:
    Object(const Source& source, const Json& json, std::string path)
        : m_source(source), m_json(json), m_path(std::move(path)) {
        if (!json.is_object()) {
            fail("", "must be an object");
        }
    }

    [[noreturn]] void fail(const std::string& key, const std::string& what) const {
        m_source.fail(pathOf(key), what);
    }
    std::string pathOf(const std::string& key) const {
        return m_path.empty() || key.empty() ? m_path + key : m_path + "." + key;
    }
    const Source& source() const { return m_source; }

    // Null when there is none.
    const Json* find(const std::string& key) {
        m_taken.push_back(key);
        const auto at = m_json.find(key);
        return at == m_json.end() ? nullptr : &*at;
    }
    const Json& get(const std::string& key) {
        const Json* value = find(key);
        if (value == nullptr) {
            fail("", m_path.empty() ? "needs the key \"" + key + "\"" : "needs the key \"" + key + "\"");
        }
        return *value;
    }
    void number(const std::string& key, double& value, double low, double high, bool required) {
        const Json* json = required ? &get(key) : find(key);
        if (json == nullptr) {
            return;
        }
        // Not written as !(low <= x): numbers that are none cannot be written in JSON.
        if (!json->is_number() || json->get<double>() < low || json->get<double>() > high) {
            fail(key, "must be a number from " + numberText(low) + " to " + numberText(high));
        }
        value = json->get<double>();
    }
    std::string text(const std::string& key, bool required) {
        const Json* json = required ? &get(key) : find(key);
        if (json == nullptr) {
            return "";
        }
        if (!json->is_string()) {
            fail(key, "must be a text");
        }
        return json->get<std::string>();
    }
    // Bytes in base64.
    Bytes data(const std::string& key, std::size_t size) {
        const std::optional<Bytes> bytes = fromBase64(text(key, true));
        if (!bytes || bytes->size() != size) {
            fail(key, "must be " + std::to_string(size) + " bytes in base64");
        }
        return *bytes;
    }
    // One of a few words; the first one without the key.
    std::size_t word(const std::string& key, const std::vector<std::string>& words, bool required) {
        const std::string chosen = text(key, required);
        const auto at = std::find(words.begin(), words.end(), chosen);
        if (at != words.end()) {
            return static_cast<std::size_t>(at - words.begin());
        }
        if (chosen.empty() && !required) {
            return 0;
        }
        std::string all;
        for (const std::string& one : words) {
            all += (all.empty() ? "\"" : " or \"") + one + "\"";
        }
        fail(key, "must be " + all);
    }
    void finish() const {
        for (const auto& [key, value] : m_json.items()) {
            if (std::find(m_taken.begin(), m_taken.end(), key) == m_taken.end()) {
                std::string known;
                for (const std::string& one : m_taken) {
                    known += (known.empty() ? "" : ", ") + one;
                }
                fail(key, "is not a key that is known here (" + known + ")");
            }
        }
    }

private:
    const Source& m_source;
    const Json& m_json;
    std::string m_path;
    std::vector<std::string> m_taken;
};

std::vector<float> floatsOf(const Bytes& bytes) {
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

Bytes bytesOf(const std::vector<float>& values) {
    Bytes bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

const std::vector<std::string> kRanges = {"shadows", "highlights"};
const std::vector<std::string> kGamuts = {"keep", "clamp"};
const std::vector<std::string> kMatrices = {"bt601", "bt709"};
const std::vector<std::string> kReads = {"levels", "texels"};
constexpr double kUnit16 = 65535;

template <typename T>
void readRest(Object& /*object*/, T& /*adjustment*/) {}

void readRest(Object& object, Tint& tint) {
    tint.range = static_cast<Tint::Range>(object.word("range", kRanges, true));
}

void readRest(Object& object, RgbLut& lut) {
    lut.source = object.text("source", false);
    lut.outside = static_cast<OutsideGamut>(object.word("gamut", kGamuts, false));
    lut.weights = static_cast<LumaWeights>(object.word("matrix", kMatrices, false));
    double size = 0;
    object.number("size", size, 2, 65, true);
    lut.size = static_cast<int>(size);
    if (lut.size != size) {
        object.fail("size", "must be a whole number");
    }
    const auto side = static_cast<std::size_t>(lut.size);
    const Bytes data = object.data("data", 6 * side * side * side);
    const auto channel = [&](std::size_t at) { return (data[2 * at] + 256 * data[2 * at + 1]) / kUnit16; };
    for (std::size_t at = 0; at < data.size() / 2; at += 3) {
        lut.points.push_back({channel(at), channel(at + 1), channel(at + 2)});
    }
}

void readRest(Object& object, Table& table) {
    table.source = object.text("source", false);
    table.texels = object.word("read", kReads, false) != 0;
    table.lattice = Lattice(floatsOf(object.data("data", Lattice::kFloats * sizeof(float))));
}

Adjustment readAdjustment(const Source& source, const Json& json, const std::string& path) {
    Object object(source, json, path);
    const std::string kind = object.text("kind", true);
    std::optional<Adjustment> found;
    std::string known;
    visitKinds([&](auto adjustment) {
        using Keys = AdjustmentKeys<decltype(adjustment)>;
        known += (known.empty() ? "" : ", ") + std::string(Keys::kKind);
        if (kind == Keys::kKind) {
            Keys::numbers(adjustment, [&](const char* key, double& value, const NumberRange& range) {
                object.number(key, value, range.low, range.high, false);
            });
            readRest(object, adjustment);
            found = adjustment;
        }
    });
    if (!found) {
        object.fail("kind", "\"" + kind + "\" is none of " + known);
    }
    object.finish();
    return *found;
}

CurvePoint readPoint(const Source& source, const Json& json, const std::string& path) {
    if (!json.is_array() || json.size() != 2 || !json[0].is_number() || !json[1].is_number()) {
        source.fail(path, "must be two levels, [x, y]");
    }
    return {json[0].get<double>(), json[1].get<double>()};
}

ToneCurve readCurve(const Source& source, const Json& json, const std::string& path) {
    Object object(source, json, path);
    ToneCurve curve;
    const Json* points = object.find("points");
    const Json* levels = object.find("levels");
    if ((points == nullptr) == (levels == nullptr)) {
        object.fail("", "needs either \"points\" or \"levels\"");
    }
    if (levels != nullptr) {
        curve.levels = floatsOf(object.data("levels", 256 * sizeof(float)));
    } else if (!points->is_array() || points->size() > kMaxPoints) {
        object.fail("points", "must be a list of at most " + std::to_string(kMaxPoints) + " points");
    } else {
        for (std::size_t i = 0; i < points->size(); ++i) {
            const std::string at = path + ".points[" + std::to_string(i) + "]";
            curve.points.push_back(readPoint(source, (*points)[i], at));
        }
        if (const char* wrong = wrongWith(curve.points); *wrong != '\0') {
            object.fail("points", std::string("is no curve: ") + wrong);
        }
    }
    object.finish();
    return curve;
}

Look readLookObject(const Source& source, const Json& json) {
    Object object(source, json, "");
    Look look;
    look.name = object.text("name", true);
    if (!isLookName(look.name)) {
        object.fail("name", "must be 1 to 31 letters, digits, \"-\" or \"_\", beginning with a letter");
    }
    look.about = object.text("about", false);
    visitStrengths(look, [&](const char* key, double& value, const NumberRange& range) {
        object.number(key, value, range.low, range.high, false);
    });
    if (const Json* curve = object.find("curve")) {
        look.curve = readCurve(source, *curve, "curve");
    }
    if (const Json* list = object.find("adjustments")) {
        if (!list->is_array() || list->size() > kMaxAdjustments) {
            object.fail("adjustments", "must be a list of at most " + std::to_string(kMaxAdjustments));
        }
        for (std::size_t i = 0; i < list->size(); ++i) {
            look.adjustments.push_back(
                readAdjustment(source, (*list)[i], "adjustments[" + std::to_string(i) + "]"));
        }
    }
    object.finish();
    return look;
}

std::string quoted(const std::string& text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <typename T>
void writeRest(std::string& /*out*/, const T& /*adjustment*/) {}

void writeText(std::string& out, const char* key, const std::string& text) {
    out += std::string(", \"") + key + "\": " + quoted(text);
}

void writeRest(std::string& out, const Tint& tint) {
    writeText(out, "range", kRanges[static_cast<std::size_t>(tint.range)]);
}

void writeRest(std::string& out, const RgbLut& lut) {
    writeText(out, "source", lut.source);
    writeText(out, "gamut", kGamuts[static_cast<std::size_t>(lut.outside)]);
    writeText(out, "matrix", kMatrices[static_cast<std::size_t>(lut.weights)]);
    out += ", \"size\": " + std::to_string(lut.size);
    Bytes data;
    for (const Rgb& point : lut.points) {
        for (const double channel : {point.r, point.g, point.b}) {
            const auto unit = static_cast<unsigned>(std::lround(std::clamp(channel, 0.0, 1.0) * kUnit16));
            data.push_back(static_cast<std::uint8_t>(unit & 255U));
            data.push_back(static_cast<std::uint8_t>(unit >> 8U));
        }
    }
    writeText(out, "data", toBase64(data));
}

void writeRest(std::string& out, const Table& table) {
    writeText(out, "source", table.source);
    writeText(out, "read", kReads[table.texels ? 1 : 0]);
    writeText(out, "data", toBase64(bytesOf(table.lattice.values())));
}

std::string text(const Adjustment& adjustment) {
    return std::visit(
        [](const auto& a) {
            using Keys = AdjustmentKeys<std::decay_t<decltype(a)>>;
            std::string out = std::string("{\"kind\": \"") + Keys::kKind + "\"";
            Keys::numbers(a, [&](const char* key, double value, const NumberRange&) {
                out += std::string(", \"") + key + "\": " + numberText(value);
            });
            writeRest(out, a);
            return out + "}";
        },
        adjustment);
}

std::string text(const ToneCurve& curve) {
    if (!curve.levels.empty()) {
        return "{\"levels\": \"" + toBase64(bytesOf(curve.levels)) + "\"}";
    }
    std::string out;
    for (const CurvePoint& point : curve.points) {
        out += (out.empty() ? "[" : ", [") + numberText(point.x) + ", " + numberText(point.y) + "]";
    }
    return "{\"points\": [" + out + "]}";
}

}  // namespace

LookError::LookError(const std::string& file, int line, const std::string& what)
    : ToolError(ExitCode::kFile, file + ", line " + std::to_string(line) + ": " + what),
      m_line(line),
      m_reason(what) {}

std::string lookFileName(int table) { return "look" + std::to_string(table) + ".json"; }

bool isLookName(std::string_view name) {
    const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto good = [&](char c) { return letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_'; };
    return !name.empty() && name.size() <= 31 && letter(name.front()) &&
           std::all_of(name.begin(), name.end(), good);
}

Look parseLook(std::string_view text, const std::string& file) {
    Source source{file, {}};
    int line = 1;
    if (text.size() > kMaxLookBytes) {
        throw LookError(file, 1, "is too large for a look");
    }
    try {
        const Json json =
            Json::parse(CountingIterator(text.data(), &line),
                        CountingIterator(text.data() + text.size(), &line), Tracker(source, line));
        return readLookObject(source, json);
    } catch (const Json::parse_error& error) {
        // What the parser says after its own position. It quotes what it read last: a whole table's data.
        constexpr std::size_t kMost = 200;
        std::string what = error.what();
        const std::size_t colon = what.find(": ");
        what.erase(0, colon == std::string::npos ? 0 : colon + 2);
        throw LookError(file, line, "is not JSON: " + (what.size() > kMost ? what.substr(0, kMost) + "..." : what));
    } catch (const Json::exception& error) {
        throw LookError(file, line, std::string("is not JSON: ") + error.what());
    }
}

Look readLook(const std::string& file) {
    const Bytes bytes = readFile(file);
    return parseLook({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, file);
}

std::string toJson(const Look& look) {
    std::string out = "{\n  \"name\": " + quoted(look.name) + ",\n  \"about\": " + quoted(look.about) + ",\n";
    visitStrengths(look, [&](const char* key, double value, const NumberRange&) {
        out += std::string("  \"") + key + "\": " + numberText(value) + ",\n";
    });
    out += "  \"curve\": " + text(look.curve) + ",\n  \"adjustments\": [";
    for (std::size_t i = 0; i < look.adjustments.size(); ++i) {
        out += (i == 0 ? "\n    " : ",\n    ") + text(look.adjustments[i]);
    }
    return out + (look.adjustments.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace tool
