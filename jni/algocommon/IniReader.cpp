#include "jni/algocommon/IniReader.h"

#include <locale.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/LogPrintf.h"

namespace {

constexpr int kMaxPieces = 64;

// Reads one line without its line feed, cut at kIniLineLength - 1 characters. False at the end of the file,
// and for a line that could not be read to its end.
bool readLine(InputFile& file, char* line) {
    std::size_t length = 0;
    int c = file.get();
    const bool any = c >= 0;
    for (; c >= 0 && c != '\n'; c = file.get()) {
        if (length < kIniLineLength - 1) {
            line[length++] = static_cast<char>(c);
        }
    }
    line[length] = '\0';
    return any && !file.hasFailed();
}

void copyCut(char* destination, const char* source, std::size_t capacity) {
    const std::size_t length = std::min(std::strlen(source), capacity - 1);
    std::memcpy(destination, source, length);
    destination[length] = '\0';
}

int toInt(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

// A tuning file means the same in a process whose locale writes a decimal comma.
float toFloat(const char* text) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return plain != nullptr ? strtof_l(text, nullptr, plain) : std::strtof(text, nullptr);
}

// Calls store(index, element text) for every element of the list that is followed by "/". Their number.
template <typename Store>
int storeElements(const char* list, std::size_t capacity, Store store) {
    char element[kIniScalarLength] = {};
    std::size_t length = 0;
    std::size_t count = 0;
    for (const char* c = list; *c != '\0' && count < capacity; ++c) {
        if (*c == '/') {
            store(count++, element);
            std::memset(element, 0, sizeof(element));
            length = 0;
        } else if (length < kIniScalarLength - 1) {
            element[length++] = *c;
        }
    }
    return static_cast<int>(count);
}

}  // namespace

int readIniKeyStr(const char* section, const char* key, const char* path, char* value) {
    return readIniKeyStr(section, key, path, value, kIniLineLength);
}

int readIniKeyStr(const char* section, const char* key, const char* path, char* value, std::size_t capacity) {
    if (section == nullptr || key == nullptr || path == nullptr || value == nullptr) {
        ALOG_ERROR("readIniKeyStr input params can not be NULL!");
        return -1;
    }
    InputFile file(path, kIniFileBytes);
    if (!file.isOpen()) {
        ALOG_ERROR("can't open ini file!");
        return -1;
    }
    char header[kIniScalarLength];
    std::snprintf(header, sizeof(header), "[%s]", section);

    char line[kIniLineLength];
    bool inSection = false;
    while (readLine(file, line)) {
        if (!inSection) {
            inSection = std::strncmp(line, header, std::strlen(header)) == 0;
            continue;
        }
        const char* equals = std::strchr(line, '=');
        if (equals == nullptr) {
            // On purpose: a line without "=" ends the search, and the file stays open.
            file.abandon();
            ALOG_ERROR("ini file not find key word!");
            return -1;
        }
        // On purpose: the key may occur anywhere in the line, also inside a longer key or in the value.
        if (std::strstr(line, key) != nullptr && line[0] != '#') {
            copyCut(value, equals + 1, capacity);
            return 0;
        }
    }
    return -1;
}

int findIniInt(const char* section, const char* key, const char* path, int* value) {
    char text[kIniScalarLength];
    const int result = readIniKeyStr(section, key, path, text, sizeof(text));
    if (result == 0) {
        *value = toInt(text);
    }
    return result;
}

int findIniFloat(const char* section, const char* key, const char* path, float* value) {
    char text[kIniScalarLength];
    const int result = readIniKeyStr(section, key, path, text, sizeof(text));
    if (result == 0) {
        *value = toFloat(text);
    }
    return result;
}

int findIniInts(const char* section, const char* key, const char* path, int* values, int* count,
                std::size_t capacity) {
    char list[kIniLineLength];
    const int result = readIniKeyStr(section, key, path, list);
    if (result == 0) {
        *count = storeElements(list, capacity,
                               [values](std::size_t i, const char* text) { values[i] = toInt(text); });
    }
    return result;
}

int readIniKeyInt(const char* section, const char* key, const char* path, int* value) {
    int found = 0;
    findIniInt(section, key, path, &found);
    if (value != nullptr) {
        *value = found;
    }
    return 0;
}

int readIniKeyFloat(const char* section, const char* key, const char* path, float* value) {
    float found = 0.0F;
    findIniFloat(section, key, path, &found);
    if (value != nullptr) {
        *value = found;
    }
    return 0;
}

int readIniKeyIntArr(const char* section, const char* key, const char* path, int* values, int* count) {
    if (count != nullptr) {
        *count = 0;
    }
    if (values != nullptr && count != nullptr) {
        findIniInts(section, key, path, values, count, kIniLineLength);
    }
    return 0;
}

int readIniKeyFloatArr(const char* section, const char* key, const char* path, float* values, int* count) {
    if (count != nullptr) {
        *count = 0;
    }
    char list[kIniLineLength];
    if (values != nullptr && count != nullptr && readIniKeyStr(section, key, path, list) == 0) {
        *count = storeElements(list, kIniLineLength,
                               [values](std::size_t i, const char* text) { values[i] = toFloat(text); });
    }
    return 0;
}

int split(char* text, char** pieces, const char* delimiters) {
    if (pieces == nullptr) {
        return 1;
    }
    pieces[0] = nullptr;
    if (text == nullptr || delimiters == nullptr) {
        return 1;
    }
    int written = 0;
    char* rest = nullptr;
    for (char* start = text; written < kMaxPieces; start = nullptr) {
        char* piece = strtok_r(start, delimiters, &rest);
        pieces[written++] = piece;
        if (piece == nullptr) {
            break;
        }
    }
    return written;
}
