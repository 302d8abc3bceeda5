// Work on many things that do not depend on one another.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tool {

// Calls work(i) for every i below `count`, on every processor that there is, in no order. What one of them throws
// comes out when all have ended.
template <typename Work>
void inParallel(std::size_t count, const Work& work) {
    constexpr std::size_t kPiece = 64;
    constexpr unsigned kMostThreads = 8;
    std::atomic<std::size_t> next = 0;
    std::exception_ptr failure;
    std::mutex mutex;
    const auto run = [&] {
        try {
            for (std::size_t begin = next.fetch_add(kPiece); begin < count; begin = next.fetch_add(kPiece)) {
                for (std::size_t i = begin; i < std::min(begin + kPiece, count); ++i) {
                    work(i);
                }
            }
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> others;
    try {
        for (unsigned i = 1; i < std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads); ++i) {
            others.emplace_back(run);
        }
    } catch (const std::system_error&) {
        // There are no more: those that there are do it.
    }
    run();
    for (std::thread& other : others) {
        other.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace tool
