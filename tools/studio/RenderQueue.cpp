#include "tools/studio/RenderQueue.h"

#include <algorithm>

#include "tools/studio/Http.h"

namespace tool {

RenderQueue::RenderQueue() : m_thread([this] { work(); }) {}

RenderQueue::~RenderQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void RenderQueue::run(const Place& place, const std::function<void()>& job) {
    using State = Waiting::State;
    Waiting own = {place, &job, State::kWaiting, nullptr};
    std::unique_lock lock(m_mutex);
    for (auto other = m_waiting.begin(); other != m_waiting.end();) {
        if ((*other)->place.lane != place.lane) {
            ++other;
        } else if ((*other)->place.serial > place.serial) {
            throw HttpError(409, "superseded");
        } else {
            (*other)->state = State::kSuperseded;
            other = m_waiting.erase(other);
        }
    }
    m_waiting.push_back(&own);
    m_changed.notify_all();
    m_changed.wait(lock, [&own] { return own.state == State::kDone || own.state == State::kSuperseded; });
    if (own.state == State::kSuperseded) {
        throw HttpError(409, "superseded");
    }
    if (own.failure) {
        std::rethrow_exception(own.failure);
    }
}

std::size_t RenderQueue::waiting() const {
    const std::lock_guard lock(m_mutex);
    return m_waiting.size();
}

std::list<RenderQueue::Waiting*>::iterator RenderQueue::next() {
    const auto urgent = std::find_if(m_waiting.begin(), m_waiting.end(),
                                     [](const Waiting* waiting) { return waiting->place.urgent; });
    return urgent != m_waiting.end() ? urgent : m_waiting.begin();
}

void RenderQueue::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ending || !m_waiting.empty(); });
        if (m_waiting.empty()) {
            return;
        }
        const auto place = next();
        Waiting& job = **place;
        m_waiting.erase(place);
        job.state = Waiting::State::kRunning;
        lock.unlock();
        try {
            (*job.job)();
        } catch (...) {
            job.failure = std::current_exception();
        }
        lock.lock();
        job.state = Waiting::State::kDone;
        m_changed.notify_all();
    }
}

}  // namespace tool
