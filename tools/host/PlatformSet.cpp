#include "tools/host/PlatformSet.h"

#include <algorithm>
#include <fstream>

namespace tool {

std::string iniValue(const std::string& file, const std::string& section, const std::string& key) {
    std::ifstream in(file, std::ios::binary);
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (!line.empty() && line.front() == '[') {
            inside = line.rfind("[" + section + "]", 0) == 0;
        } else if (inside && line.rfind(key + "=", 0) == 0) {
            return line.substr(key.size() + 1);
        }
    }
    return {};
}

bool isBackEndName(const std::string& name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

std::string platformText(const std::string& backEnd, const std::string& cacheDirectory) {
    return "[platform]\r\nphoto=" + backEnd + "\r\nframe=" + backEnd +
           "\r\n[cache]\r\npath=" + cacheDirectory + "\r\n";
}

}  // namespace tool
