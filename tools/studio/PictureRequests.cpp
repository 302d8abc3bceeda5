// Requests for pixels.
#include <climits>
#include <cstdio>

#include "tools/host/PlatformSet.h"
#include "tools/studio/Answers.h"
#include "tools/studio/Session.h"
#include "tools/tuning/TuningFiles.h"

namespace tool {

using Json = nlohmann::ordered_json;

namespace {

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

}  // namespace

PictureOrder Studio::Session::orderOf(const Json& request, const Json& document, bool photo) {
    PictureOrder order;
    order.photo = photo;
    order.mode = parseMode(document, order.photo);
    const StudioMode other = parseMode(document, !order.photo);
    const StudioMode& photos = order.photo ? order.mode : other;
    const StudioMode& frames = order.photo ? other : order.mode;
    const auto of = [](const StudioMode& mode) {
        return [&mode](const char* key) {
            const auto found = mode.settings.find(key);
            return found != mode.settings.end() ? found->second : 0;
        };
    };
    order.reader = tableReader(photos.platform, of(photos), frames.platform, of(frames));
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
    const RenderQueue::Place place = {
        textOf(json, "page", "") + "/" + lane,
        serial != json.end() && serial->is_number() ? serial->get<double>() : 0.0, lane == "after"};
    std::shared_ptr<const Rendered> rendered;
    read([&] { m_queue.run(place, [&] { rendered = m_renderer.render(order); }); });
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
    const RenderQueue::Place place = {textOf(json, "page", "") + "/fade", 0, false};
    read([&] {
        m_queue.run(place, [&] { pictures = m_renderer.fade(order, static_cast<std::size_t>(frames)); });
    });
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

}  // namespace tool
