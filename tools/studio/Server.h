// The studio's sockets: one port of the loopback address.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/studio/Access.h"

namespace tool {

class StudioServer {
public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    // Binds `port` of 127.0.0.1, 0 for any. Throws (exit code 3) when it is taken.
    explicit StudioServer(int port);
    ~StudioServer();
    StudioServer(const StudioServer&) = delete;
    StudioServer& operator=(const StudioServer&) = delete;

    int port() const { return m_port; }
    // Answers requests, several at once, on threads of its own, until the process ends. `access` is asked
    // before a body is read.
    void serve(const Access& access, Handler handler);

private:
    class Sockets;
    std::unique_ptr<Sockets> m_sockets;
    int m_port = 0;
};

}  // namespace tool
