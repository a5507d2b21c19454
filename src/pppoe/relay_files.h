// Where the relays' settings are kept: a file for each client-side interface.
#pragma once

#include <cerrno>

#include <sys/stat.h>

#include "frame/text.h"
#include "kavo/core.h"

namespace kavonet {

inline constexpr char RELAY_FOLDER[] = "/etc/sysconfig/pppoe-relay/";
inline constexpr char RELAY_FOLDER_ITSELF[] = "/etc/sysconfig/pppoe-relay"; // of a plain file too
inline constexpr int RELAYS_AT_MOST = 128;

// Every name that the kernel takes fits.
class RelayFile : public Text<44> {
public:
    explicit RelayFile(const char *interface) : Text("%s%s", RELAY_FOLDER, interface) {}
};

// False with errno when the folder is missing and cannot be made.
inline bool make_relay_folder(mode_t mode)
{
    if (KLIBCFileCheckDir(RELAY_FOLDER) != 0 || mkdir(RELAY_FOLDER, mode) == 0)
        return true;
    const int saved = errno;
    const bool made_by_another = saved == EEXIST && KLIBCFileCheckDir(RELAY_FOLDER) != 0;
    errno = saved;
    return made_by_another;
}

// Makes folder and file where they are missing.
inline bool make_relay_file(const RelayFile &file)
{
    return make_relay_folder(0755) && (KLIBCFileExist(file.c_str()) != 0 || KLIBCFileTouch(file.c_str()) >= 0);
}

} // namespace kavonet
