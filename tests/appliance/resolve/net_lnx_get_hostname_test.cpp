#include "appliance/resolve/resolve_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_get_hostname.cpp";

class GetHostname : public ResolveTest {
protected:
    static void kernel_has(const std::string &name) { ASSERT_EQ(0, sethostname(name.c_str(), name.size())); }

    // The buffer is the callers' least, and nothing is written behind it.
    static std::string get(int result)
    {
        char text[66];
        memset(text, '#', sizeof text);
        EXPECT_EQ(result, KAVOLnxGetHostname(text));
        EXPECT_EQ('#', text[64]);
        EXPECT_NE(nullptr, memchr(text, '\0', 64));
        return text;
    }
};

TEST_F(GetHostname, GivesTheFirstLabel)
{
    const std::pair<const char *, const char *> names[] = {{"box", "box"},   {"box.example.org", "box"},
                                                           {"box.", "box"},  {"a", "a"},
                                                           {"a.b", "a"},     {"with blank", "with blank"},
                                                           {"%s%n", "%s%n"}, {"-.x", "-"},
                                                           {"\xff", "\xff"}, {"a\nb", "a\nb"}};
    for (const auto &[name, label] : names) {
        kernel_has(name);
        EXPECT_EQ(label, get(1));
    }
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetHostname, ReadsTheLongestName)
{
    for (const size_t length : {62U, 63U}) {
        kernel_has(std::string(length, 'a'));
        EXPECT_EQ(std::string(length, 'a'), get(1));
    }
}

TEST_F(GetHostname, NoNameIsAnEmptyText)
{
    for (const char *name : {"", ".", ".example.org"}) {
        kernel_has(name);
        EXPECT_EQ("", get(0)) << name;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetHostname, ANameThatDoesNotFitIsAFailure)
{
    char text[64] = "before";
    kernel_has(std::string(64, 'a'));
    EXPECT_EQ(-1, KAVOLnxGetHostname(text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
    // Its first label would fit, but it was cut all the same.
    kernel_has("b." + std::string(62, 'a'));
    support::clear_error();
    EXPECT_EQ(-1, KAVOLnxGetHostname(text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
    EXPECT_STREQ("before", text);
    kernel_has("box");
    EXPECT_EQ("box", get(1));
}

TEST_F(GetHostname, AKernelThatDoesNotAnswerIsAFailure)
{
    char text[64] = "before";
    fail_call("gethostname");
    EXPECT_EQ(-1, KAVOLnxGetHostname(text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
    EXPECT_STREQ("before", text);
    kernel_has("box");
    EXPECT_EQ("box", get(1));
}

// What an earlier call left in errno is nobody's failure; what the successful one leaves is.
TEST_F(GetHostname, OnlyItsOwnErrnoCounts)
{
    kernel_has("box");
    errno = ENAMETOOLONG;
    EXPECT_EQ("box", get(1));
    support::on_call("gethostname", [] { errno = ENAMETOOLONG; });
    char text[64] = "before";
    EXPECT_EQ(-1, KAVOLnxGetHostname(text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
    EXPECT_STREQ("before", text);
    support::on_call("gethostname", [] { errno = EIO; });
    EXPECT_EQ("box", get(1));
}

TEST_F(GetHostname, WaitsFiveSecondsForTheLock)
{
    kernel_has("box");
    EXPECT_EQ("box", get(1));
    EXPECT_EQ(5, support::last_lock_wait());
}

TEST_F(GetHostname, HoldsTheLockForReading)
{
    bool others_read = false;
    bool others_write = true;
    support::on_call("gethostname", [&] {
        others_read = lock_is_free(0x105);
        others_write = lock_is_free(0x106);
        errno = 0;
    });
    kernel_has("box");
    EXPECT_EQ("box", get(1));
    EXPECT_TRUE(others_read);
    EXPECT_FALSE(others_write);
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(GetHostname, WithoutTheLockThereIsNoAnswer)
{
    char text[64] = "before";
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVOLnxGetHostname(text));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_STREQ("before", text);
    kernel_has("box");
    EXPECT_EQ("box", get(1));
}

TEST_F(GetHostname, RefusesNoBuffer)
{
    EXPECT_EQ(-1, KAVOLnxGetHostname(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
}

} // namespace
