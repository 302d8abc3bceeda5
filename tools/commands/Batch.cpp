#include "tools/batch/Batch.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>

#include "tools/Numbers.h"
#include "tools/Stdio.h"
#include "tools/batch/BatchPage.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/check/Check.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct BatchOptions {
    LibraryOptions library;
    BatchJob job;
    std::vector<std::string> in;
    std::vector<std::string> gates;
    std::string html, json;
};

std::atomic<bool> g_stop{false};
void (*g_removeTunings)(int) = SIG_DFL;  // of the temporary tunings; ends the process

// The first signal lets pictures that are begun end, another one does not wait.
void stopOnSignal(int number) {
    if (!g_stop.exchange(true)) {
        return;
    }
    if (g_removeTunings != SIG_DFL) {
        g_removeTunings(number);
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}

// After the temporary tunings, which take these signals for themselves.
void catchSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        void (*before)(int) = std::signal(number, stopOnSignal);
        if (before != stopOnSignal) {
            g_removeTunings = before;
        }
    }
}

struct Gate {
    std::string key;
    double limit;
};

std::vector<Gate> parseGates(const std::vector<std::string>& texts) {
    std::vector<Gate> gates;
    for (const std::string& text : texts) {
        const std::size_t equals = std::min(text.find('='), text.size());
        const std::string key = text.substr(0, equals);
        const auto limit =
            equals < text.size() ? parseNumber<double>(text.substr(equals + 1), -1e300) : std::nullopt;
        if (std::find(std::begin(kMeasureKeys), std::end(kMeasureKeys), key) == std::end(kMeasureKeys) ||
            !limit) {
            throw usageError("'" + text +
                             "' is no gate: KEY=LIMIT with delta_e_mean, delta_e_p99, ssim, psnr_y or "
                             "clipped_percent");
        }
        gates.push_back({key, *limit});
    }
    return gates;
}

// Files as they are; of a directory the pictures directly in it, by name.
std::vector<std::string> filesOf(const std::vector<std::string>& in) {
    std::vector<std::string> files;
    for (const std::string& path : in) {
        std::error_code failed;
        if (!fs::is_directory(path, failed)) {
            files.push_back(path);
            continue;
        }
        std::vector<std::string> inside;
        for (const fs::directory_entry& entry : fs::directory_iterator(path, failed)) {
            const auto kind = kindOfName(entry.path().string());
            if (kind == FileKind::kJpeg || kind == FileKind::kPng) {
                inside.push_back(entry.path().string());
            }
        }
        if (failed || inside.empty()) {
            throw fileError("no pictures in " + path + (failed ? ": " + failed.message() : ""));
        }
        std::sort(inside.begin(), inside.end());
        files.insert(files.end(), inside.begin(), inside.end());
    }
    return files;
}

// One line on a terminal: how far, how fast, how long still.
class RateLine {
public:
    explicit RateLine(std::size_t total) : m_total(total), m_begin(std::chrono::steady_clock::now()) {}
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_begin).count();
    }
    void show(std::size_t done) const {
        if (isatty(STDERR_FILENO) == 0) {
            return;
        }
        const double rate = static_cast<double>(done) / std::max(seconds(), 1e-3);
        std::fprintf(stderr, "\r\033[K%zu/%zu", done, m_total);
        if (done > 0) {
            std::fprintf(stderr, ", %.2f pictures per second, %.0f s left", rate,
                         static_cast<double>(m_total - done) / rate);
        }
    }
    void clear() const {
        if (isatty(STDERR_FILENO) != 0) {
            std::fputs("\r\033[K", stderr);
        }
    }

private:
    std::size_t m_total;
    std::chrono::steady_clock::time_point m_begin;
};

// Whether every result holds; a note for each that does not.
bool holds(const std::vector<Gate>& gates, const std::vector<BatchInput>& inputs) {
    bool good = true;
    for (const BatchInput& input : inputs) {
        for (const BatchResult& result : input.results) {
            for (const Gate& gate : gates) {
                // Equal pictures have no PSNR, and are as good as any limit.
                const double value = measure(result.measures, gate.key).value_or(1e300);
                const bool least = largerIsBetter(gate.key);
                if (least ? value < gate.limit : value > gate.limit) {
                    char text[96];
                    std::snprintf(text, sizeof(text), ": %s is %.4f, %s %g", gate.key.c_str(), value,
                                  least ? "below" : "above", gate.limit);
                    note(result.output + text);
                    good = false;
                }
            }
        }
    }
    return good;
}

