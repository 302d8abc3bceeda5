// What runs before made in an output directory: OUT/.huevance-batch, a line of JSON for each output. Lines
// are added as outputs appear; a last line that an interruption cut off counts for nothing.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tools/batch/Batch.h"

namespace tool {

class BatchRecord {
public:
    // Reads what there is.
    explicit BatchRecord(const std::string& directory);
    ~BatchRecord();
    BatchRecord(const BatchRecord&) = delete;
    BatchRecord& operator=(const BatchRecord&) = delete;

    // What was written down for `output` when it was made of `key` and the file is still the same.
    std::optional<BatchResult> find(const std::string& output, const std::string& key) const;
    // Adds a result whose file has just been written. From any thread.
    void add(const std::string& key, const BatchResult& result);

private:
    struct Entry {
        std::string key, file;  // what it was made of; size and time of the file
        BatchResult result;
    };
    std::mutex m_mutex;
    int m_descriptor = -1;
    std::map<std::string, Entry> m_entries;
};

// Size and time of a file as text that changes with it; empty when there is none.
std::string fileState(const std::string& path);

}  // namespace tool
