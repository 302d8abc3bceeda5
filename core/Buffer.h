// A zero-filled array with one owner that never throws. Memory is not touched before it is used.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace huevance {

template <typename T>
class Buffer {
public:
    // Larger requests fail: no frame or table of a real camera comes near.
    static constexpr std::size_t kMaxBytes = std::size_t{1} << 31;

    // Replaces the contents by `count` zeroed elements. False, and empty, when that is impossible. A count of
    // 0 succeeds and leaves the buffer empty.
    [[nodiscard]] bool allocate(std::size_t count) {
        release();
        if (count == 0) {
            return true;
        }
        if (count > kMaxBytes / sizeof(T)) {
            return false;
        }
        m_data.reset(static_cast<T*>(std::calloc(count, sizeof(T))));
        m_size = m_data ? count : 0;
        return m_data != nullptr;
    }

    void release() {
        m_data.reset();
        m_size = 0;
    }

    T* get() { return m_data.get(); }
    const T* get() const { return m_data.get(); }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

private:
    struct Free {
        void operator()(T* data) const { std::free(data); }
    };
    std::unique_ptr<T[], Free> m_data;
    std::size_t m_size = 0;
};

// a x b x c elements, or a count that no Buffer grants when a factor is absurd. Negative factors count as 0.
inline std::size_t elementCount(long long a, long long b, long long c = 1) {
    std::size_t result = 1;
    for (const long long factor : {a, b, c}) {
        const std::size_t f = factor > 0 ? static_cast<std::size_t>(factor) : 0;
        if (__builtin_mul_overflow(result, f, &result)) {
            return static_cast<std::size_t>(-1);
        }
    }
    return result;
}

}  // namespace huevance
