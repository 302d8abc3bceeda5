// Requests and responses as values: what the studio answers does not depend on sockets.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/ToolError.h"

namespace tool {

struct HttpFile {
    std::string field;  // of the form
    std::string name;   // as the sender called it
    std::string bytes;
};

struct HttpRequest {
    std::string method;  // "GET", "POST", ...
    std::string path;    // decoded, without the query
    std::map<std::string, std::string> query;
    std::map<std::string, std::string> headers;  // by name in lower case
    std::string body;                            // empty when it was a form of files
    std::vector<HttpFile> files;                 // of a form, in their order

    // Empty when there is none.
    std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found != headers.end() ? found->second : std::string();
    }
    std::string parameter(const std::string& name) const {
        const auto found = query.find(name);
        return found != query.end() ? found->second : std::string();
    }
};

struct HttpResponse {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

// What a request is answered with instead: a status and one sentence.
class HttpError : public std::runtime_error {
public:
    HttpError(int status, const std::string& sentence) : std::runtime_error(sentence), m_status(status) {}
    int status() const { return m_status; }

private:
    int m_status;
};

// {"error": sentence}
HttpResponse errorResponse(int status, const std::string& sentence);

}  // namespace tool
