// What the tests of the IP aliases share.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/ipv4.h"
#include "support/tidy_root.h"

using support::entries;
using support::exists;
using support::fail_call;
using support::last_error;
using support::log_lines;
using support::logged_in;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Recorded commands of ip, a tool and subscribers of both events. The store may hold anything; only its own file may be in
// its folder afterwards.
class AliasTest : public support::TidyRoot {
protected:
    static constexpr char FOLDER[] = "/usr/kavo/etc/net";
    static constexpr char STORE[] = "/usr/kavo/etc/net/ip_alias";
    static constexpr char IP[] = "/sbin/ip";
    static constexpr char TOOL[] = "/usr/kavo/sbin/kavonetdtool";

    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        record(IP);
        record(TOOL);
        follow("net/ip_alias_add");
        follow("net/ip_alias_delete");
    }

    void TearDown() override
    {
        if (!IsSkipped()) {
            for (const std::string &name : entries(FOLDER))
                EXPECT_EQ("ip_alias", name);
        }
        TidyRoot::TearDown();
    }

    // Records the commands of ip and runs them too, on a card of that name.
    static void use_real_ip(const std::vector<std::string> &cards = {"eth0"})
    {
        for (const std::string &card : cards)
            add_card(card);
        script(IP, "record_call \"$0\" \"$@\"\nexec /bin/ip \"$@\"");
    }

    // The kernel's addresses, "eth0:0 192.168.1.10/24", sorted.
    static std::vector<std::string> kernel()
    {
        return support::lines_of(
            shell("/bin/ip -4 -o address show label '*:*' | sed -n "
                  "'s/.* inet \\([^ ]*\\) .* \\([^ ]*:[^ \\\\]*\\)\\\\.*/\\2 \\1/p' | LC_ALL=C sort"));
    }

    static void write_store(const std::string &text) { write_file(STORE, text); }

    // The store without white space.
    static std::string store()
    {
        std::string text = read_file(STORE);
        text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\n'; }), text.end());
        return text;
    }

    // An alias and an interface as they stand there.
    static std::string alias(int label, const std::string &address, int prefix = 24)
    {
        return "{\"label\":" + std::to_string(label) + ",\"IP\":\"" + address +
               "\",\"prefixlen\":" + std::to_string(prefix) + "}";
    }
    static std::string interface(const std::string &name, const std::vector<std::string> &aliases)
    {
        std::string text = "\"" + name + "\":{\"ip_alias\":[";
        for (size_t i = 0; i < aliases.size(); ++i)
            text += (i == 0 ? "" : ",") + aliases[i];
        return text + "]}";
    }

    static void expect_no_code() { EXPECT_EQ(NO_ERROR_SET, last_error()); }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        unlink(support::RECORDED_CALLS);
    }
};

// A list of strings of the platform.
class TextList {
public:
    TextList(std::initializer_list<const char *> texts = {})
    {
        for (const char *text : texts)
            EXPECT_EQ(0, KLIBCSzListPush(&list, text));
    }
    TextList(const TextList &) = delete;
    TextList &operator=(const TextList &) = delete;
    ~TextList() { KLIBCSzListFree(list); }

    [[nodiscard]] std::vector<std::string> texts() const
    {
        std::vector<std::string> all;
        for (int i = 0; i < list->nItem; ++i)
            all.emplace_back(KLIBCSzListGet(list, i));
        return all;
    }

    PKLIBSZLIST list = KLIBCSzListAlloc(0);
};

// A JSON value of a test; the test fails when the text is none.
class Value {
public:
    explicit Value(const std::string &text) : held_(json_tokener_parse(text.c_str()), json_object_put)
    {
        EXPECT_NE(nullptr, held_) << text;
    }
    [[nodiscard]] json_object *get() const { return held_.get(); }
    [[nodiscard]] std::string text() const
    {
        return json_object_to_json_string_ext(held_.get(), JSON_C_TO_STRING_PLAIN);
    }

private:
    std::shared_ptr<json_object> held_;
};
