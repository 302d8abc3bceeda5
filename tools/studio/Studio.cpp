#include "tools/studio/Studio.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>

#include "tools/Files.h"
#include "tools/Numbers.h"
#include "tools/host/HostLibrary.h"
#include "tools/host/PlatformSet.h"
#include "tools/picture/Color.h"
#include "tools/studio/Assets.h"
#include "tools/studio/Digest.h"
#include "tools/studio/Document.h"
#include "tools/studio/Photos.h"
#include "tools/studio/PrivateDirectory.h"
#include "tools/studio/RenderQueue.h"
#include "tools/studio/Renderer.h"
#include "tools/studio/Schema.h"
#include "tools/tuning/Fit.h"
#include "tools/tuning/LutFile.h"
#include "tools/tuning/StarterTuning.h"
#include "tools/tuning/TuningFiles.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::ordered_json;

struct Type {
    std::string_view ending;
    const char* type;
};
constexpr Type kTypes[] = {{".html", "text/html; charset=utf-8"},      {".css", "text/css; charset=utf-8"},
                           {".mjs", "text/javascript; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"},
                           {".svg", "image/svg+xml"},                  {".png", "image/png"},
                           {".json", "application/json"},              {".woff2", "font/woff2"}};

std::string typeOf(std::string_view name) {
    for (const Type& known : kTypes) {
        if (name.size() > known.ending.size() &&
            name.substr(name.size() - known.ending.size()) == known.ending) {
            return known.type;
        }
    }
    return "application/octet-stream";
}

HttpResponse asset(std::string_view name) {
    for (const Asset& one : embeddedAssets()) {
        if (one.name == name) {
            return {200, typeOf(name), std::string(one.contents), {}};
        }
    }
    throw HttpError(404, "there is no such page");
}

// For every answer: nothing from elsewhere, nothing kept, nothing told to others.
void addSafety(HttpResponse& response) {
    response.headers.insert(
        response.headers.end(),
        {{"Content-Security-Policy",
          "default-src 'self'; img-src 'self' blob: data:; style-src 'self'; object-src 'none'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"X-Frame-Options", "DENY"},
         {"Cache-Control", "no-store"},
         {"Referrer-Policy", "no-referrer"},
         {"Cross-Origin-Opener-Policy", "same-origin"},
         {"Cross-Origin-Resource-Policy", "same-origin"}});
}

// Texts may hold names of files, which may be any bytes.
HttpResponse jsonResponse(const Json& json, int status = 200) {
    return {status, "application/json", json.dump(-1, ' ', false, Json::error_handler_t::replace), {}};
}

// Letters of a header, others as %XX.
std::string percentEncoded(const std::string& text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > ' ' && byte < 127 && c != '%') {
            encoded += c;
        } else {
            encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
        }
    }
    return encoded;
}

// "\n  one\n  two" as "one\ntwo".
std::string withoutIndent(const std::string& lines) {
    std::string plain;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        if (lines.compare(at, 3, "\n  ") == 0) {
            plain += plain.empty() ? "" : "\n";
            at += 2;
        } else {
            plain += lines[at];
        }
    }
    return plain;
}

// A message whose further lines are the library's.
HttpResponse refusedResponse(const std::string& message) {
    const std::string sentence = message.substr(0, message.find('\n'));
    Json lines = Json::array();
    std::string rest = withoutIndent(message.substr(sentence.size()));
    while (!rest.empty()) {
        lines.push_back(rest.substr(0, rest.find('\n')));
        rest.erase(0, rest.find('\n') == std::string::npos ? rest.size() : rest.find('\n') + 1);
    }
    return jsonResponse({{"error", sentence}, {"lines", lines}}, 422);
}

struct Crop {
    int x, y, width, height;
};

