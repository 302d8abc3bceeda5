#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/host/FrameFile.h"
#include "tools/picture/FlatNoise.h"
#include "tools/picture/Metrics.h"

namespace tool {

namespace {

struct CompareOptions {
    FrameOptions frame;
    ColorOptions color;
    std::string a, b;
    std::string sideBySide;
    std::string difference;
    float gain = 4.0F;
    bool json = false;
    int tolerance = 0;
};

constexpr const char* kPlaneNames[] = {"y", "u", "v"};
// Between the two pictures of a side-by-side picture, in samples; even, so that chroma stays in step.
constexpr int kGap = 8;

// Differences of one plane, over all frames.
class PlaneDifference {
public:
    void add(const Planes::Plane& a, const Planes::Plane& b) {
        for (std::size_t i = 0; i < a.samples.size(); ++i) {
            const int difference = std::abs(a.samples[i] - b.samples[i]);
            ++m_histogram[difference];
        }
    }

    int maximum() const { return m_histogram.empty() ? 0 : m_histogram.rbegin()->first; }
    double mean() const { return samples() == 0.0 ? 0.0 : sum(1) / samples(); }
    // In dB against the largest level; nothing when the planes are equal.
    std::optional<double> psnr(int bits) const {
        const double squares = sum(2);
        if (squares == 0.0) {
            return std::nullopt;
        }
        const double top = static_cast<double>((1 << bits) - 1);
        return 10.0 * std::log10(top * top * samples() / squares);
    }
    // Absolute difference -> number of samples.
    const std::map<int, std::uint64_t>& histogram() const { return m_histogram; }

private:
    double samples() const { return sum(0); }
    double sum(int power) const {
        double total = 0.0;
        for (const auto& [difference, count] : m_histogram) {
            total += std::pow(static_cast<double>(difference), power) * static_cast<double>(count);
        }
        return total;
    }
    std::map<int, std::uint64_t> m_histogram;
};

struct Comparison {
    PlaneDifference planes[3];
    Metrics metrics;
    std::optional<FlatNoise> noise;  // of the first frames
    int bits = 8;
    std::size_t frames = 0;
    std::string mismatch;  // why not all of the frames could be compared

