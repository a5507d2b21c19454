#include <cerrno>
#include <cstring>

#include <strings.h>
#include <sys/stat.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/client_files.h"
#include "pppoe/quoting.h"

using namespace kavonet;

namespace {

constexpr char SWITCH[] = "pppoe_enable";

// ---- Status

// The number of connections that run, negative on error.
int running()
{
    Text<256> pid;
    return KLIBCPs("pppoe-connect", pid.buffer(), pid.size());
}

// How it ends does not matter: it also fails when there is nothing to stop.
void run_stop_script()
{
    KLIBCExec("/usr/sbin/pppoe-stop", nullptr, nullptr, nullptr, nullptr);
}

int check_enabled(bool repair)
{
    const int count = running();
    if (count != 0)
        return count > 0 ? 1 : -1;
    return repair && KLIBCFileSetKeyValue(SETTINGS_FILE, SWITCH, "no", "%s=\"%s\"\n") < 0 ? -1 : 0;
}

int check_status(bool repair)
{
    Text<64> value;
    const int found = KLIBCFileGetKeyValue(SETTINGS_FILE, SWITCH, value.buffer(), value.size(), 0);
    if (found < 1)
        return found < 0 ? -1 : 0;
    if (strcasecmp(value.c_str(), "yes") == 0)
        return check_enabled(repair);
    if (running() > 0)
        run_stop_script();
    return 0;
}

// ---- Service

bool set_switch(const char *value)
{
    return KLIBCINFOSetKeyValue(SWITCH, value) >= 0;
}

int start()
{
    constexpr int REFUSED = 19; // the one code of the script that callers tell apart
    if (!set_switch("yes")) {
        set_switch("no");
        return -1;
    }
    const int status = KLIBCExec("/usr/sbin/pppoe-start", nullptr, nullptr, nullptr, nullptr);
    if (status == 0)
        return 0;
    set_switch("no");
    return status == REFUSED ? REFUSED : -1;
}

int stop()
{
    if (!set_switch("no")) {
        set_switch("yes");
        return -1;
    }
    run_stop_script();
    return 0;
}

// ---- Settings

// The settings as texts that end within their fields.
struct Settings {
    explicit Settings(const PPPoEConf &conf)
        : eth("%.*s", int{sizeof conf.szEth}, conf.szEth),
          user("%.*s", int{sizeof conf.szUser}, conf.szUser),
          password("%.*s", int{sizeof conf.szPassword}, conf.szPassword),
          mtu("%.*s", int{sizeof conf.szMTU}, conf.szMTU)
    {
    }

    [[nodiscard]] bool valid() const
    {
        return is_short_interface_name(eth.c_str()) && is_plain_word(eth.c_str()) && is_plain_word(mtu.c_str()) &&
               is_one_line(user.c_str()) && is_one_line(password.c_str());
    }

    Text<17> eth;
    Text<257> user;
    Text<33> password;
    Text<9> mtu;
};

bool set_client_key(const char *key, const char *value)
{
    if (KLIBCFileSetKeyValue(CLIENT_FILE, key, value, "%s=%s\n") >= 0)
        return true;
    log_file_err("Failed to edit %s", CLIENT_FILE);
    return false;
}

bool write_line(FILE *file, const char *user, const char *password)
{
    if (fprintf(file, "%s\t*\t%s\n", user, password) < 0) {
        log_file_err("Failed to write PPPoE setting (%s)", strerror(errno));
        return false;
    }
    if (fflush(file) != 0) {
        log_file_err("Failed to fflush PPPoE setting.(%s)", strerror(errno));
        return false;
    }
    if (fsync(fileno(file)) != 0) {
        log_file_err("Failed to fsync PPPoE setting.(%s)", strerror(errno));
        return false;
    }
    return true;
}

bool write_new_secrets(const char *user, const char *password)
{
    File file(create_private(NEW_SECRETS_FILE));
    if (!file) {
        log_file_err("Failed to open tmp file to write PPPoE setting (%s)", strerror(errno));
        return false;
    }
    if (!write_line(file.get(), user, password))
        return false;
    if (fclose(file.release()) != 0) {
        log_file_err("Failed to close PPPoE setting.(%s)", strerror(errno));
        return false;
    }
    return true;
}

// Any other lines of the file go: it holds the configured user only.
bool replace_secrets(const char *user, const char *password)
{
    if (!write_new_secrets(user, password)) {
        unlink(NEW_SECRETS_FILE);
        return false;
    }
    if (rename(NEW_SECRETS_FILE, SECRETS_FILE) != 0) {
        log_err("rename %s to %s.tmp failed", SECRETS_FILE,
                SECRETS_FILE); // the wrong way round, as log readers know it
        unlink(NEW_SECRETS_FILE);
        return false;
    }
    if (chmod(SECRETS_FILE, 0600) != 0) {
        log_err("chmod %s failed", SECRETS_FILE);
        return false;
    }
    return true;
}

} // namespace

