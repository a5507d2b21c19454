// What the tests of the configuration backup share: hashes made and read in one line, and log lines with their place.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kavonetsdk/diag.h"
#include "support/tidy_root.h"

namespace config_test {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// A hash that is freed by itself.
class Hash {
public:
    explicit Hash(const Pairs &pairs = {}) : hash_(KLIBCSzHashAlloc(1024))
    {
        for (const auto &[key, value] : pairs)
            EXPECT_EQ(0, KLIBCSzHashSetValue(&hash_, key.c_str(), value.c_str()));
    }
    Hash(const Hash &) = delete;
    Hash &operator=(const Hash &) = delete;
    ~Hash() { KLIBCSzHashFree(hash_); }

    PKLIBSZHASH *handle() { return &hash_; }
    [[nodiscard]] PKLIBSZHASH get() const { return hash_; }

    // Its pairs in the order in which the keys were first set.
    [[nodiscard]] Pairs pairs() const
    {
        PKLIBSZLIST keys = KLIBCSzListAlloc(0);
        EXPECT_LE(0, KLIBCSzHashEnumKey(hash_, &keys));
        Pairs result;
        for (int i = 0; i < keys->nItem; ++i) {
            const char *key = KLIBCSzListGet(keys, i);
            result.emplace_back(key, KLIBCSzHashGetValue(hash_, key));
        }
        KLIBCSzListFree(keys);
        return result;
    }

private:
    PKLIBSZHASH hash_;
};

class ConfigTest : public support::TidyRoot {
protected:
    static constexpr char FOLDER[] = "/etc/backed";

    void SetUp() override
    {
        TidyRoot::SetUp();
        mkdir(FOLDER, 0755);
        umask(022);
    }

    static std::string in_folder(const std::string &name) { return std::string(FOLDER) + "/" + name; }

    static struct stat status_of(const std::string &path)
    {
        struct stat status {};
        EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
        return status;
    }
    static unsigned mode_of(const std::string &path) { return status_of(path).st_mode & 07777; }

    // The level at which the file of both functions wrote the line, -1 when it did not.
    static int logged(const std::string &message) { return support::logged_in("config_export_import.cpp", message); }
    // The messages in order, without the place in front.
    static std::vector<std::string> messages()
    {
        std::vector<std::string> result;
        for (const support::LogLine &line : support::log_lines())
            result.push_back(line.text.substr(line.text.find(' ') + 1));
        return result;
    }
    // Files beside a target under its name and six letters.
    static std::vector<std::string> temporaries_of(const std::string &folder, const std::string &name)
    {
        std::vector<std::string> found;
        for (const std::string &entry : support::entries(folder)) {
            if (entry.size() == name.size() + 6 && entry.compare(0, name.size(), name) == 0)
                found.push_back(entry);
        }
        return found;
    }
};

} // namespace config_test
