#include "tools/oscctl/command_table.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/settings_table.h"

namespace oscctl {

namespace {

using Options = std::function<void(CLI::App&, Arguments&)>;

struct CommandEntry {
    const char* name;
    const char* help;
    CommandRun run;
    Options options;
    bool needs_camera;
};

const CLI::IsMember kSwitch({"on", "off"});

std::vector<std::string> setting_names() {
    std::vector<std::string> names;
    for (const oschost::Setting& setting : oschost::settings()) names.push_back(setting.name);
    return names;
}

const std::vector<CommandEntry>& command_entries() {
    static const std::vector<CommandEntry> specs{
        {"scan", "find cameras (DNS-SD and OSC_STATIC_CAMERAS)", run_scan,
         [](CLI::App& c, Arguments& a) {
             c.add_option("--seconds", a.scan_seconds, "how long to listen")->capture_default_str();
         },
         false},
        {"settings",
         "fetch and show the camera's parameters (the handler also starts the stream when it "
         "fetches them)",
         run_settings,
         [](CLI::App& c, Arguments& a) {
             c.add_flag("--force", a.force, "fetch even when cached");
         },
         true},
        {"get", "show the cached parameter document", run_get, [](CLI::App&, Arguments&) {}, true},
        {"set", "change one picture or stream setting", run_set,
         [](CLI::App& c, Arguments& a) {
             c.add_option("setting", a.setting, "what to change")
                 ->required()
                 ->check(CLI::IsMember(setting_names()));
             c.add_option("value", a.value, "the new value, within the camera's range")->required();
         },
         true},
        {"mode", "show or change the stream mode (0..3)", run_mode,
         [](CLI::App& c, Arguments& a) {
             const oschost::Range modes = *oschost::find_setting("mode")->fixed;
             c.add_option("mode", a.mode,
                          fmt::format("{}..{}; left out: show the mode", modes.min, modes.max))
                 ->check(CLI::Range(modes.min, modes.max));
         },
         true},
        {"stream", "start the camera's stream", run_stream,
         [](CLI::App& c, Arguments& a) {
             c.add_option("action", a.action, "start")->required()->check(CLI::IsMember({"start"}));
         },
         true},
        {"preview", "change the preview format", run_preview,
         [](CLI::App& c, Arguments& a) {
             c.add_option("size", a.size, "WIDTHxHEIGHT")->required();
             c.add_option("--encode", a.encode, "encoding, e.g. H264 or H265");
             c.add_option("--fps", a.fps, "frames per second")->capture_default_str();
             c.add_option("--bitrate", a.bitrate, "kbit/s")->capture_default_str();
             c.add_option("--gop", a.gop, "frames between key frames")->capture_default_str();
         },
         true},
        {"flip", "turn the picture upside down", run_flip,
         [](CLI::App& c, Arguments& a) {
             c.add_option("state", a.action, "on or off")->required()->check(kSwitch);
         },
         true},
        {"roi", "show (and change) the ROI layout", run_roi,
         [](CLI::App& c, Arguments& a) {
             c.add_option("--set", a.roi_file, "layout JSON file to send first")
                 ->check(CLI::ExistingFile);
             c.add_option("--svg", a.svg_file, "draw the layout into this SVG file");
         },
         true},
        {"update", "update the camera's firmware", run_update,
         [](CLI::App& c, Arguments& a) {
             c.add_option("--fw1220", a.fw1220, "AST1220 image")->check(CLI::ExistingFile);
             c.add_option("--fw1230", a.fw1230, "the three AST1230 files")
                 ->expected(3)
                 ->check(CLI::ExistingFile);
             c.add_flag("--both", a.both_modules, "update both modules in one run");
         },
         true},
        {"progress", "show the firmware update progress", run_progress,
         [](CLI::App&, Arguments&) {}, true},
        {"network", "static ADDRESS GATEWAY MASK | dhcp", run_network,
         [](CLI::App& c, Arguments& a) {
             c.add_option("setup", a.network, "static ADDRESS GATEWAY MASK, or dhcp")
                 ->required()
                 ->expected(1, 4);
         },
         true},
        {"ports", "set the HTTP, HTTPS and RTSP ports", run_ports,
         [](CLI::App& c, Arguments& a) {
             c.add_option("http", a.http_port, "HTTP port")->required();
             c.add_option("https", a.https_port, "HTTPS port")->required();
             c.add_option("rtsp", a.rtsp_port, "RTSP port")->required();
         },
         true},
        {"syslog", "send the camera's log to a syslog server", run_syslog,
         [](CLI::App& c, Arguments& a) {
             c.add_option("server", a.server, "syslog server address")->required();
             c.add_option("port", a.server_port, "syslog server port")->required();
             c.add_option("state", a.action, "on or off")->required()->check(kSwitch);
         },
         true},
        {"auth", "switch HTTP authentication", run_auth,
         [](CLI::App& c, Arguments& a) {
             c.add_option("state", a.action, "on or off")->required()->check(kSwitch);
         },
         true},
        {"gyro", "switch or read the motion sensor", run_gyro,
         [](CLI::App& c, Arguments& a) {
             c.add_option("action", a.action, "on, off or read")
                 ->required()
                 ->check(CLI::IsMember({"on", "off", "read"}));
         },
         true},
        {"health", "process state, CPU and memory use", run_health,
         [](CLI::App& c, Arguments& a) {
             c.add_flag("--stored", a.stored,
                        "report what the handler stored from earlier answers, without asking; "
                        "a fresh oscctl run has stored nothing, so this shows the defaults");
         },
         true},
        {"version", "module firmware versions", run_version, [](CLI::App&, Arguments&) {}, true},
        {"save", "keep the current settings across reboots", run_save, [](CLI::App&, Arguments&) {},
         true},
        {"reboot", "reboot the camera", run_reboot,
         [](CLI::App& c, Arguments& a) {
             c.add_flag("--wait", a.wait,
                        "wait until the camera answers again; without it oscctl returns once "
                        "the camera has taken the request");
         },
         true},
        {"screenshot", "take a picture", run_screenshot,
         [](CLI::App& c, Arguments& a) {
             c.add_option("-o,--output", a.output_file,
                          "save the picture here (a directory: under its own name); - writes it "
                          "to stdout");
             c.add_flag("-O,--save", a.save_picture,
                        "save the picture in the current directory as IP_PORT_NAME");
         },
         true},
        {"remove",
         "forget the camera in this run's handler (its cache lives only as long as oscctl "
         "runs; useful to try the call)",
         run_remove, [](CLI::App&, Arguments&) {}, true},
        {"watch", "print every callback as a JSON line", run_watch,
         [](CLI::App& c, Arguments& a) {
             c.add_option("cameras", a.cameras, "cameras to query at the start (IP[:PORT])");
             c.add_option("--duration", a.duration, "seconds; 0 = until interrupted")
                 ->capture_default_str();
         },
         false},
    };
    return specs;
}

}  // namespace

void define_commands(CLI::App& app, Invocation& invocation) {
    GlobalOptions& options = invocation.options;
    app.add_flag("--json", options.json, "print the library's documents, nothing else");
    app.add_flag("-v,--verbose", options.verbose, "show the handler's log on stderr");
    app.add_option("--timeout", options.timeout_seconds,
                   "seconds to wait for each answer of a camera; also the client library's "
                   "limit for one request (sets OSC_REQUEST_TIMEOUT_MS)")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--lib-dir", options.lib_dir,
                   "directory of libVesk_OSC.dylib (default: installed beside oscctl)");
    app.set_version_flag("--version", std::string("oscctl ") + OSCCTL_VERSION);
    app.require_subcommand(1);

