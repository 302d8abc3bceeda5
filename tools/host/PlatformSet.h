// platformSet.ini as far as a host's own decisions need it.
#pragma once

#include <string>

namespace tool {

// The value of `key` in `section` of an INI file, without the line end; empty when there is none. For this
// program's own decisions: the library reads its files itself.
std::string iniValue(const std::string& file, const std::string& section, const std::string& key);

// Whether `name` can stand in platformSet.ini.
bool isBackEndName(const std::string& name);

// platformSet.ini's text: every line ends in carriage return and line feed, because the library drops the
// last character of each value.
std::string platformText(const std::string& backEnd, const std::string& cacheDirectory);

}  // namespace tool
