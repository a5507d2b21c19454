#include <deque>
#include <map>
#include <random>

#include <sys/stat.h>

#include "appliance/platform/processes.h"
#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using platform_test::Child;
using namespace std::string_literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;

namespace {

class KeyValueTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        path = ifcfg("eth0");
        descriptors = support::open_descriptors();
    }
    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(descriptors, support::open_descriptors());
        }
        PrivateRoot::TearDown();
    }

    void given(const std::string &content) { support::write_file(path, content); }
    std::string content() { return support::read_file(path); }

    int set(const char *key, const char *value, const char *format = "%s=%s\n")
    {
        return KLIBCFileSetKeyValue(path.c_str(), key, value, format);
    }

    std::string path;
    std::vector<std::string> descriptors;
};

class Keys {
public:
    Keys(std::initializer_list<Pairs::value_type> pairs) : hash_(KLIBCSzHashAlloc(1024))
    {
        for (const auto &[key, value] : pairs)
            KLIBCSzHashSetValue(&hash_, key.c_str(), value.c_str());
    }
    Keys(const Keys &) = delete;
    Keys &operator=(const Keys &) = delete;
    ~Keys() { KLIBCSzHashFree(hash_); }
    operator PKLIBSZHASH() const { return hash_; }

private:
    PKLIBSZHASH hash_;
};

std::string get(const std::string &path, const std::string &key)
{
    std::string value(100000, '\0');
    const int result = KLIBCFileGetKeyValue(path.c_str(), key.c_str(), value.data(), static_cast<int>(value.size()), 0);
    return result == 1 ? value.c_str() : "result " + std::to_string(result);
}

} // namespace

