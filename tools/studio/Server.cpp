// cpp-httplib 0.11 as Debian has it: a shared library, compiled with TLS and compression, none of which is
// used here. What it leaves to its user, and how it is done here:
// - Bodies without a length, chunks and compressed bodies have no limits there: Access refuses the first two,
//   and the receiver counts what arrives.
// - A request whose body was not read to its end would leave the rest to be taken for the next request: every
//   connection serves one request.
// - Its socket option SO_REUSEPORT would let two studios share a port.
// - It compresses what a browser accepts compressed, which costs more than it saves on one machine: bodies go
//   out through a content provider, which it leaves alone.
#include "tools/studio/Server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <thread>

namespace tool {

namespace {

constexpr std::size_t kThreads = 32;  // slow readers and writers occupy one each
constexpr time_t kTimeout = 5;        // seconds without a byte
// What is read of a body that was refused, so that the sender gets to see the answer.
constexpr std::size_t kMostDrained = std::size_t{256} << 20U;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

HttpRequest requestOf(const httplib::Request& from) {
    HttpRequest request;
    request.method = from.method;
    request.path = from.path;
    request.query.insert(from.params.begin(), from.params.end());
    for (const auto& [name, value] : from.headers) {
        std::string& held = request.headers[lowerCase(name)];
        held += (held.empty() ? "" : ", ") + value;
    }
    return request;
}

void send(HttpResponse from, httplib::Response& to) {
    to.status = from.status;
    for (const auto& [name, value] : from.headers) {
        to.set_header(name.c_str(), value);
    }
    if (from.body.empty()) {
        to.set_content("", from.type);
        return;
    }
    auto body = std::make_shared<const std::string>(std::move(from.body));
    to.set_content_provider(body->size(), from.type,
                            [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                sink.write(body->data() + offset, length);
                                return true;
                            });
}

// Reads the body; false when it is longer than allowed.
bool readBody(const httplib::Request& from, const httplib::ContentReader& reader, HttpRequest& request) {
    std::size_t total = 0;
    const auto count = [&total](std::size_t length) { return (total += length) <= kMaxBody; };
    if (!from.is_multipart_form_data()) {
        reader([&](const char* data, std::size_t length) {
            request.body.append(data, count(length) ? length : 0);
            return total <= kMaxBody;
        });
        return total <= kMaxBody;
    }
    reader(
        [&](const httplib::MultipartFormData& part) {
            request.files.push_back({part.name, part.filename, {}});
            return count(part.name.size() + part.filename.size() + sizeof(HttpFile));
        },
        [&](const char* data, std::size_t length) {
            request.files.back().bytes.append(data, count(length) ? length : 0);
            return total <= kMaxBody;
        });
    return total <= kMaxBody;
}

void drain(const httplib::Request& from, const httplib::ContentReader& reader) {
    std::size_t total = 0;
    const auto skip = [&total](const char*, std::size_t length) { return (total += length) <= kMostDrained; };
    if (from.is_multipart_form_data()) {
        reader([](const httplib::MultipartFormData&) { return true; }, skip);
    } else {
        reader(skip);
    }
}

}  // namespace

class StudioServer::Sockets : public httplib::Server {
public:
    // The library's own queue of waiting connections has five places; the next one would wait for a second.
    void lengthenQueue() { ::listen(svr_sock_, SOMAXCONN); }
};

StudioServer::StudioServer(int port) : m_sockets(std::make_unique<Sockets>()) {
    m_sockets->set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    m_sockets->set_tcp_nodelay(true);
    m_sockets->set_keep_alive_max_count(1);
    m_sockets->set_read_timeout(kTimeout);
    m_sockets->set_write_timeout(kTimeout);
    m_sockets->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    const char* const address = "127.0.0.1";
    m_port = port == 0 ? m_sockets->bind_to_any_port(address)
                       : (m_sockets->bind_to_port(address, port) ? port : -1);
    if (m_port < 0) {
        throw fileError("cannot listen on port " + std::to_string(port) +
                        " of 127.0.0.1: another program does");
    }
}

StudioServer::~StudioServer() = default;

void StudioServer::serve(const Access& access, Handler handler) {
    const auto withBody = [&access, handler](const httplib::Request& from, httplib::Response& to,
                                             const httplib::ContentReader& reader) {
        HttpRequest request = requestOf(from);
        if (auto refusal = access.refusal(request)) {
            if (!request.header("content-length").empty()) {
                drain(from, reader);
            }
            send(std::move(*refusal), to);
        } else if (!readBody(from, reader, request)) {
            send(errorResponse(413, "a request has at most 64 MiB"), to);
        } else {
            send(handler(request), to);
        }
    };
    // Whatever has no body to be read.
    m_sockets->set_pre_routing_handler(
        [&access, handler](const httplib::Request& from, httplib::Response& to) {
            if (from.method == "POST" && !from.has_header("Transfer-Encoding")) {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            const HttpRequest request = requestOf(from);
            auto refusal = access.refusal(request);
            send(refusal ? std::move(*refusal) : handler(request), to);
            return httplib::Server::HandlerResponse::Handled;
        });
    m_sockets->Post(".*", withBody);
    m_sockets->lengthenQueue();
    m_sockets->listen_after_bind();
}

}  // namespace tool
