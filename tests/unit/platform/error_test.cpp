#include <thread>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/read_back.h"

using support::last_error;

TEST(ErrorRecord, IsEmptyUntilSet)
{
    std::thread([] { EXPECT_EQ(support::NO_ERROR_SET, last_error()); }).join();
}

TEST(ErrorRecord, KeepsCodeFileAndLine)
{
    KLIBCErrSetEx(0x2800, "some.c", 17);
    EXPECT_EQ((support::Error{0x2800, "some.c", 17}), last_error());
    EXPECT_EQ((support::Error{0x2800, "some.c", 17}), last_error()) << "reading does not clear it";
}

TEST(ErrorRecord, OfNoFileIsEmptyText)
{
    KLIBCErrSetEx(0x0D00, nullptr, 3);
    EXPECT_STREQ("", KLIBCErrorGetFile());
}

TEST(ErrorRecord, BelongsToItsThread)
{
    KLIBCErrSetEx(0x0D00, "mine.c", 1);
    std::thread([] { KLIBCErrSetEx(0x0900, "theirs.c", 2); }).join();
    EXPECT_EQ((support::Error{0x0D00, "mine.c", 1}), last_error());
}

TEST(ErrorRecord, NamesTheFailingSource)
{
    EXPECT_EQ(nullptr, KLIBCSzListAlloc(-1));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_STREQ("list.cpp", KLIBCErrorGetFile());
    EXPECT_GT(KLIBCErrorGetLine(), 0);
}
