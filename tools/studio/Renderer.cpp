#include "tools/studio/Renderer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "tools/host/PlatformSet.h"
#include "tools/stages/Enhancer.h"
#include "tools/stages/StageTuning.h"
#include "tools/studio/Digest.h"
#include "tools/studio/Http.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostKept = std::size_t{256} << 20U;  // bytes of pictures; the last one may be more
constexpr std::size_t kMostPictures = 12;

class Watch {
public:
    // Milliseconds since the last call.
    double lap() {
        const auto now = std::chrono::steady_clock::now();
        const double passed = std::chrono::duration<double, std::milli>(now - m_begin).count();
        m_begin = now;
        return passed;
    }

private:
    std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
};

std::optional<Stage> stageOf(const std::string& name) {
    for (const Stage stage : kStages) {
        if (name == nameOf(stage)) {
            return stage;
        }
    }
    return std::nullopt;
}

// What stands in the way of a picture as an order describes it.
void check(const PictureOrder& order) {
    if (!order.stage.empty() && order.stage != "input" && order.stage != "mask" && !stageOf(order.stage)) {
        throw HttpError(400, "there is no stage " + order.stage);
    }
    if (!isBackEndName(order.backEnd)) {
        throw HttpError(422, std::string("the tuning names no back end for ") +
                                 (order.photo ? "photos" : "previews") + ": choose one");
    }
}

void add(Digest& digest, const Bytes& bytes) {
    digest.add(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

// Two works with the same name give the same pictures.
std::string nameOf(const WorkTuning& work) {
    Digest digest;
    digest.add(work.photo ? "photo" : "frame");
    digest.add(work.backEnd);
    for (const auto& [key, value] : work.settings) {
        digest.add(key);
        digest.add(static_cast<std::uint64_t>(value));
    }
    for (const WorkTable& table : work.tables) {
        for (const float strength : {table.colorStrength, table.satStrength, table.claheStrength}) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &strength, sizeof(bits));
            digest.add(std::uint64_t{bits});
        }
        add(digest, table.curve);
        add(digest, table.color);
    }
    return digest.hex();
}

RgbPicture shown(const Picture& picture) {
    RgbPicture rgb = rgbOf(picture, ColorMatrix::kBt601);
    if (picture.metadata.hasForeignProfile()) {
        picture.metadata.toSrgb(rgb.levels);  // a screen takes what it is sent for sRGB
    }
    turnUpright(rgb.levels, rgb.size.width, rgb.size.height, picture.metadata.orientation());
    return rgb;
}

Picture pictureFrom(const Frame& frame, const Picture& like) {
    Picture picture(like.size);
    frame.get(picture);
    picture.metadata = like.metadata;
    return picture;
}

RgbPicture grey(const Picture& picture) {
    RgbPicture rgb = {picture.size, Bytes(3 * picture.y.size())};
    for (std::size_t i = 0; i < picture.y.size(); ++i) {
        std::fill_n(rgb.levels.begin() + static_cast<std::ptrdiff_t>(3 * i), 3, picture.y[i]);
    }
    turnUpright(rgb.levels, rgb.size.width, rgb.size.height, picture.metadata.orientation());
    return rgb;
}

}  // namespace

Renderer::Renderer(const HostLibrary& library, Photos& photos, BakeCache& cache, std::string directory,
                   const std::string& work)
    : m_library(library),
      m_photos(photos),
      m_cache(cache),
      m_directory(std::move(directory)),
      m_work(work + "/tuning"),
      m_kernels(work + "/kernels") {
    fs::create_directory(m_work);
    fs::create_directory(m_kernels);
}

WorkTuning Renderer::workOf(const PictureOrder& order) {
    WorkTuning work;
    work.photo = order.photo;
    work.backEnd = order.backEnd;
    work.settings = workSettings(m_directory, order.mode, order.photo);
    for (const StudioTable& table : order.tables) {
        work.tables.push_back(workTable(table, order.reader, m_directory, m_cache));
    }
    return work;
}

void Renderer::prepare(const PictureOrder& order, const WorkTuning& work) {
    writeWork(work, m_work, m_kernels);
    const std::optional<Stage> last = stageOf(order.stage);
    if (!last && order.stage != "mask") {
        return;
    }
    const StagedTuning tuning(m_work, order.photo);
    if (!last && !hasMask(tuning.mode)) {
        throw HttpError(422, "this tuning has no mask in this mode (maskSource)");
    }
    for (const auto& [file, text] : last ? filesUpTo(tuning, last) : maskFiles(tuning)) {
        writeFile(m_work + "/" + file, Bytes(text.begin(), text.end()));
    }
}

