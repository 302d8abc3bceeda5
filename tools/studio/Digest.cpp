#include "tools/studio/Digest.h"

#include <cstdio>

namespace tool {

void Digest::add(std::string_view bytes) {
    constexpr std::uint64_t kPrime = 0x100000001b3U;
    for (const char c : bytes) {
        m_first = (m_first ^ static_cast<unsigned char>(c)) * kPrime;
        m_second = (m_second ^ static_cast<unsigned char>(c)) * kPrime;
    }
    // Where one text ends and the next begins counts, too.
    m_first = (m_first ^ bytes.size()) * kPrime;
    m_second = (m_second ^ bytes.size()) * kPrime;
}

void Digest::add(std::uint64_t number) {
    char bytes[sizeof(number)];
    for (std::size_t i = 0; i < sizeof(bytes); ++i) {
        bytes[i] = static_cast<char>(number >> (8U * i));
    }
    add(std::string_view(bytes, sizeof(bytes)));
}

std::string Digest::hex() const {
    char text[33];
    std::snprintf(text, sizeof(text), "%016llx%016llx", static_cast<unsigned long long>(m_first),
                  static_cast<unsigned long long>(m_second));
    return text;
}

}  // namespace tool
