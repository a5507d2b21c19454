// kavonet completion: the words that may come next, for the shell. The script is made from the command line itself, so the
// two cannot disagree.
#include <cstring>

#include "errors.h"
#include "noun.h"

namespace cli {
namespace {

// The script finds the verb that the words so far lead to, then looks the words that may follow up in a table: those of
// the verb itself under "VERB", of its n-th argument under "VERB #N", of an option's value under "VERB OPTION". "@if"
// stands for the interfaces, "@file" for files. They are compared and never expanded: a name could hold a command.
constexpr char SCRIPT_BEGIN[] = R"(# Completion of kavonet for bash, made by "kavonet completion bash".
declare -A _kavonet_words=(
)";

constexpr char SCRIPT_END[] = R"()

_kavonet_offer()
{
    local word
    for word in "$@"; do
        [[ $word == "$current"* ]] && printf -v word %q "$word" && COMPREPLY+=("$word")
    done
}

_kavonet_look_up()
{
    local words=${_kavonet_words[$1]} interfaces
    if [[ $words == @if ]]; then
        interfaces=(/sys/class/net/*)
        _kavonet_offer "${interfaces[@]##*/}"
    elif [[ $words == @file ]]; then
        compopt -o filenames 2>/dev/null # the shell quotes them itself
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        read -ra words <<<"$words"
        _kavonet_offer "${words[@]}"
    fi
}

_kavonet()
{
    local current=${COMP_WORDS[COMP_CWORD]} path=kavonet word i arguments=0 option=
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word == "=" ]]; then
            continue
        elif [[ -n $option ]]; then
            option=
        elif [[ $word == -* ]]; then
            [[ -n ${_kavonet_words["$path $word"]+set} ]] && option=$word
        elif ((arguments == 0)) && [[ -n ${_kavonet_words["$path $word"]+set} ]]; then
            path+=" $word"
        else
            ((++arguments))
        fi
    done
    [[ $current == "=" ]] && current=
    if [[ -n $option ]]; then
        _kavonet_look_up "$path $option"
        return
    fi
    [[ $current != -* ]] && for ((i = arguments + 1; i > 0; i--)); do
        [[ -n ${_kavonet_words["$path #$i"]+set} ]] || continue
        ((i == arguments + 1)) || [[ -n ${_kavonet_words["$path #more"]+set} ]] && _kavonet_look_up "$path #$i"
        break
    done
    [[ $current == -* || ${#COMPREPLY[@]} -eq 0 ]] && _kavonet_look_up "$path"
}

complete -F _kavonet kavonet
)";

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

void put_entry(std::string &script, const std::string &key, const std::string &words)
{
    script.append("    [\"").append(key).append("\"]=\"").append(words).append("\"\n");
}

// What an argument or the value of an option may be; empty when it is free.
std::string values_of(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    if (option.get_name(true) == INTERFACE_ARGUMENT || type == INTERFACE_ARGUMENT)
        return "@if";
    if (option.get_name(true) == FILE_ARGUMENT)
        return "@file";
    return type.find('|') == std::string::npos ? "" : joined(split_words(type));
}

void put_positionals(std::string &script, const std::string &path, const CLI::App &app)
{
    int number = 0;
    for (const CLI::Option *option : app.get_options([](const CLI::Option *o) { return o->get_positional(); })) {
        put_entry(script, path + " #" + std::to_string(++number), values_of(*option));
        if (option->get_items_expected_max() > 1)
            put_entry(script, path + " #more", "");
    }
}

void put_options(std::string &script, const std::string &path, const CLI::App &app, std::string &words)
{
    for (const CLI::Option *option : app.get_options([](const CLI::Option *o) { return o->nonpositional(); })) {
        for (const std::string &name : option->get_lnames()) {
            words.append(words.empty() ? "--" : " --").append(name);
            // A flag's value stands behind "=" in the same word.
            if (option->get_expected_min() > 0)
                put_entry(script, std::string(path).append(" --").append(name), values_of(*option));
        }
        for (const std::string &name : option->get_snames())
            words.append(words.empty() ? "-" : " -").append(name);
    }
}

void put_app(std::string &script, const std::string &path, const CLI::App &app)
{
    std::string words;
    for (const CLI::App *child : app.get_subcommands([](const CLI::App *) { return true; })) {
        words += (words.empty() ? "" : " ") + child->get_name();
        put_app(script, path + " " + child->get_name(), *child);
    }
    put_positionals(script, path, app);
    put_options(script, path, app, words);
    put_entry(script, path, words);
}

int print_bash(const Session &session)
{
    if (session.json)
        return misused(session, "a completion script is no JSON", "leave --json out");
    Session unused;
    CLI::App root("", "kavonet");
    root.set_version_flag("--version", "");
    add_words(root, unused, nouns(), "");
    std::string script = SCRIPT_BEGIN;
    put_app(script, "kavonet", root);
    return print(script + SCRIPT_END);
}

void build_bash(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return print_bash(session); }, "  source <(kavonet completion bash)");
}

constexpr Word VERBS[] = {{"bash", "Print the completion script for bash", build_bash}};

} // namespace

void noun_completion(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS, "  source <(kavonet completion bash)");
}

} // namespace cli
