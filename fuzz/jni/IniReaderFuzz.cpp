// Any file as an INI file: every reader, with keys that are there and keys that are not, into buffers of just
// the promised size.
#include <vector>

#include "fuzz/Input.h"
#include "jni/algocommon/IniReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::memoryFile(data, size);
    for (const char* section : {"hvc", ""}) {
        for (const char* key : {"gridWidth", ""}) {
            std::vector<char> text(kIniLineLength);
            readIniKeyStr(section, key, path.c_str(), text.data());
            std::vector<char> brief(7);
            readIniKeyStr(section, key, path.c_str(), brief.data(), brief.size());
            int number = 0;
            float real = 0;
            readIniKeyInt(section, key, path.c_str(), &number);
            readIniKeyFloat(section, key, path.c_str(), &real);
            std::vector<int> integers(kIniLineLength - 1);
            std::vector<float> reals(kIniLineLength - 1);
            int count = 0;
            readIniKeyIntArr(section, key, path.c_str(), integers.data(), &count);
            readIniKeyFloatArr(section, key, path.c_str(), reals.data(), &count);
            std::vector<int> few(3);
            findIniInts(section, key, path.c_str(), few.data(), &count, few.size());
        }
    }
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    char* pieces[64];
    split(text.data(), pieces, "/,");
    fuzz::closeLeftOpen();
    return 0;
}
