// How often the files of a directory are opened, by whatever call.
#pragma once

#include <sys/inotify.h>
#include <unistd.h>

#include <map>
#include <string>

namespace test {

class OpenCount {
public:
    explicit OpenCount(const std::string& directory) : m_queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        // Closes, too: the system drops an event that equals the one before it.
        inotify_add_watch(m_queue, directory.c_str(), IN_OPEN | IN_CLOSE);
    }
    ~OpenCount() { close(m_queue); }
    OpenCount(const OpenCount&) = delete;
    OpenCount& operator=(const OpenCount&) = delete;

    // Since the last call, for each file name.
    std::map<std::string, int> take() {
        std::map<std::string, int> opens;
        alignas(inotify_event) char events[16384];
        for (ssize_t got = 0; (got = read(m_queue, events, sizeof(events))) > 0;) {
            for (const char* at = events; at < events + got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                if ((event->mask & IN_OPEN) != 0) {
                    ++opens[event->len > 0 ? event->name : "."];
                }
                at += sizeof(inotify_event) + event->len;
            }
        }
        return opens;
    }

private:
    int m_queue;
};

}  // namespace test
