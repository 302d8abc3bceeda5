// Who may ask: the browser that was given the token, and pages that the studio served itself.
#pragma once

#include <optional>
#include <string>

#include "tools/studio/Http.h"

namespace tool {

// The longest body that is read.
inline constexpr std::size_t kMaxBody = std::size_t{64} << 20U;

class Access {
public:
    // `port` is the one that is listened on.
    Access(std::string token, int port);

    // What a request is refused with, before its body is read; nothing when it may pass. Names of the host
    // other than the loopback address come from pages that let their own name point here.
    std::optional<HttpResponse> refusal(const HttpRequest& request) const;

    const std::string& token() const { return m_token; }
    // What the person opens.
    std::string url() const;

private:
    bool isOwnHost(const std::string& host) const;
    bool isToken(const std::string& text) const;

    std::string m_token;
    std::string m_hosts[2];
};

// 32 characters of A-Z a-z 0-9 _ - from the system's random numbers, 192 bits. Throws (exit code 3).
std::string freshToken();

}  // namespace tool
