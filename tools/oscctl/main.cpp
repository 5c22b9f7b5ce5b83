// oscctl: drives cameras through the handler's C interface, as any host would.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include <unistd.h>

#include "tools/oscctl/client_location.h"
#include "tools/oscctl/command_table.h"
#include "tools/oscctl/completion.h"
#include "tools/oscctl/fleet_run.h"

namespace {

// One camera as before; several (a list, or --all) concurrently.
int run_on_cameras(oscctl::CommandContext& ctx, const oscctl::Invocation& invocation) {
    using namespace oscctl;
    const std::string& text = invocation.args.camera;
    std::vector<CameraAddress> cameras;
    if (text == kAllCameras) {
        cameras = find_cameras(ctx, default_scan_seconds());
        if (cameras.empty()) throw CommandFailure("--all: no camera found (see oscctl scan)");
    } else {
        cameras = camera_arguments(text);
    }
    if (cameras.size() == 1 && text != kAllCameras) {
        ctx.camera = cameras.front();
        return invocation.run(ctx, invocation.args);
    }
    ctx.cursor = ctx.events.size();
    return run_on_fleet(ctx, cameras, invocation.run, invocation.args);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace oscctl;
    Output& out = Output::instance();
    // Before anything else: the libraries print to fd 1 on their own.
    out.capture_stdout();

    CLI::App app{"oscctl: control networked panoramic cameras"};
    Invocation invocation;
    define_commands(app, invocation);
    std::string completion_shell;
    CLI::App* completion = app.add_subcommand(
        "completion", "print the completion script for bash or zsh (installed with oscctl)");
    completion->add_option("shell", completion_shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}));
    const std::vector<std::string> words = move_fleet_flag(argc, argv);
    std::vector<const char*> word_pointers;
    for (const auto& word : words) word_pointers.push_back(word.c_str());
    try {
        app.parse(static_cast<int>(word_pointers.size()), word_pointers.data());
    } catch (const CLI::CallForVersion& version) {
        out.document(std::string(version.what()));
        return 0;
    } catch (const CLI::ParseError& error) {
        // Help goes where the user reads it; errors to stderr.
        if (error.get_exit_code() == 0) {
            std::string text = app.help();
            if (const auto* chosen =
                    app.get_subcommands().empty() ? nullptr : app.get_subcommands().front())
                text = chosen->help();
            out.document(text);
            return 0;
        }
        std::fprintf(stderr, "oscctl: %s\n", usage_error_text(app, error, argc, argv).c_str());
        return kExitFailed;
    }

    if (completion->parsed()) {
        std::string script = completion_script(app, completion_shell);
        script.pop_back();  // document() ends the line itself
        out.document(script);
        return 0;
    }

    const GlobalOptions& options = invocation.options;
    out.set_json(options.json);
    if (!options.verbose) out.silence_library_stdout();
    const std::string lib_dir =
        options.lib_dir.empty() ? default_client_dir(argv[0]) : options.lib_dir;
    if (!has_client_library(lib_dir)) {
        std::fprintf(stderr, "oscctl: no libVesk_OSC.dylib in %s (choose it with --lib-dir)\n",
                     lib_dir.c_str());
        return kExitFailed;
    }

    // One limit for a camera's answer: the client library's, per request,
    // and oscctl's own wait for the callback.
    const auto timeout =
        std::chrono::milliseconds(static_cast<long>(options.timeout_seconds * 1000));
    ::setenv("OSC_REQUEST_TIMEOUT_MS", std::to_string(timeout.count()).c_str(), 1);
    // The DNS-SD compatibility layer warns about itself on every run; that is
    // no news to an oscctl user.
    if (!options.verbose) ::setenv("AVAHI_COMPAT_NOWARN", "1", 0);

    // The log outlives the session, whose end (Destroy) stops every callback.
    oschost::EventLog events;
    oschost::Session session(lib_dir, options.verbose);
    session.subscribe(events.recorder());
    try {
        CommandContext ctx{events, out, timeout, {}};
        return invocation.needs_camera ? run_on_cameras(ctx, invocation)
                                       : invocation.run(ctx, invocation.args);
    } catch (const CommandFailure& failure) {
        std::fprintf(stderr, "oscctl: %s\n", failure.what());
        return failure.exit_code();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "oscctl: %s\n", error.what());
        return kExitFailed;
    }
}
