// Lines as they are read, and the line formats, keys and values that are refused before anything is locked or written.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace fs = std::filesystem;

namespace {

class LineTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kavo-line-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
        path = folder + "/file";
        support::clear_error();
    }
    void TearDown() override { fs::remove_all(folder); }

    // The value of KEY, or why there is none.
    std::string value_in(const std::string &content)
    {
        support::write_file(path, content);
        char value[64] = "before";
        const int result = KLIBCFileGetKeyValue(path.c_str(), "KEY", value, sizeof value, 0);
        EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
        return result == 1 ? value : "absent, " + std::to_string(result) + " [" + value + "]";
    }

    std::string folder;
    std::string path;
};

constexpr char ABSENT[] = "absent, 0 []";

} // namespace

TEST_F(LineTest, AKeyIsTheTextBeforeTheFirstEqualsSign)
{
    EXPECT_EQ("value", value_in("KEY=value\n"));
    EXPECT_EQ("value", value_in("other=1\nKEY=value"));
    EXPECT_EQ("a=b", value_in("KEY=a=b\n"));
    EXPECT_EQ("", value_in("KEY=\n"));
    EXPECT_EQ(ABSENT, value_in("KEYS=value\nKE=value\nXKEY=value\n"));
    EXPECT_EQ(ABSENT, value_in("KEY\nKEY value\n"));
    EXPECT_EQ(ABSENT, value_in("#KEY=value\n# KEY=value\n"));
    EXPECT_EQ(ABSENT, value_in("KEY =value\nkey=value\n"));
    EXPECT_EQ(ABSENT, value_in(""));
    EXPECT_EQ(ABSENT, value_in("\n\n=value\n"));
}

TEST_F(LineTest, TheLastLineOfAKeyWins)
{
    EXPECT_EQ("2", value_in("KEY=1\nother=x\nKEY=2\n"));
    EXPECT_EQ("", value_in("KEY=1\nKEY=\"\"\n"));
}

TEST_F(LineTest, OneEnclosingPairOfDoubleQuotesIsTakenOff)
{
    EXPECT_EQ("a b", value_in("KEY=\"a b\"\n"));
    EXPECT_EQ("\"a\"", value_in("KEY=\"\"a\"\"\n"));
    EXPECT_EQ("\"", value_in("KEY=\"\n"));
    EXPECT_EQ("\"a", value_in("KEY=\"a\n"));
    EXPECT_EQ("a\"", value_in("KEY=a\"\n"));
    EXPECT_EQ("'a'", value_in("KEY='a'\n"));
    EXPECT_EQ(" a ", value_in("KEY= a \n"));
    EXPECT_EQ("a\r", value_in("KEY=a\r\n"));
}

TEST_F(LineTest, ZeroBytesHideNothing)
{
    EXPECT_EQ("after", value_in(std::string("x=\0y\nKEY=after\n", 15)));
    EXPECT_EQ(ABSENT, value_in(std::string("KEY\0=value\n", 11)));
}

TEST_F(LineTest, AValueIsCutToTheBuffer)
{
    support::write_file(path, "KEY=\"value\"\n");
    char value[4];
    EXPECT_EQ(1, KLIBCFileGetKeyValue(path.c_str(), "KEY", value, sizeof value, 0));
    EXPECT_STREQ("val", value);
    EXPECT_EQ(1, KLIBCFileGetKeyValue(path.c_str(), "KEY", value, 1, 0));
    EXPECT_STREQ("", value);
}

TEST_F(LineTest, ReadingRefuses)
{
    char value[16] = "before";
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(path.c_str(), "KEY", value, sizeof value, 0));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_STREQ("", value);
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(folder.c_str(), "KEY", value, sizeof value, 0));
    EXPECT_EQ(0x0A00U, KLIBCErrGet());
    support::write_file(path, "KEY=value\n#K=1\n");
    for (const char *key : {"", "#K", "A=B", "A\nB", static_cast<const char *>(nullptr)}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileGetKeyValue(path.c_str(), key, value, sizeof value, 0));
        EXPECT_EQ(0x0D00U, KLIBCErrGet());
    }
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(path.c_str(), "KEY", value, sizeof value, 1));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(path.c_str(), "KEY", value, 0, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(path.c_str(), "KEY", nullptr, 16, 0));
    EXPECT_EQ(-1, KLIBCFileGetKeyValue(nullptr, "KEY", value, sizeof value, 0));
}

TEST_F(LineTest, CheckComparesTheWholeValue)
{
    const std::string longest(10000, 'v');
    support::write_file(path, "KEY=\"yes\"\nLONG=" + longest + "\n");
    EXPECT_EQ(1, KLIBCFileCheckKeyValue(path.c_str(), "KEY", "yes", 0));
    EXPECT_EQ(0, KLIBCFileCheckKeyValue(path.c_str(), "KEY", "ye", 0));
    EXPECT_EQ(0, KLIBCFileCheckKeyValue(path.c_str(), "KEY", "yes1", 0));
    EXPECT_EQ(0, KLIBCFileCheckKeyValue(path.c_str(), "NONE", "", 0));
    EXPECT_EQ(1, KLIBCFileCheckKeyValue(path.c_str(), "LONG", longest.c_str(), 0));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_EQ(0, KLIBCFileCheckKeyValue("/none/file", "KEY", "yes", 0));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(0, KLIBCFileCheckKeyValue(path.c_str(), "KEY", "yes", 1));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(LineTest, FormatsThatAreNoKeyLineAreRefused)
{
    support::write_file(path, "KEY=value\n");
    for (const char *format :
         {"",          "\n",        "%s",        "%s=\n",       "%s=%d\n",   "%s=%s%s\n", "%s=%s%n\n",
          "%s=%s%%\n", "%%s=%s\n",  "%d%s=%s\n", "%1$s=%2$s\n", "%s%s\n",    "%s %s\n",   "%s =%s\n",
          "x%s=%s\n",  "%s=%s\n\n", "%s=\n%s\n", "\n%s=%s\n",   "%s=%s\r\n", "%s=%*s\n"}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileSetKeyValue(path.c_str(), "KEY", "new", format)) << format;
        EXPECT_EQ(0x0D00U, KLIBCErrGet()) << format;
        EXPECT_EQ("KEY=value\n", support::read_file(path)) << format;
    }
}

TEST_F(LineTest, HostileKeysAndValuesAreRefused)
{
    struct Case {
        const char *key, *value, *format;
    };
    for (const Case &refused : {Case{"", "v", nullptr},
                                {"A=B", "v", nullptr},
                                {"#A", "v", nullptr},
                                {"A\nB", "v", nullptr},
                                {"A\rB", "v", nullptr},
                                {"A", "v\nB=1", nullptr},
                                {"A", "v\r", nullptr},
                                {"A", "\"", nullptr},
                                {"A", "v\"; rm", "%s=\"%s\"\n"},
                                {"A\"", "v", nullptr},
                                {"A\"", "v", "%s=\"%s\"\n"},
                                {"A", "v\nB=1", "%s=%s\n"},
                                {nullptr, "v", nullptr},
                                {"A", nullptr, nullptr},
                                {" A", "v", "\t%s=%s\n"}}) {
        support::write_file(path, "KEY=value\n");
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileSetKeyValue(path.c_str(), refused.key, refused.value, refused.format));
        EXPECT_EQ(0x0D00U, KLIBCErrGet());
        EXPECT_EQ("KEY=value\n", support::read_file(path));
        EXPECT_EQ(std::vector<std::string>{"file"}, support::entries(folder));
    }
}