// The last frame's memory, where it fits.
Frame& Renderer::frameOf(const PictureOrder& order, const Picture& picture) {
    const FrameFormat format;
    const RoiInfo roi = makeRoi(frameSizeOf(picture), format, 0, 0);
    if (!m_frame || m_frame->roi().width != roi.width || m_frame->roi().height != roi.height) {
        m_frame = std::make_unique<Frame>(roi, format);
    }
    if (order.stage == "mask") {
        Picture white = picture;
        std::fill(white.y.begin(), white.y.end(), std::uint8_t{255});
        m_frame->set(white);
    } else {
        m_frame->set(picture);
    }
    return *m_frame;
}

Rendered Renderer::enhance(const PictureOrder& order) {
    Rendered rendered;
    Watch watch;
    const std::shared_ptr<const Picture> picture = m_photos.picture(order.picture, order.pixels);
    if (order.stage == "input") {
        rendered.took.picture = watch.lap();
        rendered.rgb = shown(*picture);
        rendered.took.convert = watch.lap();
        return rendered;
    }
    Frame& frame = frameOf(order, *picture);
    rendered.took.picture = watch.lap();
    HostLibrary::takeErrors();  // of one that failed before
    Enhancer enhancer(m_library, {order.photo, m_work, frame.roi(), frame.format(), nullptr});
    rendered.took.setUp = watch.lap();
    rendered.took.frame = enhancer.process(frame, 0);
    rendered.errors = enhancer.drawsNothing() ? (HostLibrary::takeErrors(), "") : HostLibrary::takeErrors();
    enhancer.finish();
    watch.lap();
    const Picture result = pictureFrom(frame, *picture);
    rendered.rgb = order.stage == "mask" ? grey(result) : shown(result);
    rendered.took.convert = watch.lap();
    return rendered;
}

void Renderer::remember(const std::string& key, const std::shared_ptr<const Rendered>& rendered) {
    m_kept.push_front({key, rendered});
    std::size_t bytes = 0;
    std::size_t count = 0;
    for (auto kept = m_kept.begin(); kept != m_kept.end(); ++count) {
        bytes += kept->rendered->rgb.levels.size();
        const bool stays = count == 0 || (bytes <= kMostKept && count < kMostPictures);
        kept = stays ? std::next(kept) : m_kept.erase(kept);
    }
}

std::shared_ptr<const Rendered> Renderer::render(const PictureOrder& asked) {
    PictureOrder order = asked;
    order.backEnd = order.backEnd.empty() ? order.mode.platform : order.backEnd;
    const bool input = order.stage == "input";
    std::string key = std::to_string(order.picture) + "/" + std::to_string(order.pixels) + "/" +
                      std::to_string(m_photos.version(order.picture)) + "/" + order.stage + "/";
    Watch watch;
    WorkTuning work;
    if (!input) {
        check(order);
        work = workOf(order);
        key += nameOf(work);
    }
    const double baking = watch.lap();
    const auto kept =
        std::find_if(m_kept.begin(), m_kept.end(), [&key](const Kept& one) { return one.key == key; });
    if (kept != m_kept.end()) {
        m_kept.splice(m_kept.begin(), m_kept, kept);
        return m_kept.front().rendered;
    }
    if (!input) {
        prepare(order, work);
    }
    const double writing = watch.lap();
    Rendered rendered = enhance(order);
    rendered.took.bake = baking;
    rendered.took.setUp += writing;
    auto result = std::make_shared<const Rendered>(std::move(rendered));
    remember(key, result);
    return result;
}

std::vector<Rendered> Renderer::fade(const PictureOrder& asked, std::size_t frames) {
    PictureOrder order = asked;
    order.backEnd = order.backEnd.empty() ? order.mode.platform : order.backEnd;
    check(order);
    // A stream begins as if table 1 had been shown before its first frame: there stands the one to begin
    // with.
    std::swap(order.tables[0], order.tables[1]);
    constexpr int kFrom = 1, kTo = 0;
    prepare(order, workOf(order));
    const std::shared_ptr<const Picture> picture = m_photos.picture(order.picture, order.pixels);
    Frame& frame = frameOf(order, *picture);
    HostLibrary::takeErrors();
    Enhancer enhancer(m_library, {false, m_work, frame.roi(), frame.format(), nullptr});
    // One before, transFrameNum of the fade, one that overshoots, one behind.
    const int length = workSettings(m_directory, order.mode, false).at("transFrameNum");
    const std::size_t last = length < 1 ? 1 : static_cast<std::size_t>(length) + 2;
    const std::size_t count = std::clamp<std::size_t>(frames, 2, last + 1);
    std::vector<Rendered> pictures;
    for (std::size_t i = 0; i <= last; ++i) {
        frame.set(*picture);
        const double milliseconds = enhancer.process(frame, i == 0 ? kFrom : kTo);
        if (i == pictures.size() * last / (count - 1)) {
            Rendered one;
            one.took.frame = milliseconds;
            one.rgb = shown(pictureFrom(frame, *picture));
            one.errors = HostLibrary::takeErrors();
            pictures.push_back(std::move(one));
        }
    }
    enhancer.finish();
    return pictures;
}

}  // namespace tool
