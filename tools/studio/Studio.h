// What the page asks the studio for. docs/studio.md has the requests.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/studio/Http.h"

namespace tool {

class HostLibrary;

struct StudioOptions {
    std::string directory;
    std::vector<std::string> photos;
};

// A session without sockets. Of edits it knows nothing: each request carries the document, and nothing in the
// directory changes before one to save.
class Studio {
public:
    // Throws (exit code 3) when there is no such directory. `library` must live as long.
    Studio(const HostLibrary& library, StudioOptions options);
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    // From any thread. Whoever may not ask has been refused before (see Access).
    HttpResponse answer(const HttpRequest& request);

    // A port that belongs to the directory: what a browser keeps for a page it keeps by the port, too.
    int usualPort() const;
    // A directory that ends with the studio.
    const std::string& temporaryDirectory() const;
    // Waits for a request that is saving, and removes the temporary directory. For the end of the process:
    // what comes afterwards fails.
    void end();

private:
    class Session;
    std::unique_ptr<Session> m_session;
};

}  // namespace tool
