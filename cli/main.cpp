// kavonet: the network configuration of the appliance at a shell.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <string_view>

#include <syslog.h>

#include "errors.h"
#include "noun.h"
#include "text.h"

namespace cli {
namespace {

constexpr char SUMMARY[] = "Shows and changes the network configuration of the appliance.";

constexpr char EXAMPLES[] = "  kavonet status\n"
                            "  kavonet if list --json\n"
                            "  kavonet ipv4 static eth0 192.168.1.5/24\n"
                            "  kavonet ipv4 dhcp eth0 --wait 30\n"
                            "\n"
                            "kavonet NOUN --help says more. Exit status: 0 done, 1 failed, 2 not understood.";

struct CommandLine {
    int argc;
    char **argv;

    // Options before "--" only: what comes after it are names.
    [[nodiscard]] bool has(std::string_view option) const
    {
        for (int i = 1; i < argc && strcmp(argv[i], "--") != 0; ++i) {
            if (argv[i] == option)
                return true;
        }
        return false;
    }
};

// The noun or verb that was recognised last.
CLI::App &innermost(CLI::App &root)
{
    CLI::App *app = &root;
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    return *app;
}

std::string path_of(const CLI::App &app)
{
    return app.get_parent() == nullptr ? app.get_name() : path_of(*app.get_parent()) + " " + app.get_name();
}

int unknown_word(const Session &session, const CLI::App &app, const std::string &word)
{
    std::vector<const char *> names;
    for (const CLI::App *child : app.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(child->get_name().c_str());
    const std::string path = path_of(app);
    const char *similar = nearest(word, names);
    std::string advice = similar == nullptr ? "" : "did you mean \"" + path + " " + similar + "\"? ";
    advice += path + " --help lists what there is";
    return misused(session, "\"" + path + " " + word + "\" is unknown", advice);
}

// A noun or verb is missing: people get the help text, programs an error.
int missing_word(const Session &session, const CLI::App &root, const CLI::App &app)
{
    if (session.json)
        return misused(session, path_of(app) + " needs to be told what to do",
                       path_of(app) + " --help lists what there is");
    print_error(root.help());
    return USAGE;
}

int explain(const Session &session, CLI::App &root, const CLI::ParseError &error)
{
    CLI::App &app = innermost(root);
    const bool expects_word = !app.get_subcommands([](const CLI::App *) { return true; }).empty();
    if (expects_word) {
        const auto rest = app.remaining();
        const auto word = std::find_if(rest.begin(), rest.end(), [](const auto &w) { return !w.starts_with("-"); });
        if (word != rest.end())
            return unknown_word(session, app, *word);
        if (rest.empty())
            return missing_word(session, root, app);
    }
    return misused(session, error.what(), path_of(app) + " --help shows how it is used");
}

int parse_and_run(CLI::App &root, const CommandLine &line, Session &session)
{
    try {
        root.parse(line.argc, line.argv);
    } catch (const CLI::CallForHelp &) {
        return print(root.help());
    } catch (const CLI::CallForVersion &version) {
        return print(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError &error) {
        session.json = line.has("--json");
        return explain(session, root, error);
    }
    if (session.verbose)
        openlog("kavonet", LOG_PERROR, LOG_USER);
    return session.run();
}

// What is made here lives as long as the process: taking a command line apart piece by piece would only cost time.
int run(const CommandLine &line)
{
    static Session &session = *new Session;
    static CLI::App &root = *new CLI::App(SUMMARY, "kavonet");
    root.set_help_flag("-h,--help", "Print this help");
    root.set_version_flag("--version", "kavonet " KAVONET_VERSION, "Print the version");
    session.words = line.argv + 1;
    add_words(root, session, nouns(), EXAMPLES);
    return parse_and_run(root, line, session);
}

} // namespace
} // namespace cli

int main(int argc, char **argv)
{
    // A reader that goes away shows as a failed write.
    signal(SIGPIPE, SIG_IGN);
    if (!cli::secure_standard_files())
        return cli::FAILED;
    try {
        return cli::finish_output(cli::run({argc, argv}));
    } catch (const std::exception &error) {
        cli::print_error(std::string("kavonet: ") + cli::printable(error.what()) + "\n");
        return cli::FAILED;
    }
}
