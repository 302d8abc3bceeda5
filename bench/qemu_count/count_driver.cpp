// The program whose instructions are counted: sets up one pipeline and two equal frames, whatever is asked
// for, and processes as many of them as asked. The difference between two frames and one is the cost of a
// frame, a capture's reading of its scene's files included.
//
// count_driver --list                                    the modes and names of the pipelines
// count_driver MODE PIPELINE BITS WIDTHxHEIGHT FRAMES [noise]
//     prints a hash of the first frame; the frames hold a picture-like pattern, or noise
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iomanip>
#include <iostream>
#include <span>
#include <string>
#include <vector>

#include "bench/Pipelines.h"
#include "bench/Workload.h"
#include "tests/support/Frames.h"

namespace {

struct Mode {
    const char* name;
    std::span<const bench::PipelineEntry> (*pipelines)();
};
constexpr Mode kModes[] = {{"capture", &bench::capturePipelines}, {"preview", &bench::previewPipelines}};

// Calls use(mode, entry) for every pipeline.
template <typename Use>
void forPipelines(Use use) {
    for (const Mode& mode : kModes) {
        for (const bench::PipelineEntry& entry : mode.pipelines()) {
            use(mode, entry);
        }
    }
}

void process(const bench::PipelineEntry& entry, int dataBit, const bench::Size& size, int count,
             test::Content content) {
    const bench::FullTuning tuning;
    const RoiInfo roi = bench::cameraRoi(size, dataBit);
    std::vector<test::Frame> frames;
    for (int i = 0; i < 2; ++i) {
        frames.emplace_back(roi, dataBit == 8 ? 1 : 2).fill(content, 1 << dataBit);
    }
    const auto pipeline = entry.make();
    pipeline->open(tuning.path(), roi, dataBit);
    for (int i = 0; i < count; ++i) {
        pipeline->process(frames.at(static_cast<std::size_t>(i)).data(), bench::cameraFormat(dataBit));
    }
    pipeline->close();
    std::cout << std::hex << std::setw(16) << std::setfill('0')
              << test::hashBytes(frames[0].data(), frames[0].bytes()) << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        forPipelines([](const Mode& mode, const bench::PipelineEntry& entry) {
            std::cout << mode.name << " " << entry.name << "\n";
        });
        return 0;
    }
    const bool noise = argc == 7 && std::strcmp(argv[6], "noise") == 0;
    if (argc != 6 && !noise) {
        std::cerr << "usage: count_driver --list | MODE PIPELINE BITS WIDTHxHEIGHT FRAMES [noise]\n";
        return 2;
    }
    try {
        bench::silenceLibrary();
        bool found = false;
        forPipelines([&](const Mode& mode, const bench::PipelineEntry& entry) {
            if (std::string(mode.name) == argv[1] && std::string(entry.name) == argv[2]) {
                found = true;
                process(entry, std::atoi(argv[3]), bench::parseSize(argv[4]), std::atoi(argv[5]),
                        noise ? test::Content::kNoise : test::Content::kPhotoLike);
            }
        });
        return found ? 0 : 2;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
