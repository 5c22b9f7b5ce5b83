// Shell completion scripts, written from the command table itself so that
// they never fall behind a new command or option.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace oscctl {

// The completion script for `shell` ("bash" or "zsh") of every subcommand and
// option `app` defines.
std::string completion_script(const CLI::App& app, const std::string& shell);

}  // namespace oscctl
