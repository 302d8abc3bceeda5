// Files of one directory that are replaced together.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/Files.h"

namespace tool {

// Collects new contents; nothing is written before commit(). Names are of files directly in the directory.
class FileChanges {
public:
    explicit FileChanges(std::string directory) : m_directory(std::move(directory)) {}

    void write(const std::string& name, Bytes contents) { m_files[name] = std::move(contents); }
    void write(const std::string& name, const std::string& text) {
        m_files[name] = Bytes(text.begin(), text.end());
    }
    void remove(const std::string& name) { m_files[name] = std::nullopt; }
    // By name; nothing for a file that is to be removed.
    const std::map<std::string, std::optional<Bytes>>& files() const { return m_files; }

    // Makes the directory so, and gives the names of the files that changed: what would not change is not
    // touched. Every new file is written beside and on the disk before the first takes its place; a link is
    // replaced, not followed; a file that was there keeps its mode. Signals wait. Throws (exit code 3) with
    // the directory as it was. Only a process that is killed between two renames leaves some files new and
    // some old; each of them is whole.
    std::vector<std::string> commit() const;

private:
    std::string m_directory;
    std::map<std::string, std::optional<Bytes>> m_files;  // nothing: to be removed
};

}  // namespace tool
