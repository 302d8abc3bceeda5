#include "tools/batch/Batch.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

#include "tools/batch/BatchRecord.h"
#include "tools/host/FrameFile.h"
#include "tools/page/Page.h"
#include "tools/picture/Metrics.h"
#include "tools/stages/Enhancer.h"
#include "tools/stages/StageTuning.h"
#include "tools/tuning/FileChanges.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr int kThumb = 240;
constexpr int kQuality = 95;

// FNV-1a, 64 bits.
class Digest {
public:
    void add(const std::string& text) {
        for (const char c : text) {
            m_value = (m_value ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
        }
        m_value = (m_value ^ 256ULL) * 1099511628211ULL;
    }
    std::string text() const { return std::to_string(m_value); }

private:
    std::uint64_t m_value = 14695981039346656037ULL;
};

// A tuning as it is used: with every setting in it, so that another one's set-up leaves no trace.
struct UsedTuning {
    std::string directory, out;
    int scene;
    std::string key;  // what its outputs are made of, beside their inputs
    TemporaryTuning temporary;

    UsedTuning(const BatchJob& job, const std::string& tuning, const StagedTuning& staged)
        : directory(tuning),
          out(job.out + "/" + tuningName(tuning)),
          scene(sceneNumber(tuning, job.scene, true)),
          temporary(tuning, job.backEnd, settledFiles(staged)) {
        Digest digest;
        for (const auto& [name, file] : staged.files.all()) {
            if (!file.bytes.empty()) {  // what the library reads, and looks
                digest.add(name);
                digest.add(file.bytes);
            }
        }
        key = digest.text() + " " + std::to_string(scene) + " " + job.backEnd + " " HUEVANCE_TOOL_VERSION;
    }
};

// The library takes one frame at a time. It stays set up as long as tuning and size are the same.
class LibraryQueue {
public:
    explicit LibraryQueue(const HostLibrary& library) : m_library(library) {}

    void process(const UsedTuning& tuning, Frame& frame, BatchResult& result) {
        const std::lock_guard lock(m_mutex);
        try {
            if (m_tuning != &tuning || m_size != Size{frame.roi().width, frame.roi().height}) {
                finish();
                m_enhancer = std::make_unique<Enhancer>(
                    m_library, SetUp{true, tuning.temporary.path(), frame.roi(), frame.format(), nullptr});
                m_tuning = &tuning;
                m_size = {frame.roi().width, frame.roi().height};
            }
            result.measures.milliseconds = m_enhancer->process(frame, tuning.scene);
        } catch (...) {
            m_enhancer.reset();
            m_tuning = nullptr;
            throw;
        }
        std::istringstream lines(m_enhancer->drawsNothing() ? "" : HostLibrary::takeErrors());
        for (std::string line; std::getline(lines >> std::ws, line);) {
            result.log.push_back(line);
        }
    }

    void finish() {
        if (m_enhancer) {
            m_enhancer->finish();
        }
        m_enhancer.reset();
        m_tuning = nullptr;
    }

private:
    const HostLibrary& m_library;
    std::mutex m_mutex;
    std::unique_ptr<Enhancer> m_enhancer;
    const UsedTuning* m_tuning = nullptr;
    Size m_size;
};

class BatchRun {
public:
    BatchRun(const HostLibrary& library, const BatchJob& job)
        : m_queue(library), m_job(job), m_record(job.out), m_entries(job.inputs.size()) {
        for (const std::string& tuning : job.tunings) {
            checkTuningPath(tuning);
            const StagedTuning staged(tuning, true, job.backEnd);
            m_tunings.push_back(std::make_unique<UsedTuning>(job, tuning, staged));
            makeDirectory(m_tunings.back()->out);
        }
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            m_entries[i].file = job.inputs[i];
        }
    }