TEST_F(KeyValueTest, SetReplacesTheLineInItsPlace)
{
    given("# comment\n\nDEVICE=eth0\nBOOTPROTO=dhcp\n# BOOTPROTO=x\nno pair\nONBOOT=yes\n");
    EXPECT_EQ(0, set("BOOTPROTO", "static"));
    EXPECT_EQ("# comment\n\nDEVICE=eth0\nBOOTPROTO=static\n# BOOTPROTO=x\nno pair\nONBOOT=yes\n", content());
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(KeyValueTest, SetLeavesOneLineInThePlaceOfTheFirst)
{
    given("A=1\nB=1\nA=2\nA=\"3\"\nC=1\nA=4");
    EXPECT_EQ(0, set("A", "5"));
    EXPECT_EQ("A=5\nB=1\nC=1\n", content());
}

TEST_F(KeyValueTest, SetAppendsANewKey)
{
    given("A=1\n");
    EXPECT_EQ(0, set("B", "2"));
    EXPECT_EQ("A=1\nB=2\n", content());
}

TEST_F(KeyValueTest, SetEndsALastLineBeforeItAppends)
{
    given("A=1");
    EXPECT_EQ(0, set("B", "2"));
    EXPECT_EQ("A=1\nB=2\n", content());
}

TEST_F(KeyValueTest, SetKeepsALastLineWithoutNewline)
{
    given("A=1\nlast");
    EXPECT_EQ(0, set("A", "2"));
    EXPECT_EQ("A=2\nlast", content());
}

TEST_F(KeyValueTest, SetFillsAnEmptyFile)
{
    given("");
    EXPECT_EQ(0, set("A", ""));
    EXPECT_EQ("A=\n", content());
}

TEST_F(KeyValueTest, TheFormatSaysHowTheLineIsWritten)
{
    given("A=1\n");
    EXPECT_EQ(0, set("A", "x y", nullptr));
    EXPECT_EQ("A=\"x y\"\n", content());
    EXPECT_EQ(0, set("A", "x\"y", "%s=%s\n"));
    EXPECT_EQ("A=x\"y\n", content());
    EXPECT_EQ(0, set("A", "x", "%s='%s'\n"));
    EXPECT_EQ("A='x'\n", content());
    EXPECT_EQ(0, set("A", "no newline", "%s=%s"));
    EXPECT_EQ("A=no newline\n", content());
}

TEST_F(KeyValueTest, AnIndentingFormatFindsItsOwnLines)
{
    given("B=1\n");
    EXPECT_EQ(0, set("A", "1", "\t%s=%s\n"));
    EXPECT_EQ(0, set("A", "2", "\t%s=%s\n"));
    EXPECT_EQ("B=1\n\tA=2\n", content());
}

TEST_F(KeyValueTest, PercentSignsInKeysAndValuesAreText)
{
    given("");
    EXPECT_EQ(0, set("%n%s", "%s%n%1000000d"));
    EXPECT_EQ("%n%s=%s%n%1000000d\n", content());
    EXPECT_EQ("%s%n%1000000d", get(path, "%n%s"));
}

TEST_F(KeyValueTest, BytesThatAreNoTextSurvive)
{
    const std::string odd = "x\0y\n\xff\xfe=\0\n\r\nB=1\r\nA\0=1\n\0"s;
    given(odd + "\nA=1\n");
    EXPECT_EQ(0, set("A", "2"));
    EXPECT_EQ(odd + "\nA=2\n", content());
}

TEST_F(KeyValueTest, LongLinesAndLargeFilesSurvive)
{
    std::string head = "LONG=" + std::string(2'000'000, 'l') + "\n";
    std::string tail;
    for (int i = 0; i < 100000; ++i)
        tail += "KEY" + std::to_string(i) + "=value\n";
    given(head + "A=1\n" + tail);
    const std::string value(70000, 'v');
    EXPECT_EQ(0, set("A", value.c_str()));
    EXPECT_EQ(head + "A=" + value + "\n" + tail, content());
    EXPECT_EQ(value, get(path, "A"));
    EXPECT_EQ("value", get(path, "KEY99999"));
}

TEST_F(KeyValueTest, SetOfAMissingFileFails)
{
    EXPECT_EQ(-1, set("A", "1"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_TRUE(support::entries("/etc/sysconfig/network-scripts").empty());
    EXPECT_EQ(-1, KLIBCFileSetKeyValue("/no/folder/file", "A", "1", nullptr));
    EXPECT_EQ(-1, KLIBCFileSetKeyValue(nullptr, "A", "1", nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileSetKeyValue("", "A", "1", nullptr));
}

TEST_F(KeyValueTest, SetKeysSetsAndRemovesAtOnce)
{
    given("A=1\nB=1\n#C=1\nC=1\nD=1\nC=2\n");
    const Keys to_set{{"B", "2"}, {"Z", "new"}, {"D", "2"}, {"Y", "new"}};
    const Keys to_remove{{"C", ""}, {"D", ""}, {"NONE", ""}};
    EXPECT_EQ(0, KLIBCFileSetKeys(path.c_str(), to_set, to_remove, "%s=%s\n"));
    EXPECT_EQ("A=1\nB=2\n#C=1\nD=2\nZ=new\nY=new\n", content()) << "a key in both is set; new keys in their order";
}

TEST_F(KeyValueTest, SetKeysTakesEitherAlone)
{
    given("A=1\nB=1\n");
    EXPECT_EQ(0, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "2"}}, nullptr, nullptr));
    EXPECT_EQ("A=\"2\"\nB=1\n", content());
    EXPECT_EQ(0, KLIBCFileSetKeys(path.c_str(), nullptr, Keys{{"A", ""}}, nullptr));
    EXPECT_EQ("B=1\n", content());
    EXPECT_EQ(0, KLIBCFileSetKeys(path.c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ("B=1\n", content());
}

TEST_F(KeyValueTest, SetKeysCreatesTheFileWhateverTheUmask)
{
    const mode_t mask = umask(0077);
    EXPECT_EQ(0, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "1"}}, nullptr, "%s=%s\n"));
    umask(mask);
    EXPECT_EQ("A=1\n", content());
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0644U, status.st_mode & 07777);
    EXPECT_EQ(-1, KLIBCFileSetKeys("/no/folder/file", Keys{{"A", "1"}}, nullptr, "%s=%s\n"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
}

TEST_F(KeyValueTest, OneHostileKeyRefusesThemAll)
{
    given("A=1\n");
    for (const auto &[key, value] :
         Pairs{{"", "v"}, {"B=C", "v"}, {"#B", "v"}, {"B\nC", "v"}, {"B", "v\nC=1"}, {"B", "\r"}}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "2"}, {key, value}}, nullptr, "%s=%s\n"));
        EXPECT_EQ(0x0D00U, KLIBCErrGet());
        EXPECT_EQ("A=1\n", content());
    }
    EXPECT_EQ(-1, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "2\""}}, nullptr, nullptr));
    EXPECT_EQ(-1, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "2"}}, Keys{{"B=C", ""}}, nullptr));
    EXPECT_EQ(-1, KLIBCFileSetKeys(path.c_str(), Keys{{"A", "2"}}, nullptr, "%s=%s%s\n"));
    EXPECT_EQ("A=1\n", content());
}

TEST_F(KeyValueTest, RemoveTakesEveryLineOfTheKey)
{
    given("A=1\nB=1\n#A=1\nA=2\nAA=1\nA=3");
    EXPECT_EQ(0, KLIBCFileRemoveKey(path.c_str(), "A"));
    EXPECT_EQ("B=1\n#A=1\nAA=1\n", content());
}

