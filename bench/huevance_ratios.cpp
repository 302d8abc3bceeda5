// The ratios that the library is judged by: capture chains and yardsticks in interleaved rounds, on one core,
// in one run.
#include <sched.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "bench/Contenders.h"
#include "bench/Memory.h"
#include "bench/Picture.h"
#include "bench/Workload.h"

namespace {

using bench::Size;
using Json = nlohmann::ordered_json;

// What each ratio must reach and what we aim at; 0: no aim.
struct Goal {
    const char* numerator;
    const char* denominator;
    bool atMost;
    double must;
    double aim;

    std::string name() const { return std::string(numerator).append(" / ").append(denominator); }
};
constexpr Goal kGoals[] = {
    {"plain", bench::kOpenCvClahe, true, 5.5, 0},
    {"neon", bench::kOpenCvClahe, true, 1.2, 1.0},
    {"plain", "neon", false, 1.8, 0},  // through an emulation on x86-64; instruction counts say what a phone gains
    {bench::kFfmpegLut3d, "neon", false, 5, 8},
};
// Cost per pixel of a chain at its dearest size / at its cheapest.
constexpr double kSpreadMust = 1.10;
constexpr double kSpreadAim = 1.05;

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) {
        return *middle;
    }
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

// Processor time of all threads: what other programs on the machine take does not count, and a yardstick that
// started threads would gain nothing.
double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

struct SizeResult {
    Size size;
    std::map<std::string, std::vector<double>> seconds;  // by contender, one for each round
    std::optional<bool> equal;                           // of all chains' frames; none with a single chain

    bool has(const std::string& contender) const { return seconds.count(contender) != 0; }
    double nsPerPixel(const std::string& contender) const {
        return median(seconds.at(contender)) * 1e9 / size.pixels();
    }
    // The median of the rounds' own ratios: both were measured within a moment of each other.
    double ratio(const Goal& goal) const {
        const std::vector<double>& a = seconds.at(goal.numerator);
        const std::vector<double>& b = seconds.at(goal.denominator);
        std::vector<double> ratios(a.size());
        std::transform(a.begin(), a.end(), b.begin(), ratios.begin(), std::divides<>());
        return median(ratios);
    }
    bool has(const Goal& goal) const { return has(goal.numerator) && has(goal.denominator); }
};

struct Running {
    std::string name;
    std::vector<unsigned char> frame;  // a chain's own; empty for a yardstick, which reads the photograph
    std::unique_ptr<bench::Contender> contender;
};

SizeResult measure(const Size& size, int rounds) {
    const bench::FullTuning tuning;
    const RoiInfo roi = bench::cameraRoi(size, 8);
    std::vector<unsigned char> photograph = bench::photograph(roi, 8);
    std::vector<Running> all;
    for (const std::string& name : bench::contenderNames()) {
        Running running{name, {}, nullptr};
        if (bench::isPipeline(name)) {
            running.frame = photograph;
        }
        unsigned char* frame = running.frame.empty() ? photograph.data() : running.frame.data();
        running.contender = bench::makeContender(name, tuning, frame, roi, 8);
        all.push_back(std::move(running));
    }
    SizeResult result{size, {}, {}};
    // One round more than asked for: the first warms up.
    for (int round = -1; round < rounds; ++round) {
        for (Running& running : all) {
            if (!running.frame.empty()) {
                std::memcpy(running.frame.data(), photograph.data(), photograph.size());
            }
            const double start = processorSeconds();
            running.contender->run();
            const double seconds = processorSeconds() - start;
            if (round >= 0) {
                result.seconds[running.name].push_back(seconds);
            }
        }
    }
    for (std::size_t i = 1; i < all.size() && !all[i].frame.empty(); ++i) {
        result.equal = result.equal.value_or(true) && all[i].frame == all[0].frame;
    }
    return result;
}

// Dearest / cheapest size, by chain.
std::map<std::string, double> spreads(const std::vector<SizeResult>& results) {
    std::map<std::string, double> spread;
    for (const std::string& name : bench::contenderNames()) {
        if (bench::isPipeline(name)) {
            std::vector<double> costs;
            for (const SizeResult& result : results) {
                costs.push_back(result.nsPerPixel(name));
            }
            const auto [cheapest, dearest] = std::minmax_element(costs.begin(), costs.end());
            spread[name] = *dearest / *cheapest;
        }
    }
    return spread;
}

std::vector<bench::MemoryFigure> measureMemory(const std::vector<Size>& sizes) {
    std::vector<bench::MemoryFigure> figures;
    for (const Size& size : sizes) {
        for (const std::string& name : bench::contenderNames()) {
            figures.push_back(bench::memoryOf(name, size, 8));
            if (bench::isPipeline(name)) {
                figures.push_back(bench::memoryOf(name, size, 10));
            }
        }
    }
    return figures;
}

[[gnu::format(printf, 1, 2)]] void printLine(const char* format, ...) {
    char line[160];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    std::cout << line << std::endl;
}

