#include "tests/support/TuningDir.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace test {

namespace fs = std::filesystem;

std::map<std::string, std::string> filesIn(const std::string& directory) {
    std::map<std::string, std::string> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        files[entry.path().filename()] = entry.is_directory() ? "/" : readFile(entry.path());
    }
    return files;
}

TuningDir::TuningDir() {
    std::string pattern = (fs::temp_directory_path() / "huevance_tuning_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed for " + pattern);
    }
    m_path = pattern;
    m_parent = fs::path(m_path).parent_path().string();
    m_name = fs::path(m_path).filename().string();
}

TuningDir::~TuningDir() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void TuningDir::write(const std::string& file, const std::string& bytes) const {
    // A new file each time: truncating an existing one makes some file systems wait for the disk.
    fs::remove(m_path + "/" + file);
    std::ofstream out(m_path + "/" + file, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

void TuningDir::writeFloats(const std::string& file, const std::vector<float>& values) const {
    write(file, std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float)));
}

void TuningDir::remove(const std::string& file) const { fs::remove(m_path + "/" + file); }

void TuningDir::writePlatform(const std::string& platform, const std::string& cache) const {
    write("platformSet.ini", "[platform]\r\nphoto=" + platform + "\r\nframe=" + platform +
                                 "\r\n[cache]\r\npath=" + cache + "\r\n");
}

void TuningDir::writeSets(const std::map<std::string, std::string>& values) const {
    const auto value = [&](const std::string& key, const std::string& fallback) {
        const auto found = values.find(key);
        return key + "=" + (found != values.end() ? found->second : fallback) + "\r\n";
    };
    const std::string hvc = "[hvc]\r\n" + value("claheSwitch", "0") + value("curveSwitch", "0") +
                            value("colorSwitch", "0") + value("cCorrSwitch", "0") + value("gridWidth", "8") +
                            value("gridHeight", "6") + value("sampRate", "4");
    const std::string rest = "[portrait]\r\n" + value("maskSource", "0") + value("pProtectSwitch", "0") +
                             "[scene]\r\n" + value("sceneNum", "1") + value("sceneIdx", "0/");
    write("photoSet.ini",
          "[save]\r\n" + value("photo", "0") + "[switch]\r\n" + value("photoSwitch", "1") + hvc + rest);
    write("frameSet.ini", "[save]\r\n" + value("frame", "0") + "[switch]\r\n" + value("frameSwitch", "1") +
                              hvc + value("transFrameNum", "60") + rest);
}

void TuningDir::writeParam(int table, float colorStrength, float satStrength, float claheStrength) const {
    char text[256];
    std::snprintf(text, sizeof(text),
                  "[hvc]\r\ncolorStrength=%.9g\r\nsatStrength=%.9g\r\nclaheStrength=%.9g\r\n",
                  static_cast<double>(colorStrength), static_cast<double>(satStrength),
                  static_cast<double>(claheStrength));
    write("param" + std::to_string(table) + ".ini", text);
}

}  // namespace test
