// The studio as a program: its sockets, its address and its end.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/tools/ToolProcess.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class Running {
public:
    Running(const Words& arguments, const std::string& temporary) {
        int out[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        Words words =
            join({"env", "TMPDIR=" + temporary, HUEVANCE_BINARY_DIR "/huevance", "studio"}, arguments);
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        EXPECT_EQ(posix_spawnp(&m_process, "env", &actions, nullptr, pointers.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        for (char c = 0; read(out[0], &c, 1) == 1 && c != '\n';) {
            m_line += c;
        }
        close(out[0]);
    }
    ~Running() { end(SIGKILL); }
    const std::string& line() const { return m_line; }
    int port() const { return m_line.size() < 18 ? 0 : std::stoi(m_line.substr(17)); }
    std::string token() const { return m_line.substr(m_line.find('=') + 1); }
    // The exit code, 128 and more for a signal.
    int end(int signal) {
        if (m_process == 0) {
            return 0;
        }
        kill(m_process, signal);
        int status = 0;
        waitpid(m_process, &status, 0);
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    // Whatever is sent, and all that comes back.
    std::string send(const std::string& bytes) const {
        const int socket = connected();
        EXPECT_EQ(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
        std::string answer;
        char buffer[65536];
        for (ssize_t length; (length = recv(socket, buffer, sizeof(buffer), 0)) > 0;) {
            answer.append(buffer, static_cast<std::size_t>(length));
        }
        close(socket);
        return answer;
    }
    int connected() const {
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        return socket;
    }

private:
    pid_t m_process = 0;
    std::string m_line;
};

struct StudioServerTest : testing::Test {
    ToolBench bench;
    TuningDir temporary;
    std::string tuning = bench.path("t"), picture;

    void SetUp() override {
        ASSERT_EQ(bench.run({"tuning", "new", tuning, "--looks", "food"}).exitCode, 0);
        picture = bench.write("a.png", encodePng(solid(64, 48, 200, 100, 50)));
    }
    // To the studio's own host and with its token, unless `headers` have others.
    static std::string request(const Running& running, const std::string& line,
                               const std::string& headers = "", const std::string& body = "") {
        std::string text = line + " HTTP/1.1\r\n";
        if (headers.find("Host:") == std::string::npos) {
            text += "Host: 127.0.0.1:" + std::to_string(running.port()) + "\r\n";
        }
        if (headers.find("Token:") == std::string::npos) {
            text += "X-Huevance-Token: " + running.token() + "\r\n";
        }
        return text + headers + (headers.empty() ? "\r\n" : "\r\n\r\n") + body;
    }
};

TEST_F(StudioServerTest, AnswersOnlyWhatItShould) {
    Running running({tuning, picture, "--no-browser"}, temporary.path());
    ASSERT_THAT(running.line(),
                testing::MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/\\?token=[A-Za-z0-9_-]{32}"));
    const std::string port = ":" + std::to_string(running.port()), host = "127.0.0.1" + port;
    const std::string token = running.token(), none = "X-Huevance-Token: ", length = "Content-Length: ";
    const std::string wrong = token.substr(0, 31) + (token.back() == 'A' ? "B" : "A");
    const std::string most(std::size_t{64} << 20U, ' '), rgb = R"({"rgb": [1,2,3]})";
    const struct {
        std::string line, headers;
        const char* status;
        std::string body = "";
    } visitors[] = {{"GET /?token=" + token, none, "200"},
                    {"GET /", "", "403"},
                    {"GET /?token=" + wrong, "", "403"},
                    {"GET /?token=" + token.substr(0, 31), "", "403"},
                    {"GET /?token=" + token + "6", "", "403"},
                    {"GET /api/open", "", "200"},
                    {"HEAD /api/open", "", "200"},
                    {"GET /api/open?token=" + token, none, "403"},
                    {"GET /api/open", none + wrong, "403"},
                    {"GET /api/", none, "403"},
                    {"GET /assets/studio.css", none, "200"},
                    {"GET /assets/studio.css", "Host: tuning.example" + port, "403"},
                    {"GET /assets/studio.css", "Origin: http://tuning.example", "403"},
                    {"GET /assets/../../../../etc/passwd", "", "404"},
                    {"GET /assets/%2e%2e%2fa.png", "", "404"},
                    {"GET /assets/index.html%00.png", "", "404"},
                    {"GET /favicon.ico", none, "204"},
                    {"GET /api/open", "Host: localhost" + port, "200"},
                    {"GET /api/open", "Host: 127.0.0.1", "403"},
                    {"GET /api/open", "Host: 127.0.0.1:1", "403"},
                    {"GET /api/open", "Host: tuning.example" + port, "403"},
                    {"GET /api/open", "Host: ", "403"},
                    {"GET /api/open", "Host: " + host + "\r\nHost: " + host, "403"},
                    {"GET /api/open", "Origin: http://" + host, "200"},
                    {"GET /api/open", "Origin: http://localhost" + port, "200"},
                    {"GET /api/open", "Origin: https://" + host, "403"},
                    {"GET /api/open", "Origin: http://" + host + ".example", "403"},
                    {"GET /api/open", "Origin: null", "403"},
                    {"POST /api/pick", length + "16", "200", rgb},
                    {"POST /api/pick", length + "16\r\nOrigin: http://" + host + "\r\n" + none, "403", rgb},
                    {"POST /api/pick", length + "16\r\nOrigin: http://tuning.example", "403", rgb},
                    {"POST /api/pick", "", "411"},
                    {"POST /api/pick", length + "2x", "411", "{}"},
                    {"POST /api/pick", "Transfer-Encoding: chunked", "411", "10\r\n" + rgb + "\r\n0\r\n\r\n"},
                    {"POST /api/pick", length + "16\r\nTransfer-Encoding: chunked", "411", rgb},
                    {"POST /api/pick", length + "67108864", "400", most},
                    {"POST /api/pick", length + "67108865", "413", "{}"},  // whatever comes
                    {"PUT /api/save", length + "2", "405", "{}"},
                    {"OPTIONS /api/open", "", "405"},
                    {"OPTIONS /api/save", "Origin: http://tuning.example", "403"}};
    for (const auto& [line, headers, status, body] : visitors) {
        SCOPED_TRACE(line + " " + headers);
        const std::string answer = running.send(request(running, line, headers, body));
        EXPECT_THAT(answer.substr(0, 80), StartsWith(std::string("HTTP/1.1 ") + status));
        for (const char* const safety :
             {"Content-Security-Policy: default-src 'self'", "frame-ancestors 'none'", "form-action 'none'",
              "X-Content-Type-Options: nosniff", "X-Frame-Options: DENY", "Cache-Control: no-store",
              "Referrer-Policy: no-referrer", "Cross-Origin-Resource-Policy: same-origin"}) {
            EXPECT_THAT(answer, HasSubstr(safety));
        }
        EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
        EXPECT_TRUE(*status < '4' || answer.find("{\"error\":") != std::string::npos);
    }
    EXPECT_THAT(running.send("nonsense\r\n\r\n"), testing::AnyOf(IsEmpty(), StartsWith("HTTP/1.1 400")));
    // Those who say nothing keep nobody waiting.
    std::vector<int> silent;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(running.connected());
        EXPECT_EQ(::send(silent.back(), "GET /", 5, MSG_NOSIGNAL), 5);
    }
    EXPECT_THAT(running.send(request(running, "GET /api/state")), StartsWith("HTTP/1.1 200"));
    for (const int socket : silent) {
        close(socket);
    }
    EXPECT_EQ(running.end(SIGINT), 0);
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
}

TEST_F(StudioServerTest, EndsWithinARequestAndLeavesNothing) {
    const std::string large = bench.write("large.png", encodePng(solid(2400, 1800, 200, 100, 50)));
    Running running({tuning, large, "--no-browser"}, temporary.path());
    const std::string open = running.send(request(running, "GET /api/open"));
    const nlohmann::json document = nlohmann::json::parse(open.substr(open.find("\r\n\r\n")))["document"];
    const std::string body = nlohmann::json({{"document", document}, {"photo", 0}, {"table", 0}}).dump();
    const int socket = running.connected();
    const std::string bytes =
        request(running, "POST /api/render", "Content-Length: " + std::to_string(body.size()), body);
    EXPECT_EQ(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(running.end(SIGTERM), 0);
    close(socket);
    EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
    EXPECT_EQ(bench.run({"tuning", "check", tuning}).exitCode, 0);
}

TEST_F(StudioServerTest, NeedsADirectoryAndAFreePort) {
    Running running({tuning, picture, "--no-browser"}, temporary.path());
    const std::string port = std::to_string(running.port());
    bench.expectRefused({{{"studio", tuning, picture, "--port", port}, 3, "cannot listen on port " + port},
                         {{"studio", bench.path("nothing"), picture}, 3, "there is no tuning directory"},
                         {{"studio", tuning}, 2},
                         {{"studio", tuning, picture, "--port", "65536"}, 2}});
    // Without a wish the port is the directory's own, and another one when that is taken.
    Running second({tuning, picture, "--no-browser"}, temporary.path());
    EXPECT_NE(second.port(), running.port());
    EXPECT_NE(second.token(), running.token());
    EXPECT_EQ(second.end(SIGTERM), 0);
    EXPECT_EQ(running.end(SIGHUP), 0);
    Running again({tuning, picture, "--no-browser"}, temporary.path());
    EXPECT_EQ(std::to_string(again.port()), port);
}

}  // namespace
}  // namespace test