Crop parseCrop(const Json& request, Size size) {
    const auto found = request.find("crop");
    if (found == request.end() || found->is_null()) {
        return {0, 0, size.width, size.height};
    }
    if (!found->is_array() || found->size() != 4) {
        throw HttpError(400, "a crop is [x, y, width, height]");
    }
    const auto number = [&](std::size_t i, int low, int high) {
        const Json one = {{"crop", (*found)[i]}};
        return wholeNumber(one, "crop", low, high, low);
    };
    // What hangs over the edge is cut off: a page rounds as it likes.
    const int x = number(0, 0, size.width - 1), y = number(1, 0, size.height - 1);
    return {x, y, std::min(number(2, 1, kMaxSide), size.width - x),
            std::min(number(3, 1, kMaxSide), size.height - y)};
}

constexpr std::size_t kMostPixels = std::size_t{64} << 20U;  // of an answer

void appendRgba(const RgbPicture& picture, const Crop& crop, std::string& out) {
    const std::size_t begin = out.size();
    out.resize(begin + 4 * static_cast<std::size_t>(crop.width) * static_cast<std::size_t>(crop.height));
    char* to = out.data() + begin;
    for (int y = crop.y; y < crop.y + crop.height; ++y) {
        const std::uint8_t* from = picture.row(y) + 3 * static_cast<std::ptrdiff_t>(crop.x);
        for (int x = 0; x < crop.width; ++x, from += 3, to += 4) {
            to[0] = static_cast<char>(from[0]);
            to[1] = static_cast<char>(from[1]);
            to[2] = static_cast<char>(from[2]);
            to[3] = static_cast<char>(255);
        }
    }
}

std::string fixedPoint(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", value);
    return text;
}

// What a browser's tools show beside the request.
std::string timing(const Milliseconds& took) {
    return "bake;dur=" + fixedPoint(took.bake) + ", picture;dur=" + fixedPoint(took.picture) +
           ", setup;dur=" + fixedPoint(took.setUp) + ", frame;dur=" + fixedPoint(took.frame) +
           ", convert;dur=" + fixedPoint(took.convert);
}

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

HttpResponse errorResponse(int status, const std::string& sentence) {
    HttpResponse response = jsonResponse({{"error", sentence}}, status);
    addSafety(response);
    return response;
}

class Studio::Session {
public:
    Session(const HostLibrary& library, StudioOptions options)
        : m_directory(fs::absolute(options.directory).lexically_normal().string()),
          m_photos(std::move(options.photos)),
          m_renderer(library, m_photos, m_cache, m_directory, m_private.path()) {
        if (!fs::is_directory(m_directory)) {
            throw fileError("there is no tuning directory " + options.directory);
        }
    }

    HttpResponse answer(const HttpRequest& request);
    std::string id() const {
        Digest digest;
        digest.add(m_directory);
        return digest.hex();
    }
    PrivateDirectory& directory() { return m_private; }
    std::mutex& saving() { return m_saving; }

private:
    HttpResponse route(const HttpRequest& request);
    HttpResponse open(const HttpRequest& request);
    HttpResponse state(const HttpRequest& request);
    HttpResponse render(const HttpRequest& request);
    HttpResponse fade(const HttpRequest& request);
    HttpResponse curves(const HttpRequest& request);
    HttpResponse check(const HttpRequest& request);
    HttpResponse lut(const HttpRequest& request);
    HttpResponse fit(const HttpRequest& request);
    HttpResponse pick(const HttpRequest& request);
    HttpResponse save(const HttpRequest& request);

    Json photosJson();
    Json backEndsJson();
    PictureOrder orderOf(const Json& request, const Json& document, bool photo);
    // The directory as it would be after saving: changed files, and links to the others.
    void writeCandidate(const StudioDocument& document, const std::string& path);
    BakedTable bake(const Look& look, TableReader reader) { return m_cache.get(look, reader); }
    // The directory as it is, or what is wrong with it.
    template <typename Function>
    auto read(Function&& function);

    std::string m_directory;
    Photos m_photos;
    PrivateDirectory m_private;
    BakeCache m_cache;
    Renderer m_renderer;
    RenderQueue m_queue;
    std::mutex m_saving;
    std::mutex m_working;  // requests that need a place in the private directory, or much memory
};

