#include <cstring>

#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/interface_cache.h"

using namespace kavonet;

namespace {

using Line = Text<1024>;

// Whether the kernel has an interface whose name begins with "ppp"; those of monitors ("mon.") do not count.
bool has_ppp_interface(KernelFile &devices)
{
    Text<512> line;
    if (!devices.next_line(line) || !devices.next_line(line)) // two lines of headings
        return false;
    while (devices.next_line(line)) {
        const char *colon = strchr(line.c_str(), ':');
        if (colon == nullptr) {
            log_err("input string: %s don't contain charactor :", line.c_str());
            return false;
        }
        line.buffer()[colon - line.c_str()] = '\0';
        const char *name = line.c_str() + strspn(line.c_str(), " \t");
        if (strstr(name, "mon.") == nullptr && strncmp(name, "ppp", 3) == 0)
            return true;
    }
    return false;
}

// The first word of the status command's line about the interface. False when the command cannot be run.
bool ask_status_command(StringList &words, Line &answer)
{
    const Command status(KLIBCPopen("/usr/sbin/pppoe-status", "r", static_cast<char *>(nullptr)));
    if (!status) {
        log_err("failed to excute cmd%s", "/usr/sbin/pppoe-status");
        return false;
    }
    Line line;
    while (fgets(line.buffer(), Line::size(), status.get()) != nullptr) {
        if (strstr(line.c_str(), "Point-to-Point") == nullptr)
            continue;
        if (KLIBCStrSep(line.c_str(), " ", words.handle()) > 0)
            answer.format("%s", KLIBCSzListGet(words.get(), 0));
        break;
    }
    return true;
}

// Leaves the answer in the caller's buffer; false when it is empty.
bool give(const Line &answer, char *szIf, size_t cbIf)
{
    snprintf(szIf, cbIf, "%s", answer.c_str());
    if (szIf[0] != '\0')
        return true;
    log_debug("Failed to get real pppoe interface");
    return false;
}

void strip_newline(char *text)
{
    const size_t length = strlen(text);
    if (length > 0 && text[length - 1] == '\n')
        text[length - 1] = '\0';
}

} // namespace

int KAVOPPPoeIntfGet(char *szIf, size_t cbIf)
{
    if (szIf == nullptr || cbIf == 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    StringList words(KLIBCSzListAlloc(512));
    if (!words) {
        log_err("Failed to alloc memory.");
        return -1;
    }
    KernelFile devices("/proc/net/dev");
    if (!devices)
        return fail(NET_ERR_OPEN_FAILED, -1);
    if (!has_ppp_interface(devices))
        return -1;
    memset(szIf, 0, cbIf);
    Line answer;
    const bool remembered = read_interface_cache(answer);
    if (!remembered && !ask_status_command(words, answer))
        return -1;
    if (!give(answer, szIf, cbIf))
        return -1;
    strip_newline(szIf);
    if (!remembered) {
        strip_newline(answer.buffer());
        write_interface_cache(answer.c_str());
    }
    return 0;
}