int KAVOPPPoECheckStatus(int blRepair)
{
    const bool repair = blRepair != 0;
    ConfigLock lock(repair ? ConfigLock::SETTINGS_WRITE : ConfigLock::SETTINGS_READ);
    if (!lock) {
        log_err("Failed to lock kavoinfo [0x%04X %s:%d]", PLATFORM_ERROR);
        return fail(NET_ERR_LOCK_FAILED, -1);
    }
    const int status = check_status(repair);
    if (!lock.release()) {
        log_err("Failed to unlock kavoinfo[0x%04X %s:%d]", PLATFORM_ERROR);
        return -1;
    }
    return status;
}

int KAVOPPPoEService(unsigned int op)
{
    if (op > 1) {
        log_invalid_argument("(op == 1 || op == 0)", 0);
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    return op == 1 ? start() : stop();
}

int PPPoEConfigGet(PPPoEConf *pConf)
{
    if (pConf == nullptr) {
        log_file_err("bad parameter PPPoEConf");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    *pConf = {};
    if (KLIBCFileGetKeyValue(CLIENT_FILE, "ETH", pConf->szEth, sizeof pConf->szEth, 0) < 1) {
        log_err("Failed to get PPPoE ETH setting.[0x%04X %s:%d]", PLATFORM_ERROR);
        return -1;
    }
    pConf->blDefaultRoute = KLIBCFileCheckKeyValue(CLIENT_FILE, "DEFAULTROUTE", "yes", 0) != 0 ? 1 : 0;
    Text<256> user;
    if (KLIBCFileGetKeyValue(CLIENT_FILE, "USER", user.buffer(), user.size(), 0) < 1 || user.empty())
        return 0;
    if (KLIBCFileGetKeyValue(CLIENT_FILE, "MTU", pConf->szMTU, sizeof pConf->szMTU, 0) < 0) {
        log_err("Failed to get PPPoE MTU setting.");
        return -1;
    }
    const File secrets(fopen(SECRETS_FILE, "re"));
    if (!secrets) {
        log_file_err("Failed to open %s", SECRETS_FILE);
        return -1;
    }
    if (is_whole(user.c_str()) && find_secret(secrets.get(), user.c_str(), pConf->szPassword))
        copy_plain_name(pConf->szUser, user.c_str());
    return 0;
}

int PPPoEConfigSet(PPPoEConf conf)
{
    const Settings settings(conf);
    if (!settings.valid()) {
        log_file_err("bad parameter PPPoEConf");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    const QuotedName user(settings.user.c_str());
    const bool written = set_client_key("ETH", settings.eth.c_str()) &&
                         set_client_key("DEFAULTROUTE", conf.blDefaultRoute != 0 ? "yes" : "no") &&
                         set_client_key("USER", user.c_str()) && set_client_key("MTU", settings.mtu.c_str()) &&
                         replace_secrets(user.c_str(), settings.password.c_str());
    return written ? 0 : -1;
}
