#include "frame/log.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/read_back.h"

namespace {

class Log : public testing::Test {
protected:
    void SetUp() override { support::clear_log(); }

    static void expect(int level, const std::string &text)
    {
        ASSERT_EQ(1U, support::log_lines().size());
        EXPECT_EQ(level, support::log_lines()[0].level);
        EXPECT_EQ(text, support::log_lines()[0].text);
        support::clear_log();
    }

    static std::string front(int line) { return "log_test.cpp:" + std::to_string(line) + " "; }
};

TEST_F(Log, BeginsWithFileAndLine)
{
    log_err("Failed to open %s. (%d)", "x", 7);
    expect(LOG_ERR, front(__LINE__ - 1) + "Failed to open x. (7)");
    log_warning("w");
    expect(LOG_WARNING, front(__LINE__ - 1) + "w");
    log_info("i %s", "%n");
    expect(LOG_INFO, front(__LINE__ - 1) + "i %n");
    log_debug("d");
    expect(LOG_DEBUG, front(__LINE__ - 1) + "d");
}

void one_function()
{
    log_function_err("unable to start %s", "x");
}

TEST_F(Log, BeginsWithFunctionAndLine)
{
    one_function();
    ASSERT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(LOG_ERR, support::logged("one_function\\([0-9]+\\) unable to start x"));
    support::clear_log();
    log_function_warning("w");
    expect(LOG_WARNING, std::string(__func__) + "(" + std::to_string(__LINE__ - 1) + ") w");
}

TEST_F(Log, BeginsWithFileAndLineInTheOlderForm)
{
    log_file_err("Failed to open %s", "x");
    expect(LOG_ERR, "log_test.cpp (" + std::to_string(__LINE__ - 1) + ") Failed to open x");
    log_file_err("Bad parameter.");
    expect(LOG_ERR, "log_test.cpp (" + std::to_string(__LINE__ - 1) + ") Bad parameter.");
}

TEST_F(Log, NamesAnInvalidArgument)
{
    log_invalid_argument("0 != nItem", 0);
    expect(LOG_ERR, front(__LINE__ - 1) + "Invaild Argument (0 != nItem)=[0]\n");
}

TEST_F(Log, ShowsThePlatformsRecord)
{
    KLIBCErrSetEx(0x400, "lock.cpp", 12);
    log_err("KLIBCFileLock failed.[0x%04X %s:%d]", PLATFORM_ERROR);
    expect(LOG_ERR, front(__LINE__ - 1) + "KLIBCFileLock failed.[0x0400 lock.cpp:12]");
}

TEST_F(Log, KeepsErrnoForItsFormat)
{
    errno = ENOENT;
    log_err("fscanf failed. %m");
    expect(LOG_ERR, front(__LINE__ - 1) + "fscanf failed. No such file or directory");
}

} // namespace
