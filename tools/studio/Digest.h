// A short name for contents: equal contents have equal digests, and others practically never have.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// FNV-1a of 64 bits, twice with different beginnings. Not for keeping out a forger.
class Digest {
public:
    void add(std::string_view bytes);
    void add(std::uint64_t number);
    std::string hex() const;  // 32 digits

private:
    std::uint64_t m_first = 0xcbf29ce484222325U, m_second = 0x9e3779b97f4a7c15U;
};

}  // namespace tool
