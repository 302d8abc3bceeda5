#include "tools/studio/Access.h"

#include <sys/random.h>

#include <cerrno>
#include <charconv>
#include <cstring>

namespace tool {

namespace {

constexpr char kTokenLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
constexpr std::size_t kTokenLength = 32;

bool beginsWith(const std::string& text, const char* beginning) { return text.rfind(beginning, 0) == 0; }

// Bytes that the request says its body has; nothing for a number that is none.
std::optional<std::size_t> bodyLength(const HttpRequest& request) {
    const std::string text = request.header("content-length");
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(length) : std::nullopt;
}

}  // namespace

std::string freshToken() {
    unsigned char random[kTokenLength];
    if (getrandom(random, sizeof(random), 0) != static_cast<ssize_t>(sizeof(random))) {
        throw fileError(std::string("the system has no random numbers: ") + std::strerror(errno));
    }
    std::string token;
    for (const unsigned char byte : random) {
        token += kTokenLetters[byte % 64U];
    }
    return token;
}

Access::Access(std::string token, int port)
    : m_token(std::move(token)),
      m_hosts{"127.0.0.1:" + std::to_string(port), "localhost:" + std::to_string(port)} {}

std::string Access::url() const { return "http://" + m_hosts[0] + "/?token=" + m_token; }

bool Access::isOwnHost(const std::string& host) const { return host == m_hosts[0] || host == m_hosts[1]; }

bool Access::isToken(const std::string& text) const {
    // As long for a wrong first character as for a wrong last one.
    unsigned difference = text.size() == m_token.size() ? 0U : 1U;
    for (std::size_t i = 0; i < m_token.size(); ++i) {
        const char given = i < text.size() ? text[i] : '\0';
        difference |= static_cast<unsigned char>(given) ^ static_cast<unsigned char>(m_token[i]);
    }
    return difference == 0;
}

std::optional<HttpResponse> Access::refusal(const HttpRequest& request) const {
    if (!isOwnHost(request.header("host"))) {
        return errorResponse(403, "this host name is not the studio's");
    }
    const std::string origin = request.header("origin");
    if (!origin.empty() && !(beginsWith(origin, "http://") && isOwnHost(origin.substr(7)))) {
        return errorResponse(403, "a page from elsewhere may not ask the studio");
    }
    const bool post = request.method == "POST";
    if (!post && request.method != "GET" && request.method != "HEAD") {
        return errorResponse(405, "GET and POST are understood");
    }
    const bool token = request.path == "/"                 ? isToken(request.parameter("token"))
                       : beginsWith(request.path, "/api/") ? isToken(request.header("x-huevance-token"))
                                                           : true;
    if (!token) {
        return errorResponse(403, "the token is missing or wrong: open the address that the studio printed");
    }
    // Chunks have no length to judge by.
    const std::optional<std::size_t> length = bodyLength(request);
    if (post && (!length || !request.header("transfer-encoding").empty())) {
        return errorResponse(411, "a body needs its length");
    }
    if (length && *length > kMaxBody) {
        return errorResponse(413, "a request has at most 64 MiB");
    }
    return std::nullopt;
}

}  // namespace tool
