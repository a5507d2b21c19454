#include <sys/stat.h>

#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using Pairs = std::vector<std::pair<std::string, std::string>>;
using Names = std::vector<std::string>;

namespace {

class SectionTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        list = KLIBCSzListAlloc(0);
        hash = KLIBCSzHashAlloc(1024);
        descriptors = support::open_descriptors();
    }
    void TearDown() override
    {
        EXPECT_EQ(descriptors, support::open_descriptors());
        KLIBCSzListFree(list);
        KLIBCSzHashFree(hash);
        PrivateRoot::TearDown();
    }

    static void given(const std::string &content) { support::write_file(PATH, content); }
    static std::string content() { return support::read_file(PATH); }

    Names sections()
    {
        KLIBCSzListRemoveAll(list);
        const int count = KLIBCFileEnumSection(PATH, &list);
        EXPECT_EQ(count, list->nItem);
        Names names;
        for (int i = 0; i < list->nItem; ++i)
            names.emplace_back(KLIBCSzListGet(list, i));
        return names;
    }

    Pairs section(const char *name)
    {
        KLIBCHashRemoveAll(hash);
        const int count = KLIBCFileGetSection(PATH, name, &hash);
        KLIBCSzListRemoveAll(list);
        KLIBCSzHashEnumKey(hash, &list);
        EXPECT_EQ(count, list->nItem);
        Pairs pairs;
        for (int i = 0; i < list->nItem; ++i)
            pairs.emplace_back(KLIBCSzListGet(list, i), KLIBCSzHashGetValue(hash, KLIBCSzListGet(list, i)));
        return pairs;
    }

    int add(const char *name, const Pairs &pairs, const char *format = "\t%s=%s\n")
    {
        KLIBCHashRemoveAll(hash);
        for (const auto &[key, value] : pairs)
            KLIBCSzHashSetValue(&hash, key.c_str(), value.c_str());
        return KLIBCFileAddSection(PATH, name, hash, format);
    }

    static constexpr char PATH[] = "/etc/sections.conf";
    PKLIBSZLIST list = nullptr;
    PKLIBSZHASH hash = nullptr;
    std::vector<std::string> descriptors;
};

} // namespace

TEST_F(SectionTest, NamesAreListedOnceInTheirOrder)
{
    given("outside=1\n[global]\na=1\n[share one] \nb=1\n[global]\nc=1\n#[no]\n [no]\n[]\n[broken\n[a]b]\r\n[last]");
    EXPECT_EQ((Names{"global", "share one", "a]b", "last"}), sections());
    given("");
    EXPECT_EQ(Names{}, sections());
}

TEST_F(SectionTest, ASectionGoesToTheNextBracket)
{
    given("outside=1\n[one]\n\ta=1\n  b = \"x y\"\n#c=1\n\t# d=1\nno "
          "pair\na=2\n[broken\nlost=1\n[two]\ne=\"q\"\n[one]\nf=");
    EXPECT_EQ((Pairs{{"a", "2"}, {"b ", " \"x y\""}, {"f", ""}}), section("one"));
    EXPECT_EQ((Pairs{{"e", "q"}}), section("two"));
}

TEST_F(SectionTest, KeysAreAddedToTheHash)
{
    given("[one]\na=1\n[none]\n");
    KLIBCSzHashSetValue(&hash, "a", "old");
    KLIBCSzHashSetValue(&hash, "z", "kept");
    EXPECT_EQ(1, KLIBCFileGetSection(PATH, "one", &hash));
    EXPECT_STREQ("1", KLIBCSzHashGetValue(hash, "a"));
    EXPECT_STREQ("kept", KLIBCSzHashGetValue(hash, "z"));
    EXPECT_EQ(0, KLIBCFileGetSection(PATH, "none", &hash)) << "a section without keys is there all the same";
}

