#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/host/FrameFile.h"

namespace tool {

namespace {

struct ConvertOptions {
    FrameOptions frame;
    ColorOptions color;
    std::string in, out, to, resize;
    double megapixels = 0.0;  // another way to say resize: keeps the proportions
};

// A size of so many million samples in the proportions of `size`.
Size sizeOf(double megapixels, Size size) {
    const double width = size.width;
    const double height = size.height;
    const double factor = std::sqrt(megapixels * 1e6 / (width * height));
    const auto side = [factor](double value) {
        return static_cast<int>(std::lround(std::clamp(value * factor, 1.0, static_cast<double>(kMaxSide))));
    };
    return {side(width), side(height)};
}

ExitCode convert(const ConvertOptions& options) {
    FrameSource source(options.in, options.frame, options.color);
    if (!options.resize.empty() || options.megapixels > 0.0) {
        if (!source.picture()) {
            throw usageError("pictures can be scaled, raw frames cannot");
        }
        source.resize(options.resize.empty() ? sizeOf(options.megapixels, source.picture()->size)
                                             : parseSize(options.resize));
    }
    FrameSink sink(options.out, outputKind(options.out, options.to, source), source, options.color);
    Frame frame(source.roi(), source.format());
    for (bool more = source.read(frame); more; more = !source.picture() && source.read(frame)) {
        sink.write(frame);
    }
    sink.finish(frame);
    return ExitCode::kGood;
}

}  // namespace

void addConvert(CLI::App& app, Action& action) {
    auto shared = std::make_shared<ConvertOptions>();
    ConvertOptions& options = *shared;
    CLI::App* command = app.add_subcommand(
        "convert", "Change a picture or raw frames into another kind, without the library");
    command->add_option("IN", options.in, "As for run")->required();
    command->add_option("OUT", options.out, "As for run")->required();
    CLI::Option* resize = command->add_option("--resize", options.resize, "WxH: scale the picture");
    command
        ->add_option("--megapixels", options.megapixels, "Scale the picture to that many, in its proportions")
        ->check(CLI::Range(0.0001, 200.0))
        ->excludes(resize);
    addKind(command, options.to);
    add(command, options.frame);
    add(command, options.color);
    command->footer(
        "Examples:\n"
        "  huevance convert in.jpg camera_size.jpg --megapixels 12\n"
        "  huevance convert in.jpg out.nv12 --format nv12 --stride 4096\n"
        "  huevance convert in.nv21 first.png --size 1920x1080\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return convert(*shared); }; });
}

}  // namespace tool
