#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "core/descriptor.h"
#include "core/fail.h"
#include "kavo/core.h"
#include "spawn/spawn.h"

namespace kavo {
namespace {

constexpr int PLAIN_OPTIONS = 0xBB;
constexpr int PLAIN_FLAG = 1;

// All that a command gets to see of the caller's environment.
constexpr const char *ENVIRONMENT[] = {"PATH=/sbin:/bin:/usr/sbin:/usr/bin", "LANG=C", nullptr};

bool is_given(const char *text)
{
    return text != nullptr && text[0] != '\0';
}

// The argument vector of a call that lists its arguments up to a null.
class ArgumentVector {
public:
    ArgumentVector(const char *program, va_list listed)
    {
        va_list counted;
        va_copy(counted, listed);
        size_t count = 0;
        while (va_arg(counted, const char *) != nullptr)
            ++count;
        va_end(counted);
        vector_.reset(static_cast<const char **>(calloc(count + 2, sizeof(const char *))));
        if (!vector_)
            return;
        vector_.get()[0] = program;
        for (size_t i = 1; i <= count; ++i)
            vector_.get()[i] = va_arg(listed, const char *);
    }

    explicit operator bool() const { return vector_ != nullptr; }
    [[nodiscard]] const char *const *get() const { return vector_.get(); }

private:
    struct Release {
        void operator()(const char **vector) const { free(vector); }
    };
    std::unique_ptr<const char *, Release> vector_;
};

int run(const char *program, const char *const *arguments)
{
    RunningCommand *running = start_command({program, arguments, ENVIRONMENT});
    if (running == nullptr)
        return fail(ERROR_EXEC, -1);
    const int result = finish_command(running).result;
    return result < 0 ? fail(ERROR_EXEC, -1) : result;
}

// ---- Streams of running commands

struct OpenStream {
    FILE *stream;
    RunningCommand *running;
    OpenStream *next;
};

OpenStream *open_streams = nullptr;
pthread_mutex_t open_streams_mutex = PTHREAD_MUTEX_INITIALIZER;

void remember(OpenStream *open)
{
    pthread_mutex_lock(&open_streams_mutex);
    open->next = std::exchange(open_streams, open);
    pthread_mutex_unlock(&open_streams_mutex);
}

// Takes the entry of a stream out; null when there is none.
OpenStream *take(const FILE *stream)
{
    pthread_mutex_lock(&open_streams_mutex);
    OpenStream **at = &open_streams;
    while (*at != nullptr && (*at)->stream != stream)
        at = &(*at)->next;
    OpenStream *open = *at;
    if (open != nullptr)
        *at = open->next;
    pthread_mutex_unlock(&open_streams_mutex);
    return open;
}

struct Free {
    void operator()(OpenStream *open) const { free(open); }
};
struct Close {
    void operator()(FILE *stream) const { fclose(stream); }
};

FILE *open_stream(const char *program, const char *const *arguments)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return fail<FILE *>(ERROR_OPEN, nullptr);
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    std::unique_ptr<FILE, Close> stream(fdopen(reading.get(), "r"));
    if (!stream)
        return fail<FILE *>(ERROR_MEMORY, nullptr);
    reading.release();
    std::unique_ptr<OpenStream, Free> open(static_cast<OpenStream *>(calloc(1, sizeof(OpenStream))));
    if (!open)
        return fail<FILE *>(ERROR_MEMORY, nullptr);
    open->running = start_command({program, arguments, ENVIRONMENT, writing.get()});
    if (open->running == nullptr)
        return fail<FILE *>(ERROR_EXEC, nullptr);
    open->stream = stream.get();
    remember(open.release());
    return stream.release();
}

} // namespace
} // namespace kavo

using namespace kavo;

extern "C" int KLIBCExec(const char *szProg, const char *a1, const char *a2, const char *a3, const char *a4)
{
    if (!is_given(szProg))
        return fail(ERROR_PARAMETER, -1);
    const char *const arguments[] = {szProg, a1, a2, a3, a4, nullptr};
    return run(szProg, arguments);
}

extern "C" int KLIBCExecl(const char *szProg, int options, ...)
{
    if (!is_given(szProg) || options != PLAIN_OPTIONS)
        return fail(ERROR_PARAMETER, -1);
    va_list listed;
    va_start(listed, options);
    const ArgumentVector arguments(szProg, listed);
    va_end(listed);
    return arguments ? run(szProg, arguments.get()) : fail(ERROR_MEMORY, -1);
}

extern "C" int KLIBCExecv(const char *szProg, char *const argv[], int flag)
{
    if (!is_given(szProg) || argv == nullptr || argv[0] == nullptr || flag != PLAIN_FLAG)
        return fail(ERROR_PARAMETER, -1);
    return run(szProg, argv);
}

extern "C" FILE *KLIBCPopen(const char *szProg, const char *szMode, ...)
{
    if (!is_given(szProg) || szMode == nullptr || strcmp(szMode, "r") != 0)
        return fail<FILE *>(ERROR_PARAMETER, nullptr);
    va_list listed;
    va_start(listed, szMode);
    const ArgumentVector arguments(szProg, listed);
    va_end(listed);
    return arguments ? open_stream(szProg, arguments.get()) : fail<FILE *>(ERROR_MEMORY, nullptr);
}

extern "C" int KLIBCPclose(FILE *fp)
{
    const std::unique_ptr<OpenStream, Free> open(fp == nullptr ? nullptr : take(fp));
    if (!open)
        return fail(ERROR_PARAMETER, -1);
    fclose(fp);
    const int result = finish_command(open->running).result;
    return result < 0 ? fail(ERROR_EXEC, -1) : result;
}