template <typename Function>
auto Studio::Session::read(Function&& function) {
    try {
        return function();
    } catch (const ToolError& error) {
        std::error_code ignored;
        if (!fs::is_directory(m_directory, ignored)) {
            throw HttpError(409, "the tuning directory " + m_directory + " is gone");
        }
        throw;
    }
}

Json Studio::Session::photosJson() {
    Json photos = Json::array();
    for (std::size_t i = 0; i < m_photos.count(); ++i) {
        const Photos::Info info = m_photos.info(i);
        photos.push_back({{"name", info.name},
                          {"width", info.upright.width},
                          {"height", info.upright.height},
                          {"error", info.error.empty() ? Json() : Json(info.error)}});
    }
    return photos;
}

Json Studio::Session::backEndsJson() {
    Json all = Json::array();
    for (const char* const name : {"CPU", "NEON", "GPU", "OGL"}) {
        const auto has = [&](bool photo) {
            const auto names = backEndsOf(photo);
            return std::find(names.begin(), names.end(), std::string_view(name)) != names.end();
        };
        // Whether a driver is there shows when it is asked for a picture: to try them all takes seconds.
        all.push_back({{"name", name},
                       {"photo", has(true)},
                       {"frame", has(false)},
                       {"available", nullptr},
                       {"reason", ""}});
    }
    return all;
}

HttpResponse Studio::Session::open(const HttpRequest& /*request*/) {
    Json json = {{"directory", m_directory}, {"id", id()}};
    read([&] {
        const std::lock_guard lock(m_saving);  // all of it before or after a save
        json["base"] = digestOf(m_directory);
        json["document"] = toJson(readDocument(m_directory));
    });
    json["photos"] = photosJson();
    json["backEnds"] = backEndsJson();
    addSchema(json);
    json["version"] = HUEVANCE_TOOL_VERSION;
    return jsonResponse(json);
}

HttpResponse Studio::Session::state(const HttpRequest& /*request*/) {
    const std::lock_guard lock(m_saving);
    return jsonResponse({{"base", read([&] { return digestOf(m_directory); })}});
}

PictureOrder Studio::Session::orderOf(const Json& request, const Json& document, bool photo) {
    PictureOrder order;
    order.photo = photo;
    order.mode = parseMode(document, order.photo);
    const std::string other = parseMode(document, !order.photo).platform;
    order.reader = order.photo ? tableReader(order.mode.platform, other) : tableReader(other, order.mode.platform);
    order.backEnd = textOf(request, "backEnd", "");
    if (!order.backEnd.empty() && (!isBackEndName(order.backEnd) || order.backEnd.size() > 126)) {
        throw HttpError(400, "this cannot be a back end's name");
    }
    const int last = static_cast<int>(m_photos.count()) - 1;
    order.picture = static_cast<std::size_t>(wholeNumber(request, "photo", 0, last, 0));
    order.pixels = wholeNumber(request, "pixels", 0, INT_MAX, 0);
    return order;
}

HttpResponse Studio::Session::render(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const Json& document = documentIn(json);
    const std::string mode = textOf(json, "mode", "photo");
    if (mode != "photo" && mode != "frame") {
        throw HttpError(400, "a mode is photo or frame");
    }
    PictureOrder order = orderOf(json, document, mode == "photo");
    order.stage = textOf(json, "stage", "");
    if (order.stage != "input") {
        order.tables = {parseTable(document, wholeNumber(json, "table", 0, kMaxSceneTables - 1, 0))};
    }
    const std::string lane = textOf(json, "lane", "");
    const auto serial = json.find("serial");
    const RenderQueue::Place place = {textOf(json, "page", "") + "/" + lane,
                                      serial != json.end() && serial->is_number() ? serial->get<double>() : 0.0,
                                      lane == "after"};
    std::shared_ptr<const Rendered> rendered;
    m_queue.run(place, [&] { rendered = m_renderer.render(order); });
    const Size full = rendered->rgb.size;
    const Crop crop = parseCrop(json, full);
    if (static_cast<std::size_t>(crop.width) * static_cast<std::size_t>(crop.height) > kMostPixels) {
        throw HttpError(422, "a picture of more than 64 megapixels is sent in parts only: ask for a crop");
    }
    HttpResponse response = {200, "application/octet-stream", {}, {}};
    appendRgba(rendered->rgb, crop, response.body);
    response.headers = {{"X-Width", std::to_string(crop.width)},
                        {"X-Height", std::to_string(crop.height)},
                        {"X-Full-Width", std::to_string(full.width)},
                        {"X-Full-Height", std::to_string(full.height)},
                        {"X-Milliseconds", fixedPoint(rendered->took.frame)},
                        {"X-Errors", percentEncoded(withoutIndent(rendered->errors))},
                        {"Server-Timing", timing(rendered->took)}};
    return response;
}

