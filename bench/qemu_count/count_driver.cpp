// The program whose instructions are counted: sets up one capture pipeline and two equal frames, whatever is
// asked for, and captures as many of them as asked. The difference between two captures and one is the cost
// of a capture, its scene's file reads included.
//
// count_driver --list                                 the names of the capture pipelines
// count_driver PIPELINE BITS WIDTHxHEIGHT CAPTURES    prints a hash of the first frame
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "bench/Pipelines.h"
#include "bench/Workload.h"
#include "tests/support/Frames.h"

namespace {

void capture(const std::string& name, int dataBit, const bench::Size& size, int captures) {
    const bench::FullTuning tuning;
    const RoiInfo roi = bench::cameraRoi(size, dataBit);
    std::vector<test::Frame> frames;
    for (int i = 0; i < 2; ++i) {
        frames.emplace_back(roi, dataBit == 8 ? 1 : 2).fill(test::Content::kPhotoLike, 1 << dataBit);
    }
    for (const bench::PipelineEntry& entry : bench::capturePipelines()) {
        if (entry.name == name) {
            const auto pipeline = entry.make();
            pipeline->open(tuning.path(), roi, dataBit);
            for (int i = 0; i < captures; ++i) {
                pipeline->process(frames.at(static_cast<std::size_t>(i)).data(),
                                  bench::cameraFormat(dataBit));
            }
            pipeline->close();
            std::cout << std::hex << std::setw(16) << std::setfill('0')
                      << test::hashBytes(frames[0].data(), frames[0].bytes()) << std::endl;
            return;
        }
    }
    throw std::invalid_argument("unknown pipeline: " + name);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const bench::PipelineEntry& entry : bench::capturePipelines()) {
            std::cout << entry.name << "\n";
        }
        return 0;
    }
    if (argc != 5) {
        std::cerr << "usage: count_driver --list | PIPELINE BITS WIDTHxHEIGHT CAPTURES\n";
        return 2;
    }
    try {
        bench::silenceLibrary();
        capture(argv[1], std::atoi(argv[2]), bench::parseSize(argv[3]), std::atoi(argv[4]));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
