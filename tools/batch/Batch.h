// Pictures through tunings, several at a time, with what became of each: measured, and remembered, so that an
// interrupted run goes on where it stopped.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/ToolError.h"
#include "tools/host/HostLibrary.h"

namespace tool {

struct BatchJob {
    std::vector<std::string> inputs;   // files
    std::vector<std::string> tunings;  // directories
    std::string out;                   // directory: out/<tuning's name>/<input's name>
    std::string scene = "0";
    std::string backEnd;  // empty: each tuning's own
    int threads = 1;
};

// An output beside its input, both decoded to RGB.
struct BatchMeasures {
    double milliseconds = 0.0;  // the library's frame
    double deltaEMean = 0.0, deltaEP99 = 0.0, ssim = 0.0;
    std::optional<double> psnrY;  // nothing when luma is equal
    double clippedPercent = 0.0;
};

struct BatchResult {
    std::string tuning;  // directory as given
    std::string output;
    BatchMeasures measures;
    std::vector<std::string> log;         // the library's error lines
    std::string thumbBefore, thumbAfter;  // addresses of data
    bool takenOver = false;               // from an earlier run
};

struct BatchInput {
    std::string file;
    std::string error;  // empty: good
    ExitCode failure = ExitCode::kGood;
    bool finished = false;             // false: the run was interrupted before
    std::vector<BatchResult> results;  // one for each tuning; what there was before an error
};

// The last part of a tuning's path, under which its outputs lie.
std::string tuningName(const std::string& directory);

// Runs until all inputs are done or `stop` is set; `progress(done)` is called from this thread
// before the first picture and now and then.
// A picture that cannot be read, or that the library refuses, is an entry with an error. Throws a usage error
// for two inputs or tunings whose outputs would be one file and for an input that would be overwritten, exit
// code 5 when the back end cannot run here, 3 when a tuning cannot be read or nothing can be written.
//
// An output is not made again when a run before wrote down that it made this very file (its size and time)
// from this input (its size and time) with a tuning of the same contents, scene and back end.
std::vector<BatchInput> runBatch(const HostLibrary& library, const BatchJob& job,
                                 const std::atomic<bool>& stop,
                                 const std::function<void(std::size_t)>& progress);

}  // namespace tool
