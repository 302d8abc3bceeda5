// The simulated Android log: "brief" lines on standard error, or a test's sink.
#include <android/log.h>
#include <sim/log.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex g_mutex;
sim_log_sink g_sink = nullptr;
void* g_context = nullptr;

char priorityLetter(int prio) {
    constexpr char kLetters[] = "??VDIWEFS";
    return prio >= 0 && prio < static_cast<int>(sizeof(kLetters)) - 1 ? kLetters[prio] : '?';
}

}  // namespace

extern "C" {

void sim_log_set_sink(sim_log_sink sink, void* context) {
    const std::lock_guard lock(g_mutex);
    g_sink = sink;
    g_context = context;
}

int __android_log_write(int prio, const char* tag, const char* text) {
    const std::lock_guard lock(g_mutex);
    if (g_sink != nullptr) {
        g_sink(g_context, prio, tag, text);
        return 1;
    }
    return std::fprintf(stderr, "%c/%s(%5d): %s\n", priorityLetter(prio), tag, static_cast<int>(getpid()),
                        text);
}

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    char text[4096];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    return __android_log_write(prio, tag, text);
}
}
