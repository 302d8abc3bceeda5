// Counted owners. An Object counts the smart_pointers that hold it; the last one to let go deletes it. The
// count is atomic; a smart_pointer itself belongs to one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>

class Object {
public:
    Object() { ++s_live; }
    virtual ~Object() { --s_live; }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    void increment() { m_count.fetch_add(1); }
    // Deletes the object when it takes the count from 1 to 0.
    void decrement() {
        if (m_count.fetch_sub(1) == 1) {
            delete this;
        }
    }
    std::int32_t count() const { return m_count.load(); }

    // Objects of the process that exist now.
    static int liveObjects() { return s_live.load(); }

private:
    std::atomic<std::int32_t> m_count = 0;
    static inline std::atomic<int> s_live = 0;
};

template <typename T>
class smart_pointer {
public:
    smart_pointer() = default;
    // Takes a reference; null is allowed.
    smart_pointer(T* object) : m_object(object) { increment(m_object); }
    smart_pointer(const smart_pointer& other) : smart_pointer(other.m_object) {}
    virtual ~smart_pointer() { decrement(m_object); }

    smart_pointer& operator=(const smart_pointer& other) { return *this = other.m_object; }
    smart_pointer& operator=(T* object) {
        increment(object);  // the new one first: it may be the old one's
        T* before = m_object;
        m_object = object;
        decrement(before);
        return *this;
    }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    static void increment(T* object) {
        if (object != nullptr) {
            object->increment();
        }
    }
    static void decrement(T* object) {
        if (object != nullptr) {
            object->decrement();
        }
    }

    T* m_object = nullptr;
};
