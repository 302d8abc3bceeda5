// RFC 4648 base64, with padding.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/Files.h"

namespace tool {

std::string toBase64(const Bytes& bytes);
// Nothing for text that is not exactly what toBase64 writes.
std::optional<Bytes> fromBase64(std::string_view text);

}  // namespace tool
