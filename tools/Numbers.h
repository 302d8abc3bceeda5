// Numbers in the words of a command line or a file, without the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace tool {

// The whole text as a number that is at least `low`; without the locale.
template <typename T>
std::optional<T> parseNumber(std::string_view text, T low) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < low) {
        return std::nullopt;
    }
    return value;
}

}  // namespace tool
