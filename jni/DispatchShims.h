// What the two dispatch families have in common: the life of a back end's object behind a void*, and the
// platform log's lines about each step. The exported shims in HuevancePhoto.cpp and HuevanceFrame.cpp are one
// call of these each; the texts stand there.
#pragma once

#include <chrono>
#include <cstring>
#include <exception>
#include <new>

#include "jni/algocommon/LogPrintf.h"

namespace dispatch {

struct Texts {
    const char* succeeded;  // null: success is not logged
    const char* failed;
};

// The row of a family's table whose name is `platform`, or null: names are compared whole and with their
// case.
template <typename Row, std::size_t N>
const Row* find(const Row (&rows)[N], const char* platform) {
    for (const Row& row : rows) {
        if (platform != nullptr && std::strcmp(platform, row.name) == 0) {
            return &row;
        }
    }
    return nullptr;
}

inline int report(int result, const Texts& texts) {
    if (result != 0) {
        ALOG_ERROR("%s", texts.failed);
    } else if (texts.succeeded != nullptr) {
        ALOG_INFO("%s", texts.succeeded);
    }
    return result;
}

// What call() answers; -1 and one line when memory runs out on the way. The host cannot catch what the
// library throws.
template <typename Call>
int guarded(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        ALOG_ERROR("memory is missing!");
    } catch (const std::exception& error) {  // a size beyond all memory, say
        ALOG_ERROR("%s!", error.what());
    }
    return -1;
}

// Creates an Object, runs setUp(object), and stores it in *handle; null and the code when set-up fails. An
// object that failed is deleted.
template <typename Object, typename SetUp>
int create(void** handle, const Texts& texts, SetUp setUp) {
    auto* object = new (std::nothrow) Object;
    const int result = object != nullptr && handle != nullptr ? guarded([&] { return setUp(*object); }) : -1;
    if (result != 0) {
        delete object;
        object = nullptr;
    }
    if (handle != nullptr) {
        *handle = object;
    }
    return report(result, texts);
}

// Runs call(object) on the object behind the handle; -1 for a null handle.
template <typename Object, typename Call>
int forward(void* handle, const Texts& texts, Call call) {
    const auto forwarded = [&] { return call(*static_cast<Object*>(handle)); };
    return report(handle != nullptr ? guarded(forwarded) : -1, texts);
}

// The same, and logs the elapsed milliseconds with `timing`, a format for one double. Whole microseconds
// count.
template <typename Object, typename Call>
int forwardTimed(void* handle, const char* timing, const Texts& texts, Call call) {
    if (handle == nullptr) {
        return report(-1, texts);
    }
    const auto start = std::chrono::steady_clock::now();
    const int result = guarded([&] { return call(*static_cast<Object*>(handle)); });
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const auto microseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() / 1000;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    __android_log_print(ANDROID_LOG_INFO, kHuevanceLogTag, timing,
                        static_cast<double>(microseconds) / 1000.0);
#pragma GCC diagnostic pop
    return report(result, texts);
}

// -1 and one line for a null object, else 0.
inline int refuseNull(const void* handle, const char* text) {
    if (handle == nullptr) {
        ALOG_ERROR("%s", text);
        return -1;
    }
    return 0;
}

// Releases with release(object) and deletes the object; a release that fails leaves it alive.
template <typename Object, typename Release>
int destroy(void* handle, const char* nullText, const Texts& texts, Release release) {
    if (refuseNull(handle, nullText) != 0) {
        return -1;
    }
    auto* object = static_cast<Object*>(handle);
    const int result = release(*object);
    if (result == 0) {
        delete object;
    }
    return report(result, texts);
}

}  // namespace dispatch
