#include <filesystem>
#include <memory>

#include "tools/Stdio.h"
#include "tools/commands/Commands.h"
#include "tools/commands/Options.h"
#include "tools/tuning/StarterTuning.h"
#include "tools/tuning/TuningDirectory.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct NewOptions {
    std::string directory, looks, protect = "none";
    StarterOptions starter;
    bool force = false;
};

// A directory that is there, and empty unless forced. Gives whether it was made.
bool prepare(const std::string& directory, bool force) {
    std::error_code error;
    const bool made = fs::create_directories(directory, error);
    if (error || !fs::is_directory(directory)) {
        throw fileError("cannot make " + directory +
                        (error ? ": " + error.message() : ": a file has that name"));
    }
    if (!force && !fs::is_empty(directory, error)) {
        throw fileError(directory + " is not empty (--force writes into it all the same)");
    }
    return made;
}

std::vector<std::string> words(const std::string& list) {
    std::vector<std::string> all;
    for (std::size_t begin = 0; begin <= list.size() && !list.empty();) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        all.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return all;
}

ExitCode listLooks() {
    std::string text;
    for (const std::string& name : starterLookNames()) {
        text +=
            name + std::string(name.size() < 12 ? 12 - name.size() : 1, ' ') + starterLook(name).about + "\n";
    }
    print(text);
    return ExitCode::kGood;
}

ExitCode tuningNew(NewOptions options) {
    if (options.looks == "list") {
        return listLooks();
    }
    if (options.directory.empty()) {
        throw usageError("tuning new needs a directory");
    }
    options.starter.looks = words(options.looks);
    options.starter.protection = options.protect == "mask"   ? Protection::kMask
                                 : options.protect == "skin" ? Protection::kSkin
                                                             : Protection::kNone;
    checkStarter(options.starter);
    if (options.starter.cache.empty()) {
        StarterOptions same = options.starter;  // the directory is the cache then
        same.cache = fs::absolute(options.directory).lexically_normal().string();
        checkStarter(same);
    }
    prepare(options.directory, options.force);
    writeStarter(options.directory, options.starter);
    note("wrote a starter tuning to " + options.directory + " (README.txt there says what is what)");
    return ExitCode::kGood;
}

struct RetargetOptions {
    std::string directory, out;
    StarterOptions starter;
};

bool isCache(const std::string& name) { return name.rfind("HvKernel", 0) == 0; }

ExitCode retarget(const RetargetOptions& options) {
    checkStarter(options.starter);
    TuningDirectory source(options.directory);
    const bool made = prepare(options.out, false);
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(options.directory)) {
            if (entry.is_regular_file() && !isCache(entry.path().filename().string())) {
                fs::copy_file(entry.path(), fs::path(options.out) / entry.path().filename());
            }
        }
        TuningDirectory copy(options.out);
        for (int table = 0; table < copy.tableCount(); ++table) {
            lookOf(copy, table);
        }
        const std::vector<std::string> lost = copy.setPlatforms(options.starter.photo, options.starter.frame);
        copy.save();
        for (const std::string& what : lost) {
            note(what);
        }
    } catch (...) {
        std::error_code ignored;
        for (const fs::directory_entry& entry : fs::directory_iterator(options.out, ignored)) {
            fs::remove(entry.path(), ignored);
        }
        if (made) {
            fs::remove(options.out, ignored);
        }
        throw;
    }
    note("wrote " + options.out + ": photos on " + options.starter.photo + ", previews on " +
         options.starter.frame);
    return ExitCode::kGood;
}

void addModes(CLI::App* command, StarterOptions& options) {
    // Names in any case.
    const auto upper = [](std::string name) {
        for (char& c : name) {
            c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        }
        return name;
    };
    command->add_option("--photo", options.photo, "Back end of captures: CPU, NEON or OGL")
        ->transform(upper)
        ->capture_default_str();
    command->add_option("--frame", options.frame, "Back end of previews: CPU, GPU or OGL")
        ->transform(upper)
        ->capture_default_str();
}

}  // namespace

void addTuningNew(CLI::App& tuning, Action& action) {
    auto shared = std::make_shared<NewOptions>();
    NewOptions& options = *shared;
    CLI::App* command = tuning.add_subcommand("new", "Write a complete starter tuning, with looks to edit");
    command->add_option("DIR", options.directory, "Directory, new or empty");
    addModes(command, options.starter);
    command->add_option("--cache", options.starter.cache,
                        "Where the GPU back end keeps its programs, on the phone (default: DIR)");
    command->add_option("--looks", options.looks,
                        "Looks, by name with commas (default: all); 'list' prints them");
    command->add_option("--protect", options.protect, "Portrait protection: none, mask (the host's) or skin")
        ->check(CLI::IsMember({"none", "mask", "skin"}))
        ->capture_default_str();
    command->add_flag("--force", options.force, "Also into a directory that is not empty");
    command->footer(
        "Scene 0 is neutral; neutral and night are always there.\n"
        "Examples:\n  huevance tuning new my_tuning\n"
        "  huevance tuning new my_tuning --photo NEON --frame GPU --cache /data/vendor/camera --looks "
        "food,portrait\n\n" +
        std::string(kExitCodes));
    command->callback([shared, &action] { action = [shared] { return tuningNew(*shared); }; });
}

void addTuningRetarget(CLI::App& tuning, Action& action) {
    auto shared = std::make_shared<RetargetOptions>();
    RetargetOptions& options = *shared;
    CLI::App* command =
        tuning.add_subcommand("retarget", "Copy a tuning for other back ends, so that it looks the same");
    command->add_option("DIR", options.directory, "Tuning directory; stays as it is")->required();
    command->add_option("OUT", options.out, "Directory for the copy, new or empty")->required();
    addModes(command, options.starter);
    command->get_option("--photo")->required();
    command->get_option("--frame")->required();
    command->footer(kExitCodes);
    command->callback([shared, &action] { action = [shared] { return retarget(*shared); }; });
}

}  // namespace tool