void writeReports(const BatchOptions& options, const std::vector<BatchInput>& inputs) {
    if (!options.json.empty()) {
        const std::string text = batchJson(inputs);
        writeFile(options.json, Bytes(text.begin(), text.end()));
    }
    if (!options.html.empty()) {
        const std::string text = batchPage(inputs, options.job.tunings, options.html);
        writeFile(options.html, Bytes(text.begin(), text.end()));
    }
}

// The most serious thing that happened; notes say what.
ExitCode outcome(const std::vector<BatchInput>& inputs, const std::vector<Gate>& gates, double seconds) {
    std::size_t done = 0, takenOver = 0;
    ExitCode code = ExitCode::kGood;
    for (const BatchInput& input : inputs) {
        done += input.finished && input.error.empty() ? 1 : 0;
        for (const BatchResult& result : input.results) {
            takenOver += result.takenOver ? 1 : 0;
            if (!result.takenOver && !result.log.empty()) {
                note(result.output + " is written, but the library logged: " + result.log.front());
            }
        }
        if (!input.error.empty()) {
            note(input.file + ": " + input.error);
            code =
                code == ExitCode::kFile || input.failure == ExitCode::kFile ? ExitCode::kFile : input.failure;
        }
    }
    char text[160];
    std::snprintf(
        text, sizeof(text), "%zu of %zu pictures in %.1f s (%.2f per second), %zu outputs taken over", done,
        inputs.size(), seconds, static_cast<double>(inputs.size()) / std::max(seconds, 1e-3), takenOver);
    note(text);
    const bool good = holds(gates, inputs);
    return code == ExitCode::kGood && !good ? ExitCode::kDifferent : code;
}

ExitCode batch(const BatchOptions& options) {
    const std::vector<Gate> gates = parseGates(options.gates);
    BatchJob job = options.job;
    job.inputs = filesOf(options.in);
    for (const std::string& tuning : job.tunings) {
        noteWhatChangesPictures(tuning, {.mode = CheckedMode::kPhoto, .backEnd = job.backEnd});
    }
    const HostLibrary library(options.library.library, options.library.verbose);
    const RateLine rate(job.inputs.size());
    std::vector<BatchInput> inputs = runBatch(library, job, g_stop, [&](std::size_t done) {
        catchSignals();
        rate.show(done);
    });
    rate.clear();
    writeReports(options, inputs);
    const ExitCode code = outcome(inputs, gates, rate.seconds());
    if (g_stop) {
        note("interrupted; the same command goes on from here");
        return ExitCode::kInterrupted;
    }
    return code;
}

}  // namespace

void addBatch(CLI::App& app, Action& action) {
    auto shared = std::make_shared<BatchOptions>();
    BatchOptions& options = *shared;
    BatchJob& job = options.job;
    job.threads = static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
    CLI::App* command = app.add_subcommand(
        "batch", "Enhance many pictures with one or more tunings, measure them, show them");
    command->add_option("IN", options.in, "JPEG or PNG pictures, or directories of them")->required();
    command->add_option("-t,--tuning", job.tunings, "Tuning directory; may be given several times")
        ->required()
        ->allow_extra_args(false);
    command->add_option("-o,--output", job.out, "Directory for OUTDIR/TUNING/PICTURE")->required();
    command->add_option("-s,--scene", job.scene, "Scene, by its look's name or its number")
        ->capture_default_str();
    command
        ->add_option("-b,--backend", job.backEnd,
                     "Back end instead of the tunings': CPU, NEON or OGL; the tunings stay as they are")
        ->transform(backEndName());
    command->add_option("-j,--jobs", job.threads, "Pictures at a time (default: one for each processor)")
        ->check(CLI::Range(1, 256));
    command->add_option("--html", options.html,
                        "Write a page: pictures before and after, and their measures");
    command->add_option("--json", options.json, "Write the measures; '-' is standard output");
    command
        ->add_option(
            "--gate", options.gates,
            "KEY=LIMIT that every picture must hold, else the exit code is 1: at most for delta_e_mean, "
            "delta_e_p99 and clipped_percent, at least for ssim and psnr_y")
        ->allow_extra_args(false);
    add(command, options.library);
    command->footer(
        "Examples:\n"
        "  huevance batch photos --tuning my_tuning --output enhanced --html enhanced/page.html\n"
        "  huevance batch *.jpg -t old -t new -o out --scene food --json - --gate delta_e_p99=12\n\n"
        "An interrupted run goes on where it stopped: outputs whose input, tuning, scene and back end are "
        "still the\n"
        "same are not made again. A picture that cannot be read does not end the run.\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return batch(*shared); }; });
}

}  // namespace tool
