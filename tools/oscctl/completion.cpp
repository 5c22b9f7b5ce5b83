#include "tools/oscctl/completion.h"

#include <fmt/format.h>

#include <vector>

namespace oscctl {

namespace {

struct Word {
    std::string name;
    std::string help;
    bool takes_value = false;
};

std::vector<Word> option_words(const CLI::App& app) {
    std::vector<Word> words;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->nonpositional()) continue;
        const bool takes_value = option->get_items_expected_min() > 0;
        for (const std::string& name : option->get_lnames())
            words.push_back({"--" + name, option->get_description(), takes_value});
    }
    return words;
}

// Every subcommand as declared (the filter-less call, not the parsed ones).
std::vector<const CLI::App*> commands_of(const CLI::App& app) {
    return app.get_subcommands({});
}

std::string joined_names(const std::vector<Word>& words) {
    std::string out;
    for (const Word& word : words) out += (out.empty() ? "" : " ") + word.name;
    return out;
}

std::string bash_script(const CLI::App& app) {
    std::string value_options;
    std::string top = joined_names(option_words(app));
    std::string cases;
    for (const Word& word : option_words(app))
        if (word.takes_value) value_options += (value_options.empty() ? "" : "|") + word.name;
    for (const CLI::App* command : commands_of(app)) {
        top += " " + command->get_name();
        cases += fmt::format("        {}) words=\"{}\" ;;\n", command->get_name(),
                             joined_names(option_words(*command)));
    }
    return fmt::format(R"(# bash completion for oscctl; written by `oscctl completion bash`
_oscctl() {{
    local cur=${{COMP_WORDS[COMP_CWORD]}} command="" words i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${{COMP_WORDS[i]}} in
        {}) ((i++)) ;;
        -*) ;;
        *) command=${{COMP_WORDS[i]}}; break ;;
        esac
    done
    case $command in
        "") words="{}" ;;
{}    esac
    COMPREPLY=($(compgen -W "$words" -- "$cur"))
}}
complete -o default -F _oscctl oscctl
)",
                       value_options.empty() ? "--" : value_options, top, cases);
}

// zsh's _arguments reads "[", "]", ":" and quotes inside a description.
std::string zsh_text(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
            out += c;
        }
    }
    return out;
}

std::string zsh_options(const CLI::App& app) {
    std::string out;
    for (const Word& word : option_words(app))
        out += fmt::format(" '{}[{}]{}'", word.name, zsh_text(word.help),
                           word.takes_value ? ":value:" : "");
    return out;
}

std::string zsh_script(const CLI::App& app) {
    std::string commands;
    std::string cases;
    for (const CLI::App* command : commands_of(app)) {
        commands += fmt::format("        '{}:{}'\n", command->get_name(),
                                zsh_text(command->get_description()));
        cases += fmt::format("            {}) _arguments{} '*:argument:_default' ;;\n",
                             command->get_name(), zsh_options(*command));
    }
    return fmt::format(R"(#compdef oscctl
# zsh completion for oscctl; written by `oscctl completion zsh`
_oscctl() {{
    local curcontext="$curcontext" state line
    local -a commands
    commands=(
{}    )
    _arguments -C{} '1:command:->command' '*::argument:->argument'
    case $state in
        command) _describe 'command' commands ;;
        argument)
            case $line[1] in
{}            esac ;;
    esac
}}
_oscctl "$@"
)",
                       commands, zsh_options(app), cases);
}

}  // namespace

std::string completion_script(const CLI::App& app, const std::string& shell) {
    return shell == "zsh" ? zsh_script(app) : bash_script(app);
}

}  // namespace oscctl
