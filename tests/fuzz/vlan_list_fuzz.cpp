// The kernel's list of VLANs: whatever it holds, it is listed whole or not at all, and every name is a text that fits. The
// first line is the stored topology besides.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/property.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/virtual.h"
#include "support/log_capture.h"

namespace {

std::vector<std::string> lines;
std::string topology;

bool is_text(const char *name, size_t size)
{
    const size_t length = strnlen(name, size);
    return length > 0 && length < size && strcspn(name, " \t\n\v\f\r") == length;
}

void check_vlan(const KLIBNETVLANINFO &vlan, const std::string &line)
{
    HOLDS(is_text(vlan.szIfname, sizeof vlan.szIfname), line.c_str());
    HOLDS(is_text(vlan.szRowDev, sizeof vlan.szRowDev), line.c_str());
    // The name, a bar and the parent stand in the line in this order.
    const size_t name = line.find(vlan.szIfname);
    HOLDS(name != std::string::npos && name == line.find_first_not_of(" \t\v\f\r"), line.c_str());
    const size_t bar = line.find('|', name + strlen(vlan.szIfname));
    HOLDS(bar != std::string::npos, line.c_str());
    const size_t second = line.find('|', bar + 1);
    HOLDS(second != std::string::npos && line.find(vlan.szRowDev, second + 1) != std::string::npos, line.c_str());
}

void check_list()
{
    KLIBNETVLANINFO *vlans = nullptr;
    int32_t count = -1;
    const int result = KLIBNetVlanEnum(&vlans, &count);
    const std::string last = lines.empty() ? "" : lines.back();
    HOLDS(result == 0 || result == -1, last.c_str());
    HOLDS((vlans == nullptr) == (count == 0), last.c_str());
    HOLDS(result == 0 || count == 0, last.c_str());
    HOLDS(result != 0 || count == (lines.size() < 2 ? 0 : static_cast<int>(lines.size()) - 2), last.c_str());
    for (int i = 0; i < count; ++i)
        check_vlan(vlans[i], lines[static_cast<size_t>(i) + 2]);
    free(vlans);
}

void check_topology()
{
    static const std::array<const char *, 4> INTERFACES{"eth0", "eth0", "br0", "eth0"};
    KAVOTOPOLOGYINFO row{};
    const int id = KLIBNetTopologyGet(&row);
    HOLDS(id >= 0 && id < 4 && row.id == static_cast<uint32_t>(id), topology.c_str());
    HOLDS(id == 0 || strcasecmp(row.szName, topology.c_str()) == 0, topology.c_str());
    // Either the topology's own interface or a VLAN that stands on it.
    bool known = strcmp(row.szIfname, INTERFACES[static_cast<size_t>(id)]) == 0;
    for (const std::string &line : lines)
        known = known || line.find(row.szIfname) != std::string::npos;
    HOLDS(known, row.szIfname);
}

} // namespace

// The platform shows the input in the place of the kernel's list and the settings.
extern "C" int KLIBCFileExist(const char *)
{
    return 1;
}

extern "C" int KLIBCFileReadLines(const char *, PKLIBSZLIST *ppList)
{
    for (const std::string &line : lines) {
        if (KLIBCSzListPush(ppList, line.c_str()) < 0)
            return -1;
    }
    return static_cast<int>(lines.size());
}

extern "C" int KLIBCFileCheckKeyValue(const char *, const char *, const char *, int)
{
    return 1;
}

extern "C" int KLIBCFileGetKeyValue(const char *, const char *, char *szValue, int cbValue, int)
{
    snprintf(szValue, static_cast<size_t>(cbValue), "%s", topology.c_str());
    return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    std::istringstream input(bytes.substr(0, bytes.find('\0')));
    std::getline(input, topology);
    lines.clear();
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    check_list();
    check_topology();
    support::clear_log();
    return 0;
}
