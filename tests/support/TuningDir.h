// A tuning directory in a temporary place, removed at the end.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/Files.h"

namespace test {

// The contents of every file of a directory, by name; "/" for a directory in it.
std::map<std::string, std::string> filesIn(const std::string& directory);

class TuningDir {
public:
    // Empty.
    TuningDir();
    ~TuningDir();
    TuningDir(const TuningDir&) = delete;
    TuningDir& operator=(const TuningDir&) = delete;

    const std::string& path() const { return m_path; }
    // The two halves that InitParam takes: "<parent>" and "<name>".
    const std::string& parent() const { return m_parent; }
    const std::string& name() const { return m_name; }
    char* mutablePath() { return m_path.data(); }

    std::string read(const std::string& file) const { return readFile(m_path + "/" + file); }
    void write(const std::string& file, const std::string& bytes) const;
    void writeFloats(const std::string& file, const std::vector<float>& values) const;
    void remove(const std::string& file) const;

    // platformSet.ini with both modes set to `platform` and a cache path, carriage returns included.
    void writePlatform(const std::string& platform, const std::string& cache = "/nowhere") const;

    // photoSet.ini and frameSet.ini with every key: the documented defaults, scene table 0 for scene 0, and
    // the given values in their place ("claheSwitch" -> "1", ...). photoSwitch and frameSwitch are 1 unless
    // given.
    void writeSets(const std::map<std::string, std::string>& values = {}) const;

    // param<table>.ini.
    void writeParam(int table, float colorStrength, float satStrength, float claheStrength) const;

private:
    std::string m_parent;
    std::string m_name;
    std::string m_path;
};

}  // namespace test