HttpResponse Studio::Session::fade(const HttpRequest& request) {
    constexpr int kMostFrames = 60;
    constexpr int kUsualPixels = 120'000;
    const Json json = parseJson(request.body);
    const Json& document = documentIn(json);
    PictureOrder order = orderOf(json, document, false);
    for (const char* const end : {"from", "to"}) {
        order.tables.push_back(parseTable(document, wholeNumber(json, end, 0, kMaxSceneTables - 1, 0)));
    }
    const int frames = wholeNumber(json, "frames", 2, kMostFrames, kMostFrames);
    // Together they must fit into an answer.
    const int most = static_cast<int>(kMostPixels) / frames;
    order.pixels = order.pixels == 0 ? kUsualPixels : std::min<long long>(order.pixels, most);
    std::vector<Rendered> pictures;
    m_queue.run({textOf(json, "page", "") + "/fade", 0, false},
                [&] { pictures = m_renderer.fade(order, static_cast<std::size_t>(frames)); });
    const Size size = pictures.front().rgb.size;
    HttpResponse response = {200, "application/octet-stream", {}, {}};
    std::string errors;
    for (const Rendered& picture : pictures) {
        appendRgba(picture.rgb, {0, 0, size.width, size.height}, response.body);
        errors = errors.empty() ? picture.errors : errors;
    }
    response.headers = {{"X-Width", std::to_string(size.width)},
                        {"X-Height", std::to_string(size.height)},
                        {"X-Frames", std::to_string(pictures.size())},
                        {"X-Errors", percentEncoded(withoutIndent(errors))}};
    return response;
}

HttpResponse Studio::Session::curves(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioTable table = parseTable({{"tables", Json::array({json})}}, 0);
    if (!table.look) {
        throw HttpError(400, "the request has no look");
    }
    return jsonResponse({{"levels", bakeWithoutColor(*table.look, TableReader::kLevels).curve}});
}

void Studio::Session::writeCandidate(const StudioDocument& document, const std::string& path) {
    TuningDirectory tuning(m_directory);
    apply(document, tuning);
    const FileChanges changes =
        tuning.changes([this](const Look& look, TableReader reader) { return bake(look, reader); });
    fs::remove_all(path);
    fs::create_directory(path);
    for (const auto& [name, contents] : changes.files()) {
        if (contents) {
            writeFile(path + "/" + name, *contents);
        }
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(m_directory)) {
        const std::string name = entry.path().filename().string();
        if (changes.files().count(name) == 0) {
            fs::create_symlink(entry.path(), fs::path(path) / name);
        }
    }
}