void print(const SizeResult& result) {
    printLine("%s (%.1f MP)", result.size.text().c_str(), result.size.pixels() / 1e6);
    printLine("  %-24s %10s %10s", "chain", "median ms", "ns/pixel");
    for (const std::string& name : bench::contenderNames()) {
        printLine("  %-24s %10.2f %10.2f", name.c_str(), median(result.seconds.at(name)) * 1e3,
                  result.nsPerPixel(name));
    }
    printLine("  %-24s %10s %10s %10s", "ratio", "measured", "must", "aim");
    for (const Goal& goal : kGoals) {
        if (result.has(goal)) {
            const char* bound = goal.atMost ? "<=" : ">=";
            char aim[16] = "-";
            if (goal.aim > 0) {
                std::snprintf(aim, sizeof(aim), "%s %.1f", bound, goal.aim);
            }
            printLine("  %-24s %10.2f %6s %3.1f %10s", goal.name().c_str(), result.ratio(goal), bound,
                      goal.must, aim);
        }
    }
    if (result.equal) {
        printLine("  outputs of the chains: %s", *result.equal ? "equal byte for byte" : "DIFFERENT");
    }
}

void print(const std::vector<bench::MemoryFigure>& figures) {
    printLine("peak resident memory");
    printLine("  %-24s %11s %4s %10s %10s %12s", "chain", "size", "bits", "frame MiB", "added MiB",
              "bytes/pixel");
    for (const bench::MemoryFigure& figure : figures) {
        printLine("  %-24s %11s %4d %10.1f %10.1f %12.2f", figure.contender.c_str(),
                  figure.size.text().c_str(), figure.dataBit, figure.frameMiB, figure.addedMiB,
                  figure.addedMiB * 1024 * 1024 / figure.size.pixels());
    }
}

Json toJson(const SizeResult& result) {
    Json json = {{"size", result.size.text()}, {"pixels", result.size.pixels()}};
    for (const std::string& name : bench::contenderNames()) {
        json["median_ms"][name] = median(result.seconds.at(name)) * 1e3;
        json["ns_per_pixel"][name] = result.nsPerPixel(name);
    }
    json["ratios"] = Json::object();
    for (const Goal& goal : kGoals) {
        if (result.has(goal)) {
            json["ratios"][goal.name()] = {{"measured", result.ratio(goal)},
                                           {goal.atMost ? "at_most" : "at_least", goal.must}};
        }
    }
    json["equal"] = result.equal ? Json(*result.equal) : Json();
    return json;
}

Json toJson(const bench::MemoryFigure& figure) {
    return {{"chain", figure.contender},
            {"size", figure.size.text()},
            {"bits", figure.dataBit},
            {"frame_mib", figure.frameMiB},
            {"added_mib", figure.addedMiB}};
}

void pinToCore(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(core >= 0 ? core : sched_getcpu()), &set);
    if (sched_setaffinity(0, sizeof(set), &set) != 0) {
        throw std::runtime_error("cannot run on that core");
    }
}

struct Options {
    std::vector<std::string> sizes = {"1920x1080", "4000x3000", "8160x6144", "12000x9000"};
    int rounds = 15;
    int core = -1;
    int bits = 8;
    bool json = false;
    bool noMemory = false;
    bool dryRun = false;
    std::string memoryOf;
};

int run(const Options& options) {
    std::vector<Size> sizes;
    for (const std::string& text : options.sizes) {
        sizes.push_back(bench::parseSize(text));
    }
    bench::silenceLibrary();
    if (!options.memoryOf.empty()) {
        bench::measureOwnMemory(options.memoryOf, sizes.at(0), options.bits);
        return 0;
    }
    pinToCore(options.core);
    std::vector<SizeResult> results;
    Json json = {{"rounds", options.rounds}};
    for (const Size& size : sizes) {
        results.push_back(measure(size, options.rounds));
        json["sizes"].push_back(toJson(results.back()));
        if (!options.json) {
            print(results.back());
        }
    }
    for (const auto& [name, spread] : spreads(results)) {
        json["cost_spread"][name] = spread;
        if (!options.json && results.size() > 1) {
            printLine("cost per pixel of %s, dearest / cheapest size: %.3f (must <= %.2f, aim %.2f)",
                      name.c_str(), spread, kSpreadMust, kSpreadAim);
        }
    }
    if (!options.noMemory) {
        const std::vector<bench::MemoryFigure> memory = measureMemory(sizes);
        for (const bench::MemoryFigure& figure : memory) {
            json["memory"].push_back(toJson(figure));
        }
        if (!options.json) {
            print(memory);
        }
    }
    if (options.json) {
        std::cout << json.dump(2) << std::endl;
    }
    const bool different = std::any_of(results.begin(), results.end(),
                                       [](const SizeResult& result) { return !result.equal.value_or(true); });
    return different ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Capture chains and yardsticks on one core, in interleaved rounds: medians, cost per pixel, ratios, "
        "peak memory.\n"
        "Exit codes: 0 measured, 1 the chains' outputs differ or something broke, 2 usage."};
    Options options;
    app.add_option("--sizes", options.sizes, "frame sizes, WxH, separated by commas")->delimiter(',');
    app.add_option("--rounds", options.rounds, "rounds at each size")->check(CLI::Range(1, 1000));
    app.add_option("--core", options.core, "the core to run on; -1: the one it starts on");
    app.add_flag("--json", options.json, "JSON instead of tables");
    app.add_flag("--no-memory", options.noMemory, "leave the memory table out");
    app.add_flag("--dry-run", options.dryRun, "one round on a tiny frame: does everything work?");
    // How the program starts itself to measure memory.
    app.add_option("--memory-of", options.memoryOf)->group("");
    app.add_option("--bits", options.bits)->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (options.dryRun) {
        options.sizes = {"96x64"};
        options.rounds = 1;
    }
    try {
        return run(options);
    } catch (const std::invalid_argument& error) {
        std::cerr << error.what() << "\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
