// The forms of answers.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/studio/Http.h"

namespace tool {

// For every answer: nothing from elsewhere, nothing kept, nothing told to others.
void addSafety(HttpResponse& response);

HttpResponse jsonResponse(const nlohmann::ordered_json& json, int status = 200);

// 422 for a ToolError's message, whose further lines are the library's: {"error": sentence, "lines": [...]}.
HttpResponse refusedResponse(const std::string& message);

// Lines as a message holds them, "\n  one\n  two", as "one\ntwo".
std::string withoutIndent(const std::string& lines);

// For a header: what does not fit there as %XX.
std::string percentEncoded(const std::string& text);

}  // namespace tool