    for (const CommandEntry& entry : command_entries()) {
        CLI::App* command = app.add_subcommand(entry.name, entry.help);
        if (entry.needs_camera) {
            command
                ->add_option("camera", invocation.args.camera,
                             fmt::format("IP or IP:PORT (port {}); several separated by commas",
                                         osc_texts::kDefaultHttpPort))
                ->required();
            // Taken out of the command line before parsing (see
            // move_fleet_flag); declared for the help text.
            command->add_flag("--all", invocation.args.all_cameras,
                              "every camera scan finds, instead of the camera argument");
        }
        entry.options(*command, invocation.args);
        command->callback([&invocation, &entry] {
            invocation.run = entry.run;
            invocation.needs_camera = entry.needs_camera;
        });
    }
}

namespace {

bool is_camera_command(const std::string& word) {
    for (const CommandEntry& entry : command_entries())
        if (entry.needs_camera && word == entry.name) return true;
    return false;
}

}  // namespace

std::vector<std::string> move_fleet_flag(int argc, const char* const* argv) {
    std::vector<std::string> words(argv, argv + argc);
    std::size_t command = 0;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == "--timeout" || words[i] == "--lib-dir") {
            ++i;
            continue;
        }
        if (words[i].rfind('-', 0) == 0) continue;
        command = i;
        break;
    }
    if (command == 0 || !is_camera_command(words[command])) return words;
    const auto flag =
        std::find(words.begin() + static_cast<std::ptrdiff_t>(command) + 1, words.end(), "--all");
    if (flag == words.end()) return words;
    words.erase(flag);
    words.insert(words.begin() + static_cast<std::ptrdiff_t>(command) + 1, kAllCameras);
    return words;
}

std::string usage_error_text(const CLI::App& app, const CLI::ParseError& error, int argc,
                             const char* const* argv) {
    if (app.get_subcommands().empty()) {
        // The parser only says that a subcommand is missing; name the word
        // that was meant as one.
        for (int i = 1; i < argc; ++i) {
            const std::string word = argv[i];
            if (word == "--timeout" || word == "--lib-dir") {
                ++i;
                continue;
            }
            if (word.rfind('-', 0) == 0) continue;
            return "unknown command '" + word + "' (oscctl --help lists them)";
        }
        if (argc <= 1) return "a command is needed (oscctl --help lists them)";
    }
    return std::string(error.what()) + " (oscctl COMMAND --help explains the arguments)";
}

}  // namespace oscctl
