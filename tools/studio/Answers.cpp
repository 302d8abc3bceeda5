#include "tools/studio/Answers.h"

#include <nlohmann/json.hpp>

namespace tool {

using Json = nlohmann::ordered_json;

void addSafety(HttpResponse& response) {
    response.headers.insert(
        response.headers.end(),
        {{"Content-Security-Policy",
          "default-src 'self'; img-src 'self' blob: data:; style-src 'self'; object-src 'none'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
         {"X-Content-Type-Options", "nosniff"},
         {"X-Frame-Options", "DENY"},
         {"Cache-Control", "no-store"},
         {"Referrer-Policy", "no-referrer"},
         {"Cross-Origin-Opener-Policy", "same-origin"},
         {"Cross-Origin-Resource-Policy", "same-origin"}});
}

// Texts may hold names of files, which may be any bytes.
HttpResponse jsonResponse(const Json& json, int status) {
    return {status, "application/json", json.dump(-1, ' ', false, Json::error_handler_t::replace), {}};
}

HttpResponse errorResponse(int status, const std::string& sentence) {
    HttpResponse response = jsonResponse({{"error", sentence}}, status);
    addSafety(response);
    return response;
}

std::string percentEncoded(const std::string& text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 128) {
            encoded += '?';  // perhaps no character, and a page would take none of it
        } else if (byte > ' ' && byte < 127 && c != '%') {
            encoded += c;
        } else {
            encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
        }
    }
    return encoded;
}

std::string withoutIndent(const std::string& lines) {
    std::string plain;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        if (lines.compare(at, 3, "\n  ") == 0) {
            plain += plain.empty() ? "" : "\n";
            at += 2;
        } else {
            plain += lines[at];
        }
    }
    return plain;
}

HttpResponse refusedResponse(const std::string& message) {
    const std::string sentence = message.substr(0, message.find('\n'));
    Json lines = Json::array();
    std::string rest = withoutIndent(message.substr(sentence.size()));
    while (!rest.empty()) {
        lines.push_back(rest.substr(0, rest.find('\n')));
        rest.erase(0, rest.find('\n') == std::string::npos ? rest.size() : rest.find('\n') + 1);
    }
    return jsonResponse({{"error", sentence}, {"lines", lines}}, 422);
}

}  // namespace tool