TEST_F(SectionTest, WhatIsMissingIsAFailure)
{
    EXPECT_EQ(-1, KLIBCFileEnumSection(PATH, &list));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileGetSection(PATH, "one", &hash));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    given("[one]\n");
    EXPECT_EQ(-1, KLIBCFileGetSection(PATH, "two", &hash));
    EXPECT_EQ(0x0A00U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileGetSection(PATH, "", &hash));
    EXPECT_EQ(-1, KLIBCFileGetSection(PATH, nullptr, &hash));
    EXPECT_EQ(-1, KLIBCFileGetSection(PATH, "one", nullptr));
    EXPECT_EQ(-1, KLIBCFileGetSection(nullptr, "one", &hash));
    EXPECT_EQ(-1, KLIBCFileEnumSection(nullptr, &list));
    EXPECT_EQ(-1, KLIBCFileEnumSection(PATH, nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(SectionTest, ANewSectionIsAppendedAndTheFileMade)
{
    EXPECT_EQ(0, add("one", {{"a", "1"}, {"b", ""}}));
    EXPECT_EQ("[one]\n\ta=1\n\tb=\n", content());
    struct stat status;
    ASSERT_EQ(0, stat(PATH, &status));
    EXPECT_EQ(0644U, status.st_mode & 07777);
    EXPECT_EQ(0, add("two", {{"c", "x y"}}, nullptr));
    EXPECT_EQ("[one]\n\ta=1\n\tb=\n[two]\nc=\"x y\"\n", content());
    EXPECT_EQ(0, add("three", {}));
    EXPECT_EQ((Names{"one", "two", "three"}), sections());
    given("no newline");
    EXPECT_EQ(0, add("one", {{"a", "1"}}));
    EXPECT_EQ("no newline\n[one]\n\ta=1\n", content());
}

TEST_F(SectionTest, ASectionThatExistsKeepsItsOtherKeys)
{
    given("a=0\n[one]\n  a=1\nb=1\n# a=1\n\n[two]\na=2\n");
    EXPECT_EQ(0, add("one", {{"a", "9"}, {"c", "9"}}));
    EXPECT_EQ("a=0\n[one]\n\ta=9\nb=1\n# a=1\n\tc=9\n\n[two]\na=2\n", content());
    EXPECT_EQ(0, add("two", {{"d", "9"}}));
    EXPECT_EQ("a=0\n[one]\n\ta=9\nb=1\n# a=1\n\tc=9\n\n[two]\na=2\n\td=9\n", content());
}

TEST_F(SectionTest, OneLineOfAKeyIsLeftInASectionOfSeveralPieces)
{
    given("[one]\na=1\n[two]\n[one]\na=2\nb=1");
    EXPECT_EQ(0, add("one", {{"a", "3"}, {"c", "3"}}));
    EXPECT_EQ("[one]\n\ta=3\n[two]\n[one]\nb=1\n\tc=3\n", content());
    given("[one]");
    EXPECT_EQ(0, add("one", {{"a", "1"}}));
    EXPECT_EQ("[one]\n\ta=1\n", content());
}

TEST_F(SectionTest, HostileNamesKeysAndValuesAreRefused)
{
    given("[one]\na=1\n");
    for (const auto &[key, value] :
         Pairs{{"", "v"}, {"a=b", "v"}, {"#a", "v"}, {"[a", "v"}, {" a", "v"}, {"a\nb", "v"}, {"a", "v\n[x]"}}) {
        support::clear_error();
        EXPECT_EQ(-1, add("one", {{"a", "2"}, {key, value}}, "%s=%s\n")) << key;
        EXPECT_EQ(0x0D00U, KLIBCErrGet()) << key;
    }
    for (const char *name : {"", "a\nb", "a\r", static_cast<const char *>(nullptr)})
        EXPECT_EQ(-1, add(name, {{"a", "2"}}));
    EXPECT_EQ(-1, add("one", {{"a", "\""}}, nullptr));
    EXPECT_EQ(-1, add("one", {{"a", "2"}}, "%s"));
    EXPECT_EQ(-1, KLIBCFileAddSection(PATH, "one", nullptr, nullptr));
    EXPECT_EQ(-1, KLIBCFileAddSection(nullptr, "one", hash, nullptr));
    EXPECT_EQ("[one]\na=1\n", content());
}

TEST_F(SectionTest, AFileIsCopiedSectionBySection)
{
    given("[global]\n\tname=x y\n\tempty=\n[share]\n\tpath=/a=b\n");
    const std::string before = content();
    for (const std::string &name : sections()) {
        const Pairs pairs = section(name.c_str());
        ASSERT_EQ(static_cast<int>(pairs.size()), KLIBCFileGetSection(PATH, name.c_str(), &hash));
        ASSERT_EQ(0, KLIBCFileAddSection("/etc/copy.conf", name.c_str(), hash, "\t%s=%s\n"));
    }
    EXPECT_EQ(before, support::read_file("/etc/copy.conf"));
}
