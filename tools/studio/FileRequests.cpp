// Requests that bring something along: LUTs, pictures before and after, a colour.
#include "tools/Files.h"
#include "tools/Numbers.h"
#include "tools/picture/Color.h"
#include "tools/studio/Answers.h"
#include "tools/studio/Session.h"
#include "tools/tuning/Fit.h"
#include "tools/tuning/LutFile.h"

namespace tool {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

// A name for a file that somebody sent: theirs, as far as it is harmless.
std::string safeName(const std::string& name) {
    std::string safe;
    for (const char c : name.substr(name.find_last_of("/\\") + 1)) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || c == ' ' || c == '.';
        safe += plain && (c != '.' || !safe.empty()) ? c : '_';
    }
    return safe.size() > 100 ? safe.substr(safe.size() - 100) : safe.empty() ? "lut" : safe;
}

Json lookJson(const Look& look) { return Json::parse(toJson(look)); }

}  // namespace

HttpResponse Studio::Session::lut(const HttpRequest& request) {
    const std::string name = safeName(request.parameter("name"));
    const std::string path = m_private.path() + "/lut";
    const std::lock_guard lock(m_working);
    fs::create_directory(path);
    writeFile(path + "/" + name, Bytes(request.body.begin(), request.body.end()));
    Look look;
    look.name = "lut";
    std::string reason;
    try {
        look.adjustments.emplace_back(readLutFile(path + "/" + name));
    } catch (const ToolError& error) {
        reason = error.what();
    }
    fs::remove_all(path);
    if (!reason.empty()) {
        // Without the place that it was put in.
        for (std::size_t at = reason.find(path + "/"); at != std::string::npos;
             at = reason.find(path + "/")) {
            reason.erase(at, path.size() + 1);
        }
        throw HttpError(422, reason);
    }
    return jsonResponse({{"adjustment", lookJson(look)["adjustments"][0]}});
}

HttpResponse Studio::Session::fit(const HttpRequest& request) {
    std::string text;
    std::vector<const HttpFile*> before, after;
    for (const HttpFile& file : request.files) {
        if (file.field == "document") {
            text = file.bytes;
        } else if (file.field == "before" || file.field == "after") {
            (file.field == "before" ? before : after).push_back(&file);
        }
    }
    const Json document = parseJson(text);
    const std::string number = request.parameter("table");
    const StudioTable table = parseTable(document, parseNumber<int>(number, 0).value_or(-1));
    if (before.empty() || before.size() != after.size()) {
        throw HttpError(422, "as many pictures after the edit as before it are needed, at least one");
    }
    const std::lock_guard lock(m_working);
    std::vector<PicturePair> pairs;
    for (std::size_t i = 0; i < before.size(); ++i) {
        pairs.push_back({before[i]->name, after[i]->name, decodeSent(before[i]->bytes, before[i]->name),
                         decodeSent(after[i]->bytes, after[i]->name)});
        checkPair(pairs.back());
    }
    FitOptions options;
    options.curve = request.parameter("curve") == "1";
    const StudioMode mode = parseMode(document, true);
    const auto correction = mode.settings.find("cCorrSwitch");
    options.correction = correction != mode.settings.end() && correction->second == 1;
    const FittedColors colors = fitColors(pairs, options);
    Look look = table.look ? *table.look : Look();
    look.name = look.name.empty() ? "table" + number : look.name;
    setFitted(look, colors);
    return jsonResponse(
        {{"look", lookJson(look)}, {"report", Json::parse(jsonOf(pairs, reportOf(pairs, colors, options)))}});
}

HttpResponse Studio::Session::pick(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const auto rgb = json.find("rgb");
    if (rgb == json.end() || !rgb->is_array() || rgb->size() != 3) {
        throw HttpError(400, "rgb is three levels");
    }
    const auto channel = [&](std::size_t i) {
        const Json one = {{"rgb", (*rgb)[i]}};
        return wholeNumber(one, "rgb", 0, 255, 0) / 255.0;
    };
    const auto [lightness, chroma, hue] = toOkLch(toOklab(Rgb{channel(0), channel(1), channel(2)}));
    return jsonResponse({{"hue", hue}, {"chroma", chroma}, {"lightness", lightness}});
}

}  // namespace tool
