// Whatever the driver's files and the ports' ifcfg files hold: a bond's record is sorted, whole and made of names that fit,
// and no name in a file makes a path that leaves the configuration's folder. The input's lines are the driver's list of
// bonds, a bond's members, its mode and its status; each further line is a port's file, "MASTER DEVICE".
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <glob.h>

#include "fuzz/property.h"
#include "kavonetsdk/virtual.h"
#include "support/log_capture.h"

namespace {

constexpr char FOLDER[] = "/etc/sysconfig/network-scripts/ifcfg-";

struct PortFile {
    std::string path, master, device;
};

std::string masters, slaves, mode, status;
std::vector<PortFile> ports;

const std::string *kernel_file(const std::string &path)
{
    if (path == "/sys/class/net/bonding_masters")
        return &masters;
    if (path.ends_with("/bonding/slaves"))
        return &slaves;
    if (path.ends_with("/bonding/mode"))
        return &mode;
    return path == "/proc/net/bonding//bond0" ? &status : nullptr;
}

bool is_name(const std::string &name)
{
    const auto is_bad = [](char c) { return c == '/' || static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; };
    return !name.empty() && name.size() < 16 && name != "." && name != ".." &&
           std::none_of(name.begin(), name.end(), is_bad);
}

// A file of the folder itself, of an interface or a copy of one.
bool stays_in_folder(const char *path)
{
    std::string name = path;
    if (name.rfind("/tmp/dhcpv4.leases.", 0) == 0)
        return is_name(name.substr(strlen("/tmp/dhcpv4.leases.")));
    if (name.rfind(FOLDER, 0) != 0)
        return false;
    name = name.substr(strlen(FOLDER));
    if (name.ends_with(".saved"))
        name.resize(name.size() - strlen(".saved"));
    return is_name(name);
}

void check_record()
{
    KAVOLINKAGGROPT bond;
    memset(&bond, 0x5a, sizeof bond);
    const int result = KAVONetLinkAggrGet("bond0", &bond);
    HOLDS(result == 0 || result == -1, slaves.c_str());
    HOLDS(strcmp(bond.szIfname, "bond0") == 0 && bond.nSlave >= 0 && bond.nSlave <= 32, slaves.c_str());
    HOLDS(bond.mode >= 0 && bond.mode <= 5, mode.c_str());
    HOLDS(bond.blNoPartner == 0 || (bond.blNoPartner == 1 && bond.mode == 2), status.c_str());
    for (int i = 0; i < 32; ++i) {
        HOLDS(memchr(bond.szSlave[i], '\0', sizeof bond.szSlave[i]) != nullptr, slaves.c_str());
        HOLDS(i < bond.nSlave ? is_name(bond.szSlave[i]) : bond.szSlave[i][0] == '\0', slaves.c_str());
        HOLDS(i == 0 || i >= bond.nSlave || strcmp(bond.szSlave[i - 1], bond.szSlave[i]) <= 0, slaves.c_str());
    }
    HOLDS(result != 0 || bond.nSlave == 0 || bond.mode == KAVONetLinkAggrStringToMode(mode.c_str()) || bond.mode == 0,
          mode.c_str());
}

void check_list()
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    const int result = KAVONetLinkAggrEnum(&list);
    std::istringstream words(masters.substr(0, masters.find('\n')));
    int count = 0;
    for (std::string word; words >> word;)
        ++count;
    HOLDS(result >= 0 && list->nItem <= result, masters.c_str());
    HOLDS(masters.find_first_of("\v\f\r") != std::string::npos || masters.size() > 4000 || result == count,
          masters.c_str());
    for (int i = 0; i < list->nItem; ++i)
        HOLDS(strpbrk(KLIBCSzListGet(list, i), "/ \t\n") == nullptr, masters.c_str());
    HOLDS(KAVONetLinkAggrExist() == (masters.empty() ? 0 : 1), masters.c_str());
    KLIBCSzListFree(list);
}

// The stand-ins below look at each path.
void check_removal()
{
    KAVOLINKAGGROPT bond = {};
    snprintf(bond.szIfname, sizeof bond.szIfname, "bond0");
    const int result = KAVONetLinkAggrConfDel(&bond);
    bool hostile = false;
    for (const PortFile &port : ports)
        hostile = hostile || (port.master == "bond0" && !is_name(port.device.substr(0, 15)));
    HOLDS(result == (hostile || ports.empty() ? -1 : 0), slaves.c_str());
}

std::string take_line(std::istringstream &input)
{
    std::string line;
    return std::getline(input, line) ? line + "\n" : "";
}

} // namespace

// ---- The system shows the input and sees what becomes of it

// The library is built for large files, so these are the names that it calls.
extern "C" FILE *fopen64(const char *path, const char *how)
{
    const std::string *content = kernel_file(path);
    if (content != nullptr && !content->empty())
        return fmemopen(const_cast<char *>(content->data()), content->size(), "r");
    if (content != nullptr)
        path = "/dev/null";
    static const auto next = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen64"));
    return next(path, how);
}

extern "C" int glob64(const char *pattern, int, int (*)(const char *, int), glob64_t *found) noexcept
{
    HOLDS(strcmp(pattern, "/etc/sysconfig/network-scripts/*") == 0, pattern);
    *found = {};
    if (ports.empty())
        return GLOB_NOMATCH;
    static std::vector<char *> paths;
    paths.clear();
    for (PortFile &port : ports)
        paths.push_back(port.path.data());
    found->gl_pathc = paths.size();
    found->gl_pathv = paths.data();
    return 0;
}

extern "C" void globfree64(glob64_t *) noexcept {}

extern "C" int KLIBCFileGetKeyValue(const char *path, const char *key, char *value, int size, int)
{
    value[0] = '\0';
    for (const PortFile &port : ports) {
        if (port.path != path)
            continue;
        const std::string &held = strcmp(key, "MASTER") == 0 ? port.master : port.device;
        if (strcmp(key, "MASTER") != 0 && strcmp(key, "DEVICE") != 0)
            return 0;
        snprintf(value, static_cast<size_t>(size), "%s", held.c_str());
        return 1;
    }
    HOLDS(stays_in_folder(path), path);
    return 0;
}

extern "C" int KLIBCFileSetKeys(const char *path, PKLIBSZHASH, PKLIBSZHASH, const char *)
{
    HOLDS(stays_in_folder(path), path);
    return 0;
}

extern "C" int KLIBCExec(const char *, const char *flag, const char *from, const char *to, const char *)
{
    HOLDS(strcmp(flag, "-f") == 0 && stays_in_folder(from) && stays_in_folder(to), to);
    return 0;
}

extern "C" int unlink(const char *path) noexcept
{
    HOLDS(strcmp(path, "/etc/sysconfig/network-scripts/ifcfg-bond0") == 0, path);
    return 0;
}

extern "C" int KAVOILnxGetIPFromCfg(const char *name, char *, int)
{
    HOLDS(is_name(name), name);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    std::istringstream input(bytes.substr(0, bytes.find('\0')));
    masters = take_line(input);
    slaves = take_line(input);
    mode = take_line(input);
    status = take_line(input);
    ports.clear();
    for (std::string line; std::getline(input, line) && ports.size() < 40;) {
        const size_t blank = line.find(' ');
        const std::string path = std::string(FOLDER) + "file" + std::to_string(ports.size());
        ports.push_back({path, line.substr(0, blank), blank == std::string::npos ? "" : line.substr(blank + 1)});
    }
    check_record();
    check_list();
    check_removal();
    support::clear_log();
    return 0;
}