HttpResponse Studio::Session::check(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioDocument document = parseDocument(documentIn(json));
    CheckOptions options;
    if (const auto size = json.find("size"); size != json.end() && !size->is_null()) {
        const auto side = [&](std::size_t i) {
            const Json one = {{"size", size->is_array() && size->size() == 2 ? (*size)[i] : Json("")}};
            return wholeNumber(one, "size", 1, kMaxSide, 1);
        };
        options.size = Size{side(0), side(1)};
    }
    const std::lock_guard lock(m_working);
    return read([&] {
        const std::string path = m_private.path() + "/check";
        writeCandidate(document, path);
        return HttpResponse{200, "application/json", jsonReport(m_directory, checkTuning(path, options)), {}};
    });
}

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
        for (std::size_t at = reason.find(path + "/"); at != std::string::npos; at = reason.find(path + "/")) {
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

HttpResponse Studio::Session::save(const HttpRequest& request) {
    const Json json = parseJson(request.body);
    const StudioDocument document = parseDocument(documentIn(json));
    const std::string base = textOf(json, "base", "");
    const auto force = json.find("force");
    const bool forced = force != json.end() && force->is_boolean() && force->get<bool>();
    const std::lock_guard lock(m_saving);
    return read([&] {
        const std::string now = digestOf(m_directory);
        if (now != base && !forced) {
            return jsonResponse(
                {{"error", "the directory has been changed by somebody else since it was opened"}, {"base", now}},
                409);
        }
        TuningDirectory tuning(m_directory);
        apply(document, tuning);
        const std::vector<std::string> changed =
            tuning.changes([this](const Look& look, TableReader reader) { return bake(look, reader); }).commit();
        return jsonResponse({{"base", digestOf(m_directory)},
                             {"document", toJson(readDocument(m_directory))},
                             {"changed", changed}});
    });
}

HttpResponse Studio::Session::route(const HttpRequest& request) {
    struct Route {
        const char *method, *path;
        HttpResponse (Session::*answer)(const HttpRequest&);
    };
    constexpr Route kRoutes[] = {
        {"GET", "/api/open", &Session::open},      {"GET", "/api/state", &Session::state},
        {"POST", "/api/render", &Session::render}, {"POST", "/api/fade", &Session::fade},
        {"POST", "/api/curves", &Session::curves}, {"POST", "/api/check", &Session::check},
        {"POST", "/api/lut", &Session::lut},       {"POST", "/api/fit", &Session::fit},
        {"POST", "/api/pick", &Session::pick},     {"POST", "/api/save", &Session::save}};
    for (const Route& known : kRoutes) {
        if (request.path == known.path) {
            const bool same = request.method == known.method ||
                              (request.method == "HEAD" && std::string_view(known.method) == "GET");
            if (!same) {
                throw HttpError(405, std::string(known.path) + " wants " + known.method);
            }
            return (this->*known.answer)(request);
        }
    }
    constexpr std::string_view kAssets = "/assets/";
    if (request.method == "POST") {
        throw HttpError(404, "there is no such page");
    }
    if (request.path == "/favicon.ico") {
        return {204, "text/plain", "", {}};
    }
    if (request.path == "/") {
        return asset("index.html");
    }
    if (request.path.rfind(kAssets, 0) == 0) {
        return asset(std::string_view(request.path).substr(kAssets.size()));
    }
    throw HttpError(404, "there is no such page");
}

HttpResponse Studio::Session::answer(const HttpRequest& request) {
    try {
        HttpResponse response = route(request);
        addSafety(response);
        return response;
    } catch (const HttpError& error) {
        return errorResponse(error.status(), error.what());
    } catch (const ToolError& error) {
        HttpResponse response = refusedResponse(error.what());
        addSafety(response);
        return response;
    } catch (const std::bad_alloc&) {
        return errorResponse(507, "out of memory");
    } catch (const std::exception& error) {
        return errorResponse(500, error.what());
    }
}

Studio::Studio(const HostLibrary& library, StudioOptions options)
    : m_session(std::make_unique<Session>(library, std::move(options))) {}
Studio::~Studio() = default;

HttpResponse Studio::answer(const HttpRequest& request) { return m_session->answer(request); }
int Studio::usualPort() const {
    constexpr unsigned long kFirst = 49152, kCount = 16000;  // ports that nobody is given
    return static_cast<int>(kFirst + std::stoul(m_session->id().substr(0, 8), nullptr, 16) % kCount);
}

const std::string& Studio::temporaryDirectory() const { return m_session->directory().path(); }

void Studio::end() {
    m_session->saving().lock();  // for good: nothing may be saved any more
    m_session->directory().remove();
}

}  // namespace tool