TEST_F(KeyValueTest, RemoveOfWhatIsAbsentDoesNotRewrite)
{
    given("A=1");
    struct stat before;
    ASSERT_EQ(0, stat(path.c_str(), &before));
    EXPECT_EQ(0, KLIBCFileRemoveKey(path.c_str(), "B"));
    struct stat after;
    ASSERT_EQ(0, stat(path.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ("A=1", content());
    EXPECT_EQ(0, KLIBCFileRemoveKey(ifcfg("eth1").c_str(), "A"));
    EXPECT_FALSE(support::exists(ifcfg("eth1")));
    EXPECT_EQ(0, KLIBCFileRemoveKey("/no/folder/file", "A"));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    for (const char *key : {"", "A=1", "#A", "A\n", static_cast<const char *>(nullptr)})
        EXPECT_EQ(-1, KLIBCFileRemoveKey(path.c_str(), key));
    EXPECT_EQ(-1, KLIBCFileRemoveKey(nullptr, "A"));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(KeyValueTest, TheSettingsFileHasItsOwnCalls)
{
    support::write_file("/etc/kavoinfo.conf", "unique=\"x\"\n");
    EXPECT_EQ(0, KLIBCINFOSetKeyValue("eth0_mtu", "9000"));
    EXPECT_EQ("unique=\"x\"\neth0_mtu=\"9000\"\n", support::read_file("/etc/kavoinfo.conf"));
    EXPECT_EQ(0, KLIBCINFORemoveKey("unique"));
    EXPECT_EQ("eth0_mtu=\"9000\"\n", support::read_file("/etc/kavoinfo.conf"));
    EXPECT_EQ(-1, KLIBCINFOSetKeyValue("eth0_mtu", "a\"b"));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    unlink("/etc/kavoinfo.conf");
    EXPECT_EQ(0, KLIBCINFORemoveKey("unique"));
    EXPECT_FALSE(support::exists("/etc/kavoinfo.conf"));
    EXPECT_EQ(0, KLIBCINFOSetKeyValue("a", ""));
    EXPECT_EQ("a=\"\"\n", support::read_file("/etc/kavoinfo.conf"));
}

TEST_F(KeyValueTest, RandomKeysAndValuesComeBackAsTheyWere)
{
    std::mt19937 random(11);
    const auto text = [&](size_t longest, const std::string &without) {
        std::string result;
        for (size_t n = random() % (longest + 1); n > 0; --n) {
            const char c = static_cast<char>(1 + random() % 255);
            if (without.find(c) == std::string::npos)
                result += c;
        }
        return result;
    };
    std::map<std::string, std::string> model;
    given("# head\nplain line\n");
    for (int i = 0; i < 400; ++i) {
        const std::string key = "k" + text(2, "=\n\r");
        const std::string value = text(40, "\n\r\"");
        if (random() % 4 == 0) {
            ASSERT_EQ(0, KLIBCFileRemoveKey(path.c_str(), key.c_str()));
            model.erase(key);
        } else {
            ASSERT_EQ(0, set(key.c_str(), value.c_str(), random() % 2 == 0 ? nullptr : "%s=%s\n"));
            model[key] = value;
        }
    }
    for (const auto &[key, value] : model)
        EXPECT_EQ(value, get(path, key));
    const auto lines = support::lines_of(content());
    EXPECT_EQ(model.size() + 2, lines.size()) << "one line a key and those that are none";
    EXPECT_EQ("# head", lines[0]);
    EXPECT_EQ("plain line", lines[1]);
}

TEST_F(KeyValueTest, SixteenWritersOfOneFileLoseNothing)
{
    given("# head\n");
    constexpr int TURNS = 15;
    std::deque<Child> writers;
    for (int p = 0; p < 16; ++p) {
        writers.emplace_back([&, p] {
            for (int i = 0; i < TURNS; ++i) {
                const std::string own = "P" + std::to_string(p);
                const std::string one_more = own + "_" + std::to_string(i);
                if (set(own.c_str(), std::to_string(i).c_str()) != 0)
                    return 1;
                if (KLIBCFileSetKeys(path.c_str(), Keys{{one_more, "x"}}, nullptr, "%s=%s\n") != 0)
                    return 2;
            }
            return 0;
        });
    }
    for (Child &writer : writers)
        EXPECT_EQ(0, writer.result());
    for (int p = 0; p < 16; ++p) {
        EXPECT_EQ(std::to_string(TURNS - 1), get(path, "P" + std::to_string(p)));
        for (int i = 0; i < TURNS; ++i)
            EXPECT_EQ("x", get(path, "P" + std::to_string(p) + "_" + std::to_string(i)));
    }
    EXPECT_EQ(1U + 16 * (TURNS + 1), support::lines_of(content()).size());
    EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, support::entries("/etc/sysconfig/network-scripts"));
}
