// One thread on which the library is used, so that two pictures do not fight over the processor, and the
// newest change comes first.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class RenderQueue {
public:
    RenderQueue();
    ~RenderQueue();
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    struct Place {
        std::string lane;  // of a page: what is shown in one place of it
        double serial = 0;
        bool urgent = false;  // before all that are not
    };
    // Waits for its turn and for `job`, whose exceptions come out here. Of jobs of one lane that wait only
    // the one with the highest serial is done; the others throw an HttpError 409, as does one that comes too
    // late.
    void run(const Place& place, const std::function<void()>& job);
    // Jobs that have not begun.
    std::size_t waiting() const;

private:
    struct Waiting {
        Place place;
        const std::function<void()>* job;
        enum class State { kWaiting, kSuperseded, kRunning, kDone } state = State::kWaiting;
        std::exception_ptr failure;
    };
    void work();
    std::list<Waiting*>::iterator next();

    std::list<Waiting*> m_waiting;
    bool m_ending = false;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::thread m_thread;
};

}  // namespace tool
