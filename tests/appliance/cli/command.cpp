#include "command.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cli_test {
namespace {

constexpr char PROGRAM[] = KAVO_BUILD_DIR "/bin/kavonet";
constexpr int NOT_STARTED = 125;

// Becomes the command; to be called in a child.
[[noreturn]] void become(const std::vector<std::string> &arguments, Environment environment)
{
    environment.emplace("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    environment.emplace("LD_LIBRARY_PATH", KAVO_BUILD_DIR "/tests/units");
    std::vector<std::string> pairs;
    for (const auto &[key, value] : environment)
        pairs.push_back(key + "=" + value);
    std::vector<char *> envp;
    for (std::string &pair : pairs)
        envp.push_back(pair.data());
    envp.push_back(nullptr);
    std::vector<std::string> words = {"kavonet"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    // A runner that was started in the background hands on that interrupts are ignored.
    signal(SIGINT, SIG_DFL);
    execve(PROGRAM, argv.data(), envp.data());
    _exit(NOT_STARTED);
}

int end_of(pid_t child)
{
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() { EXPECT_EQ(0, pipe2(ends, O_CLOEXEC)); }
    ~Pipe()
    {
        close_end(0);
        close_end(1);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    void close_end(int i)
    {
        if (ends[i] >= 0)
            close(ends[i]);
        ends[i] = -1;
    }
};

// Takes what is there. False at the end.
bool take(int fd, std::string &text)
{
    char buffer[4096];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0)
        text.append(buffer, static_cast<size_t>(n));
    return n > 0;
}

void collect(int out, int err, pid_t child, int interrupt_after_lines, Result &result)
{
    pollfd ends[2] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        ASSERT_LE(0, poll(ends, 2, -1));
        if (ends[0].revents != 0 && !take(out, result.out))
            ends[0].fd = -1;
        if (ends[1].revents != 0 && !take(err, result.err))
            ends[1].fd = -1;
        if (interrupt_after_lines > 0 &&
            std::count(result.out.begin(), result.out.end(), '\n') >= interrupt_after_lines) {
            kill(child, SIGINT);
            interrupt_after_lines = 0;
        }
    }
}

void give_input(const std::string &text)
{
    const int input = memfd_create("input", MFD_CLOEXEC);
    if (write(input, text.data(), text.size()) != static_cast<ssize_t>(text.size()) || lseek(input, 0, SEEK_SET) != 0 ||
        dup2(input, STDIN_FILENO) < 0)
        _exit(NOT_STARTED);
}

void arrange_files(const Setting &setting, Pipe &out, Pipe &err)
{
    if (setting.input != nullptr)
        give_input(setting.input);
    int output = out.ends[1];
    if (setting.output != nullptr)
        output = open(setting.output, O_WRONLY);
    if (dup2(output, STDOUT_FILENO) < 0 || dup2(err.ends[1], STDERR_FILENO) < 0)
        _exit(NOT_STARTED);
    if (setting.closed_output)
        close(STDOUT_FILENO);
}

} // namespace

Result kavonet(const std::vector<std::string> &arguments, const Setting &setting)
{
    Result result;
    Pipe out;
    Pipe err;
    if (setting.unread_output)
        out.close_end(0);
    const pid_t child = fork();
    if (child == 0) {
        arrange_files(setting, out, err);
        if (setting.user != 0 && (setgid(setting.user) != 0 || setuid(setting.user) != 0))
            _exit(NOT_STARTED);
        become(arguments, setting.environment);
    }
    out.close_end(1);
    err.close_end(1);
    collect(setting.unread_output ? -1 : out.ends[0], err.ends[0], child, setting.interrupt_after_lines, result);
    result.status = end_of(child);
    return result;
}

Result at_terminal(const std::vector<std::string> &arguments, const Terminal &terminal)
{
    Result result;
    winsize size{24, 80, 0, 0};
    int master = -1;
    const pid_t child = forkpty(&master, nullptr, nullptr, &size);
    EXPECT_LE(0, child) << strerror(errno);
    if (child == 0) {
        Environment environment = terminal.environment;
        environment.emplace("TERM", "xterm");
        become(arguments, environment);
    }
    bool typed = terminal.typed.empty();
    while (take(master, result.out)) {
        if (!typed && result.out.find(terminal.prompt) != std::string::npos) {
            EXPECT_EQ(static_cast<ssize_t>(terminal.typed.size()),
                      write(master, terminal.typed.data(), terminal.typed.size()));
            typed = true;
        }
    }
    close(master);
    result.status = end_of(child);
    return result;
}

Json::Json(const std::string &line)
{
    // What comes after the text would be taken for a part of it.
    const std::string text = line.substr(0, line.find_last_not_of('\n') + 1);
    json_tokener *tokener = json_tokener_new();
    json_tokener_set_flags(tokener, JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
    value_ = json_tokener_parse_ex(tokener, text.c_str(), static_cast<int>(text.size()));
    EXPECT_EQ(json_tokener_success, json_tokener_get_error(tokener)) << text;
    EXPECT_EQ(text.size(), json_tokener_get_parse_end(tokener)) << text;
    json_tokener_free(tokener);
    root_.reset(value_, json_object_put);
}

Json Json::operator[](const char *key) const
{
    Json member = *this;
    if (!json_object_object_get_ex(value_, key, &member.value_)) {
        member.value_ = nullptr;
        ADD_FAILURE() << "no member " << key;
    }
    return member;
}

Json Json::operator[](int index) const
{
    Json element = *this;
    element.value_ = json_object_array_get_idx(value_, static_cast<size_t>(index));
    return element;
}

Json Json::named(const std::string &name) const
{
    for (size_t i = 0; i < size(); ++i) {
        if ((*this)[static_cast<int>(i)]["name"].text() == name)
            return (*this)[static_cast<int>(i)];
    }
    ADD_FAILURE() << "nothing is named " << name;
    return (*this)[static_cast<int>(size())];
}

size_t Json::size() const
{
    return json_object_is_type(value_, json_type_array) ? json_object_array_length(value_) : 0;
}

bool Json::has(const char *key) const
{
    return json_object_object_get_ex(value_, key, nullptr) != 0;
}

std::string Json::text() const
{
    EXPECT_TRUE(json_object_is_type(value_, json_type_string));
    return value_ == nullptr ? "" : json_object_get_string(value_);
}

long long Json::number() const
{
    EXPECT_TRUE(json_object_is_type(value_, json_type_int));
    return json_object_get_int64(value_);
}

bool Json::yes() const
{
    EXPECT_TRUE(json_object_is_type(value_, json_type_boolean));
    return json_object_get_boolean(value_) != 0;
}

void Command::SetUp()
{
    PrivateRoot::SetUp();
    if (IsSkipped())
        return;
    add_card("eth0", "10.0.0.5/24");
    shell("until grep -q up /sys/class/net/eth0/operstate && grep -q up /sys/class/net/eth0p/operstate; do sleep 0.01; "
          "done"); // the kernel tells of a link a little later
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\n");
    record("/usr/kavo/bin/unit");
}

} // namespace cli_test