    std::vector<BatchInput> run(const std::atomic<bool>& stop,
                                const std::function<void(std::size_t)>& progress) {
        progress(0);
        std::vector<std::thread> threads;
        const std::size_t wanted =
            std::min(m_entries.size(), static_cast<std::size_t>(std::max(m_job.threads, 1)));
        for (std::size_t i = 0; i < wanted; ++i) {
            threads.emplace_back([this, &stop] { work(stop); });
        }
        {
            std::unique_lock lock(m_mutex);
            while (m_ended < threads.size()) {
                m_changed.wait_for(lock, std::chrono::milliseconds(200));
                progress(m_done);
            }
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        if (m_fatal) {
            std::rethrow_exception(m_fatal);
        }
        m_queue.finish();
        return std::move(m_entries);
    }

    static void makeDirectory(const std::string& path) {
        std::error_code failed;
        fs::create_directories(path, failed);
        if (!fs::is_directory(path)) {
            throw fileError("cannot make the directory " + path + ": " + failed.message());
        }
    }

private:
    void work(const std::atomic<bool>& stop) {
        while (!stop && !m_failed) {
            const std::size_t at = m_next++;
            if (at >= m_entries.size()) {
                break;
            }
            enhance(m_entries[at], stop);
            const std::lock_guard lock(m_mutex);
            ++m_done;
        }
        const std::lock_guard lock(m_mutex);
        ++m_ended;
        m_changed.notify_all();
    }

    void enhance(BatchInput& input, const std::atomic<bool>& stop) {
        try {
            enhanceAll(input, stop);
        } catch (const ToolError& error) {
            if (error.code() == ExitCode::kUnavailable) {
                fail();
            }
            input.error = error.what();
            input.failure = error.code();
            input.finished = true;
        } catch (const std::bad_alloc&) {
            input.error = "out of memory";
            input.failure = ExitCode::kFile;
            input.finished = true;
        } catch (const std::exception& error) {
            input.error = error.what();
            input.failure = ExitCode::kFile;
            input.finished = true;
        }
    }

    // Ends the whole run with the exception that is being handled.
    void fail() {
        const std::lock_guard lock(m_mutex);
        m_fatal = m_fatal ? m_fatal : std::current_exception();
        m_failed = true;
    }

    void enhanceAll(BatchInput& input, const std::atomic<bool>& stop) {
        const std::string state = fileState(input.file);
        std::unique_ptr<FrameSource> source;
        RgbPicture before;
        std::string thumb;
        for (const auto& tuning : m_tunings) {
            if (stop || m_failed) {
                return;
            }
            const std::string output = tuning->out + "/" + fs::path(input.file).filename().string();
            const std::string key = tuning->key + " " + fs::absolute(input.file).string() + " " + state;
            if (std::optional<BatchResult> made = m_record.find(output, key); made && !state.empty()) {
                made->tuning = tuning->directory;
                input.results.push_back(*made);
                continue;
            }
            if (!source) {
                source = std::make_unique<FrameSource>(input.file, FrameOptions{}, ColorOptions{});
                if (!source->picture()) {
                    throw fileError("cannot read " + input.file + ": neither JPEG nor PNG");
                }
                before = decodeRgb(source->contents(), input.file);
                thumb = jpegAddress(before, kThumb, 80);
            }
            BatchResult result;
            result.tuning = tuning->directory;
            result.output = output;
            result.thumbBefore = thumb;
            const RgbPicture after = decodeRgb(enhanced(*source, *tuning, result), output);
            Metrics metrics;
            metrics.add(before, after);
            result.measures = {result.measures.milliseconds,
                               metrics.deltaEMean(),
                               metrics.deltaEP99(),
                               metrics.ssim(),
                               metrics.psnrY(),
                               metrics.clippedPercent()};
            result.thumbAfter = jpegAddress(after, kThumb, 80);
            m_record.add(key, result);
            input.results.push_back(std::move(result));
        }
        input.finished = true;
    }

    // The output's file, which is then written.
    Bytes enhanced(const FrameSource& source, const UsedTuning& tuning, BatchResult& result) {
        Frame frame(source.roi(), source.format());
        frame.set(*source.picture());
        m_queue.process(tuning, frame, result);
        Bytes file = encodePicture(source.pictureOf(frame), source.kind(), ColorMatrix::kBt601, kQuality);
        FileChanges changes(tuning.out);
        changes.write(fs::path(result.output).filename().string(), file);
        changes.commit();
        return file;
    }

    LibraryQueue m_queue;
    const BatchJob& m_job;
    BatchRecord m_record;
    std::vector<std::unique_ptr<UsedTuning>> m_tunings;
    std::vector<BatchInput> m_entries;  // each belongs to the thread that took its number
    std::atomic<std::size_t> m_next{0};
    std::atomic<bool> m_failed{false};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_done = 0, m_ended = 0;
    std::exception_ptr m_fatal;
};

// Different sources of one output.
void checkNames(const std::vector<std::string>& paths, const std::string& what,
                const std::function<std::string(const std::string&)>& nameOf) {
    std::map<std::string, std::string> names;
    for (const std::string& path : paths) {
        const auto [found, fresh] = names.insert({nameOf(path), path});
        if (!fresh) {
            throw usageError("two " + what + " have the name '" + found->first +
                             "', and their outputs would be one: " + found->second + " and " + path);
        }
    }
}

}  // namespace

std::string tuningName(const std::string& directory) {
    const fs::path path = fs::absolute(directory).lexically_normal();
    return (path.has_filename() ? path : path.parent_path()).filename().string();
}

std::vector<BatchInput> runBatch(const HostLibrary& library, const BatchJob& job,
                                 const std::atomic<bool>& stop,
                                 const std::function<void(std::size_t)>& progress) {
    const auto inputName = [](const std::string& path) { return fs::path(path).filename().string(); };
    checkNames(job.inputs, "inputs", inputName);
    checkNames(job.tunings, "tunings", tuningName);
    for (const std::string& tuning : job.tunings) {
        for (const std::string& input : job.inputs) {
            std::error_code ignored;
            const std::string output = job.out + "/" + tuningName(tuning) + "/" + inputName(input);
            if (fs::equivalent(input, output, ignored)) {
                throw usageError("the output " + output + " would take the place of its own input");
            }
        }
    }
    BatchRun::makeDirectory(job.out);
    return BatchRun(library, job).run(stop, progress);
}

}  // namespace tool
