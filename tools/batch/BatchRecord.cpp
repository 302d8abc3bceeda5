#include "tools/batch/BatchRecord.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/Stdio.h"

namespace tool {

namespace {

using nlohmann::json;

constexpr const char* kName = "/.huevance-batch";

json jsonOf(const BatchMeasures& m) {
    return {m.milliseconds,  m.deltaEMean, m.deltaEP99, m.ssim, m.psnrY ? json(*m.psnrY) : json(nullptr),
            m.clippedPercent};
}

BatchMeasures measuresOf(const json& list) {
    BatchMeasures m;
    m.milliseconds = list.at(0);
    m.deltaEMean = list.at(1);
    m.deltaEP99 = list.at(2);
    m.ssim = list.at(3);
    m.psnrY = list.at(4).is_null() ? std::nullopt : std::optional<double>(list.at(4).get<double>());
    m.clippedPercent = list.at(5);
    return m;
}

}  // namespace

std::string fileState(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return {};
    }
    return std::to_string(info.st_size) + " " + std::to_string(info.st_mtim.tv_sec) + "." +
           std::to_string(info.st_mtim.tv_nsec);
}

BatchRecord::BatchRecord(const std::string& directory) {
    const std::string path = directory + kName;
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        const json entry = json::parse(line, nullptr, false);
        try {
            BatchResult result;
            result.output = entry.at("output");
            result.measures = measuresOf(entry.at("measures"));
            result.log = entry.at("log").get<std::vector<std::string>>();
            result.thumbBefore = entry.at("before");
            result.thumbAfter = entry.at("after");
            result.takenOver = true;
            m_entries[result.output] = {entry.at("key"), entry.at("file"), result};
        } catch (const json::exception&) {
            continue;  // of another version, or cut off
        }
    }
    m_descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (m_descriptor < 0) {
        throw fileError("cannot write into " + directory);
    }
    // Behind a line that was cut off the next one must not go on.
    writeAll(m_descriptor, "\n", 1, path);
}

BatchRecord::~BatchRecord() { close(m_descriptor); }

std::optional<BatchResult> BatchRecord::find(const std::string& output, const std::string& key) const {
    const auto found = m_entries.find(output);
    if (found == m_entries.end() || found->second.key != key || found->second.file != fileState(output)) {
        return std::nullopt;
    }
    return found->second.result;
}

void BatchRecord::add(const std::string& key, const BatchResult& result) {
    const json entry = {{"output", result.output},
                        {"key", key},
                        {"file", fileState(result.output)},
                        {"measures", jsonOf(result.measures)},
                        {"log", result.log},
                        {"before", result.thumbBefore},
                        {"after", result.thumbAfter}};
    const std::string line = entry.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    const std::lock_guard lock(m_mutex);
    writeAll(m_descriptor, line.data(), line.size(), result.output);
}

}  // namespace tool
