#include "tools/studio/Studio.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>

#include "tools/Files.h"
#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/host/HostLibrary.h"
#include "tools/studio/Access.h"
#include "tools/studio/Server.h"

namespace tool {

namespace {

struct StudioCommand {
    StudioOptions studio;
    LibraryOptions library;
    int port = 0;
    bool noBrowser = false;
};

// The signals that end the studio, waited for instead of being caught.
sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Everybody on this machine can read a program's arguments, so the browser is not given the address but a
// page that leads there.
void openBrowser(const std::string& directory, const std::string& url) {
    const std::string page = directory + "/open.html";
    const std::string html = "<!doctype html><meta http-equiv=\"refresh\" content=\"0; url=" + url + "\">\n";
    writeFile(page, Bytes(html.begin(), html.end()));
    const pid_t child = fork();
    if (child != 0) {
        return;  // without a browser the address on standard output is left
    }
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    setsid();
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(nothing, STDERR_FILENO);
    execlp("xdg-open", "xdg-open", page.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

std::unique_ptr<StudioServer> listen(int port, int usual) {
    if (port == 0) {
        try {
            return std::make_unique<StudioServer>(usual);
        } catch (const ToolError&) {  // taken: any other
        }
    }
    return std::make_unique<StudioServer>(port);
}

ExitCode studio(const StudioCommand& command) {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // in every thread that is made from here on
    const HostLibrary library(command.library.library, command.library.verbose);
    Studio studio(library, command.studio);
    // Whatever else wants a temporary place is to end with the studio, too.
    setenv("TMPDIR", studio.temporaryDirectory().c_str(),
           1);  // NOLINT(concurrency-mt-unsafe): nobody asks yet
    const std::unique_ptr<StudioServer> server = listen(command.port, studio.usualPort());
    const Access access(freshToken(), server->port());
    std::thread([&] {
        server->serve(access, [&](const HttpRequest& request) { return studio.answer(request); });
    }).detach();
    print(access.url() + "\n");
    if (!command.noBrowser) {
        openBrowser(studio.temporaryDirectory(), access.url());
    }
    int number = 0;
    sigwait(&signals, &number);
    // Requests may be under way, and a picture of a hundred megapixels with them: nobody waits for those.
    studio.end();
    _exit(static_cast<int>(ExitCode::kGood));
}

}  // namespace

void addStudio(CLI::App& app, Action& action) {
    auto shared = std::make_shared<StudioCommand>();
    StudioCommand& options = *shared;
    CLI::App* command =
        app.add_subcommand("studio", "Tune in a browser, with photographs enhanced as you go");
    command->add_option("DIR", options.studio.directory, "Tuning directory")->required();
    command->add_option("PHOTO", options.studio.photos, "JPEG or PNG")->required();
    command->add_option("--port", options.port, "Port on 127.0.0.1 (default: any that is free)")
        ->check(CLI::Range(0, 65535));
    command->add_flag("--no-browser", options.noBrowser, "Only print the address");
    add(command, options.library);
    command->footer(
        "The first line on standard output is the address, with a token that lets nobody else in. Nothing "
        "in\n"
        "DIR changes before Save; Ctrl-C ends.\n\nExample:\n  huevance studio my_tuning photos/*.jpg\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return studio(*shared); }; });
}

}  // namespace tool
