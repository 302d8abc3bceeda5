#include "tools/tuning/Base64.h"

#include <cstdint>

namespace tool {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string toBase64(const Bytes& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8U | (k < count ? bytes[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? kDigits[group >> (18 - 6 * k) & 63U] : '=';
        }
    }
    return text;
}

std::optional<Bytes> fromBase64(std::string_view text) {
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t group = 0;
    std::size_t digits = 0;
    for (const char c : text) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) {
            break;
        }
        group = group << 6U | static_cast<std::uint32_t>(digit);
        if (++digits % 4 != 1) {
            bytes.push_back(static_cast<std::uint8_t>(group >> (6 - 2 * ((digits - 1) % 4))));
        }
    }
    // Padding, and bits that stand for nothing, are right when writing gives the same text.
    return toBase64(bytes) == text ? std::optional(bytes) : std::nullopt;
}

}  // namespace tool
