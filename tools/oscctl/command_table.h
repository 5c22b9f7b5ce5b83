// The command line: global options and the subcommand table.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/oscctl/commands.h"

namespace oscctl {

struct GlobalOptions {
    bool json = false;
    bool verbose = false;
    double timeout_seconds = 10;
    std::string lib_dir;
};

using CommandRun = std::function<int(CommandContext&, const Arguments&)>;

// What the parsed command line asks for.
struct Invocation {
    GlobalOptions options;
    Arguments args;
    CommandRun run;
    bool needs_camera = true;
};

// Adds every subcommand to `app`; after app.parse, `invocation` holds the choice.
void define_commands(CLI::App& app, Invocation& invocation);

// Stands for the camera argument when --all is given.
inline const char* const kAllCameras = "@all";

// The command line with a camera command's --all turned into kAllCameras in
// the camera argument's place, so that the other arguments keep theirs.
std::vector<std::string> move_fleet_flag(int argc, const char* const* argv);

// What to tell the user about a command line the parser rejected; names the
// word at fault where the parser's own text does not.
std::string usage_error_text(const CLI::App& app, const CLI::ParseError& error, int argc,
                             const char* const* argv);

}  // namespace oscctl
