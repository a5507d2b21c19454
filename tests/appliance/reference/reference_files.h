// The reference appliance's scripts in a private root.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/read_back.h"

namespace reference {

// The scripts are read before the private root hides the source tree.
inline const std::map<std::string, std::string> SCRIPTS = [] {
    std::map<std::string, std::string> scripts;
    for (const char *path :
         {"/etc/dhclient/dhclient-script", "/usr/kavo/sbin/kavonetdtool", "/usr/kavo/sbin/ddnsd",
          "/usr/kavo/libexec/dhclient-prepare", "/usr/kavo/libexec/log-host", "/usr/sbin/arping", "/usr/sbin/dhclient",
          "/usr/kavo/etc/ddnsd.conf", "/etc/rc.network", "/usr/kavo/sbin/kavostoragecore", "/usr/kavo/bin/kavofirewall",
          "/usr/kavo/bin/tctool", "/etc/dhclient/dhclient6-script", "/usr/kavo/libexec/dhclient6",
          "/etc/ppp/pppoe.conf", "/usr/kavo/libexec/pppoe-glue"})
        scripts[path] = support::read_file(std::string(KAVO_SOURCE_DIR "/appliance/root") + path);
    return scripts;
}();

inline void install(const std::string &path)
{
    ASSERT_FALSE(SCRIPTS.at(path).empty()) << path;
    support::write_file(path, SCRIPTS.at(path), 0755);
}

// Runs a program with these variables alone and its output discarded; returns its exit status.
inline int run(const std::vector<std::string> &words, const std::map<std::string, std::string> &variables = {})
{
    std::vector<std::string> settings;
    for (const auto &[name, value] : variables)
        settings.push_back(name + "=" + value);
    std::vector<char *> argv;
    std::vector<char *> envp;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    for (const std::string &setting : settings)
        envp.push_back(const_cast<char *>(setting.c_str()));
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_RDWR);
        for (int fd = 0; fd < 3; ++fd)
            dup2(null, fd);
        execve(argv[0], argv.data(), envp.data());
        _exit(126);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace reference
