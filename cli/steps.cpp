#include "steps.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include <unistd.h>

#include "text.h"

namespace cli {
namespace {

struct Step {
    const char *program;
    const char *verb; // its first argument; null for any
    const char *text;
};

constexpr Step STEPS[] = {
    {"/etc/rc.network", "stop", "taking the interfaces down"},
    {"/etc/rc.network", "start", "bringing the interfaces up"},
    {"/bin/cp", nullptr, "writing the configuration"},
    {"/bin/mv", nullptr, "putting the configuration back"},
    {"/usr/kavo/sbin/kavostoragecore", nullptr, "tuning the volumes"},
    {"/usr/sbin/pppoe-stop", nullptr, "ending PPPoE"},
    {"/usr/kavo/bin/kavofirewall", nullptr, "telling the firewall"},
    {"/usr/kavo/bin/tctool", nullptr, "telling traffic control"},
};

constexpr std::string_view SUBSCRIBERS = "/usr/kavo/etc/plugins/";

// The file's first page, which is enough to know a command by; empty when there is none, for example no more.
std::string read_page(const std::string &path)
{
    char page[4096];
    FILE *file = fopen(path.c_str(), "re");
    if (file == nullptr)
        return "";
    const size_t size = fread(page, 1, sizeof page, file);
    fclose(file);
    return {page, size};
}

// The words of a process's command line.
std::vector<std::string> words_of(const std::string &pid)
{
    const std::string line = read_page("/proc/" + pid + "/cmdline");
    std::vector<std::string> words;
    for (size_t begin = 0; begin < line.size();) {
        const size_t end = std::min(line.find('\0', begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

// What the program at words[i] does there.
std::string step_at(const std::vector<std::string> &words, size_t i)
{
    const std::string verb = i + 1 < words.size() ? words[i + 1] : "";
    for (const Step &step : STEPS) {
        if (words[i] == step.program && (step.verb == nullptr || verb == step.verb))
            return step.text;
    }
    if (std::string_view(words[i]).starts_with(SUBSCRIBERS))
        return "telling " + words[i].substr(words[i].rfind('/') + 1);
    return "";
}

// The command line of a script begins with the shell's own name.
std::string step_of(const std::vector<std::string> &words)
{
    constexpr size_t PLACES = 2;
    std::string step;
    for (size_t i = 0; i < std::min(words.size(), PLACES) && step.empty(); ++i)
        step = step_at(words, i);
    return step;
}

} // namespace

std::string running_step()
{
    // Between this process and the command stands one that waits for it.
    constexpr int GENERATIONS = 2;
    // The main thread's number is the process's.
    std::string pid = std::to_string(getpid());
    for (int i = 0; i < GENERATIONS && !pid.empty(); ++i) {
        const std::string children = read_page(formatted("/proc/%s/task/%s/children", pid.c_str(), pid.c_str()));
        pid = children.substr(0, children.find(' '));
    }
    return pid.empty() ? "" : step_of(words_of(pid));
}

} // namespace cli
