#include <algorithm>
#include <cmath>

#include "tools/Commands.h"
#include "tools/FrameFile.h"

namespace tool {

namespace {

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

}  // namespace

ExitCode convert(const ConvertOptions& options) {
    FrameSource source(options.in, options.frame, options.color);
    if (!options.resize.empty() || options.megapixels > 0.0) {
        if (!source.picture()) {
            throw usageError("pictures can be scaled, raw frames cannot");
        }
        source.resize(options.resize.empty() ? sizeOf(options.megapixels, source.picture()->size)
                                             : parseSize(options.resize));
    }
    FrameSink sink(options.out, options.to, source, options.color);
    Frame frame(source.roi(), source.format());
    for (bool more = source.read(frame); more; more = !source.picture() && source.read(frame)) {
        sink.write(frame);
    }
    sink.finish(frame);
    return ExitCode::kGood;
}

}  // namespace tool