    int maximum() const { return std::max({planes[0].maximum(), planes[1].maximum(), planes[2].maximum()}); }
};

// One frame of a source, in the shapes that are measured.
struct Shot {
    Planes planes;
    RgbPicture rgb;
};

// Pictures that lie differently in their files are compared as they are seen.
Shot shotOf(const FrameSource& source, bool upright) {
    RgbPicture rgb = decodeRgb(source.contents(), source.name());
    const Planes planes = planesOf(upright ? pictureOf(rgb) : *source.picture());
    return {planes, std::move(rgb)};
}

Shot shotOf(const Frame& frame, ColorMatrix matrix) {
    Picture picture({frame.roi().width, frame.roi().height});
    frame.get(picture);
    return {frame.planes(), rgbOf(picture, matrix)};
}

// Writes the difference of the first frames.
void writeDifference(const CompareOptions& options, const RgbPicture& a, const RgbPicture& b) {
    writeFile(options.difference, encodePng(difference(a, b, options.gain)));
}

void addFrame(Comparison& result, const Shot& a, const Shot& b, const CompareOptions& options) {
    if (result.frames == 0) {
        result.noise = flatNoise(a.rgb, b.rgb);
    }
    if (result.frames == 0 && !options.difference.empty()) {
        writeDifference(options, a.rgb, b.rgb);
    }
    result.planes[0].add(a.planes.y, b.planes.y);
    result.planes[1].add(a.planes.u, b.planes.u);
    result.planes[2].add(a.planes.v, b.planes.v);
    result.metrics.add(a.rgb, b.rgb);
    result.bits = a.planes.bits;
    ++result.frames;
}

std::string sizeText(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

void checkSizes(Size a, Size b) {
    if (a != b) {
        throw usageError("sizes differ, so there is nothing to measure: " + sizeText(a) + " and " +
                         sizeText(b));
    }
}

Comparison compareAll(FrameSource& a, FrameSource& b, const CompareOptions& options) {
    Comparison result;
    if (a.picture() && b.picture()) {
        const bool upright = a.picture()->metadata.orientation() != b.picture()->metadata.orientation();
        const Shot shotA = shotOf(a, upright);
        const Shot shotB = shotOf(b, upright);
        checkSizes(shotA.rgb.size, shotB.rgb.size);
        addFrame(result, shotA, shotB, options);
        return result;
    }
    checkSizes({a.roi().width, a.roi().height}, {b.roi().width, b.roi().height});
    const ColorMatrix matrix = parseMatrix(options.color.matrix);
    Frame frameA(a.roi(), a.format());
    Frame frameB(b.roi(), b.format());
    for (;;) {
        const bool moreA = a.read(frameA);
        const bool moreB = b.read(frameB);
        if (moreA != moreB) {
            result.mismatch =
                "one file ends after " + std::to_string(result.frames) + " frames, the other goes on";
        }
        if (!moreA || !moreB) {
            return result;
        }
        addFrame(result, shotOf(frameA, matrix), shotOf(frameB, matrix), options);
    }
}

// 0, 1, 2, 3-4, 5-8, ...: enough to see the shape.
std::map<int, std::uint64_t> coarse(const std::map<int, std::uint64_t>& histogram) {
    std::map<int, std::uint64_t> result;
    for (const auto& [difference, count] : histogram) {
        int top = std::min(difference, 2);
        while (top < difference) {
            top *= 2;
        }
        result[top] += count;
    }
    return result;
}

std::string textReport(const Comparison& result, bool different) {
    std::string text;
    char line[160];
    for (int i = 0; i < 3; ++i) {
        const PlaneDifference& plane = result.planes[i];
        const std::optional<double> psnr = plane.psnr(result.bits);
        std::snprintf(line, sizeof(line), "%s: PSNR %s%s, maximum difference %d, mean %.4f\n   ",
                      kPlaneNames[i], psnr ? std::to_string(*psnr).c_str() : "infinite", psnr ? " dB" : "",
                      plane.maximum(), plane.mean());
        text += line;
        for (const auto& [top, count] : coarse(plane.histogram())) {
            const int low = top <= 2 ? top : top / 2 + 1;
            const std::string levels =
                low == top ? std::to_string(top) : std::to_string(low) + "-" + std::to_string(top);
            text.append(" ").append(levels).append(": ").append(std::to_string(count)).append(" ");
        }
        text += "\n";
    }
    const Metrics& metrics = result.metrics;
    std::snprintf(
        line, sizeof(line),
        "CIEDE2000: mean %.3f, 99 %% of the pixels at most %.2f\nSSIM: %.5f\nclipped in B: %.3f %%\n",
        metrics.deltaEMean(), metrics.deltaEP99(), metrics.ssim(), metrics.clippedPercent());
    text += line;
    if (result.noise) {
        std::snprintf(line, sizeof(line), "noise in flat areas: A %.2f, B %.2f levels\n",
                      result.noise->reference, result.noise->picture);
        text += line;
    }
    if (!result.mismatch.empty()) {
        text += result.mismatch + "\n";
    }
    return text + (different ? "different\n" : "equal\n");
}

std::string jsonReport(const Comparison& result, bool different) {
    nlohmann::json json = {{"equal", !different},
                           {"frames", result.frames},
                           {"bits", result.bits},
                           {"ssim", result.metrics.ssim()},
                           {"delta_e_mean", result.metrics.deltaEMean()},
                           {"delta_e_p99", result.metrics.deltaEP99()},
                           {"clipped_percent", result.metrics.clippedPercent()}};
    json["flat_noise_a"] = result.noise ? nlohmann::json(result.noise->reference) : nlohmann::json(nullptr);
    json["flat_noise_b"] = result.noise ? nlohmann::json(result.noise->picture) : nlohmann::json(nullptr);
    if (!result.mismatch.empty()) {
        json["mismatch"] = result.mismatch;
    }
    for (int i = 0; i < 3; ++i) {
        const PlaneDifference& plane = result.planes[i];
        const std::optional<double> psnr = plane.psnr(result.bits);
        nlohmann::json histogram = nlohmann::json::array();
        for (const auto& [difference, count] : plane.histogram()) {
            histogram.push_back({difference, count});
        }
        json["planes"][kPlaneNames[i]] = {{"psnr", psnr ? nlohmann::json(*psnr) : nlohmann::json(nullptr)},
                                          {"maximum", plane.maximum()},
                                          {"mean", plane.mean()},
                                          {"histogram", histogram}};
    }
    return json.dump(2) + "\n";
}

Picture firstPicture(const std::string& name, const FrameOptions& frame, const ColorOptions& color) {
    FrameSource source(name, frame, color);
    if (source.picture()) {
        return *source.picture();
    }
    Frame first(source.roi(), source.format());
    source.read(first);
    Picture picture({source.roi().width, source.roi().height});
    first.get(picture);
    return picture;
}

void writeSideBySide(const CompareOptions& options) {
    const ColorMatrix matrix = parseMatrix(options.color.matrix);
    const RgbPicture parts[] = {uprightRgb(firstPicture(options.a, options.frame, options.color), matrix),
                                uprightRgb(firstPicture(options.b, options.frame, options.color), matrix)};
    const int rightBegins = parts[0].size.width + parts[0].size.width % 2 + kGap;
    RgbPicture both;
    both.size = {rightBegins + parts[1].size.width, std::max(parts[0].size.height, parts[1].size.height)};
    both.levels.assign(
        3 * static_cast<std::size_t>(both.size.width) * static_cast<std::size_t>(both.size.height), 255);
    for (const RgbPicture& part : parts) {
        const int column = &part == parts ? 0 : rightBegins;
        for (int row = 0; row < part.size.height; ++row) {
            std::copy_n(
                part.levels.begin() + static_cast<std::ptrdiff_t>(3) * row * part.size.width,
                3 * part.size.width,
                both.levels.begin() + static_cast<std::ptrdiff_t>(3) * (row * both.size.width + column));
        }
    }
    const FileKind kind =
        kindOfName(options.sideBySide) == FileKind::kJpeg ? FileKind::kJpeg : FileKind::kPng;
    writeFile(options.sideBySide, encodeRgb(both, kind, options.color.quality));
}

ExitCode compare(const CompareOptions& options) {
    if (options.a == "-" && (options.b == "-" || !options.sideBySide.empty())) {
        throw usageError("standard input can be read only once");
    }
    FrameSource a(options.a, options.frame, options.color);
    FrameSource b(options.b, options.frame, options.color);
    if (!options.sideBySide.empty()) {
        writeSideBySide(options);
    }
    const Comparison result = compareAll(a, b, options);
    const bool different = !result.mismatch.empty() || result.maximum() > options.tolerance;
    print(options.json ? jsonReport(result, different) : textReport(result, different));
    return different ? ExitCode::kDifferent : ExitCode::kGood;
}

}  // namespace

void addCompare(CLI::App& app, Action& action) {
    auto shared = std::make_shared<CompareOptions>();
    CompareOptions& options = *shared;
    CLI::App* command = app.add_subcommand(
        "compare", "Measure the differences of two pictures or streams: plane by plane, CIEDE2000, SSIM");
    command->add_option("A", options.a, "JPEG, PNG, or with --size raw frames")->required();
    command->add_option("B", options.b, "The other one")->required();
    command->add_option("--side-by-side", options.sideBySide,
                        "Write both in one picture (PNG, or JPEG by its ending)");
    command->add_option("--difference", options.difference,
                        "Write the first frames' difference as a PNG: 128 + gain x (B - A) in each channel");
    command->add_option("--gain", options.gain, "Gain of the difference picture")
        ->check(CLI::Range(0.1F, 255.0F))
        ->capture_default_str();
    command->add_option("--tolerance", options.tolerance, "Largest difference that still counts as equal")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_flag("--json", options.json, "Report as JSON, with the whole histograms");
    add(command, options.frame);
    add(command, options.color);
    command->footer(
        "Examples:\n"
        "  huevance compare in.jpg out.jpg --side-by-side before_after.png\n"
        "  huevance compare in.jpg out.jpg --difference changed.png --gain 8\n"
        "  huevance compare a.nv21 b.nv21 --size 1920x1080 --json\n\n"
        "CIEDE2000, SSIM and clipping (a channel of 254 or more) are measured on RGB, PSNR on the planes.\n"
        "Noise is the standard deviation of luma where A is flattest.\n"
        "Pictures of unequal size are not measured: exit code 2.\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return compare(*shared); }; });
}

}  // namespace tool
