#include "Platform/Qt/QtUserDefaults.h"

#include "Platform/Qt/IniText.h"

#include "Contract/EventLoop.h"
#include "Contract/TemporaryFolder.h"
#include "Fakes/FakeServices.h"

#include <QMap>
#include <QSettings>
#include <QString>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

struct FakeSubject {
    fakes::FakeUserDefaults defaults;
};

struct QtSubject {
    TemporaryFolder folder;
    QtUserDefaults defaults{folder.path() / "Glimmerwick.ini"};
};

template <typename Subject> class UserDefaultsContract : public ::testing::Test {
protected:
    Subject subject;
    UserDefaults& defaults = subject.defaults;
};

using Subjects = ::testing::Types<FakeSubject, QtSubject>;
TYPED_TEST_SUITE(UserDefaultsContract, Subjects);

TYPED_TEST(UserDefaultsContract, anAbsentKeyReadsAsNothing)
{
    EXPECT_EQ(this->defaults.string("key"), std::nullopt);
    EXPECT_EQ(this->defaults.stringArray("key"), std::nullopt);
    EXPECT_EQ(this->defaults.boolean("key"), std::nullopt);
}

TYPED_TEST(UserDefaultsContract, valuesReadAsTheyWereSet)
{
    this->defaults.setString("Glimmerwick.string", "1f3fd");
    this->defaults.setStringArray("list", {"1f600", "", "1f44d-1f3fb"});
    this->defaults.setBoolean("boolean", false);

    EXPECT_EQ(this->defaults.string("Glimmerwick.string"), "1f3fd");
    EXPECT_EQ(this->defaults.stringArray("list"), (Strings{"1f600", "", "1f44d-1f3fb"}));
    EXPECT_EQ(this->defaults.boolean("boolean"), false);
}

TYPED_TEST(UserDefaultsContract, emptyValuesAreValues)
{
    this->defaults.setString("string", "");
    this->defaults.setStringArray("list", {});

    EXPECT_EQ(this->defaults.string("string"), "");
    EXPECT_EQ(this->defaults.stringArray("list"), Strings{});
}

TYPED_TEST(UserDefaultsContract, aValueOfAnotherTypeReadsAsNothing)
{
    this->defaults.setString("string", "true");
    this->defaults.setStringArray("list", {"one"});
    this->defaults.setBoolean("boolean", true);

    EXPECT_EQ(this->defaults.boolean("string"), std::nullopt);
    EXPECT_EQ(this->defaults.stringArray("string"), std::nullopt);
    EXPECT_EQ(this->defaults.string("list"), std::nullopt);
    EXPECT_EQ(this->defaults.boolean("list"), std::nullopt);
    EXPECT_EQ(this->defaults.string("boolean"), std::nullopt);
    EXPECT_EQ(this->defaults.stringArray("boolean"), std::nullopt);
}

TYPED_TEST(UserDefaultsContract, aLaterValueReplacesAnEarlierOneOfAnyType)
{
    this->defaults.setString("key", "text");

    this->defaults.setBoolean("key", true);

    EXPECT_EQ(this->defaults.string("key"), std::nullopt);
    EXPECT_EQ(this->defaults.boolean("key"), true);
}

void writeFile(const path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

std::string readFile(const path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class QtUserDefaultsTests : public ::testing::Test {
protected:
    /// Makes the settings anew, as the next run of the program would; returns what it says on standard error.
    std::string restart()
    {
        ::testing::internal::CaptureStderr();
        defaults.reset();
        defaults = std::make_unique<QtUserDefaults>(file);
        return ::testing::internal::GetCapturedStderr();
    }

    /// The one line that names the damaged file and its new place.
    void expectKeptAside(const std::string& report, const std::string& bytes)
    {
        EXPECT_THAT(report, HasSubstr("the settings file " + file.string() + " is damaged"));
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 1);
        EXPECT_EQ(readFile(file.string() + ".corrupt"), bytes);
    }

    TemporaryFolder folder;
    path file = folder.path() / "Glimmerwick" / "Glimmerwick.ini";
    std::unique_ptr<QtUserDefaults> defaults = std::make_unique<QtUserDefaults>(file);
};

TEST_F(QtUserDefaultsTests, nothingIsCreatedBeforeSomethingIsSet)
{
    restart();

    EXPECT_FALSE(std::filesystem::exists(file.parent_path()));
}

TEST_F(QtUserDefaultsTests, valuesAndTheirTypesSurviveARestart)
{
    const std::string awkward("a \"quoted\", \\ [text]; \n\t=% @ \u00e9 \U0001F600 \0 end", 42);
    defaults->setString("Glimmerwick.preferredSkinTone", "1f3fd");
    defaults->setString("awkward", awkward);
    defaults->setString("looksLikeBoolean", "true");
    defaults->setStringArray("recentEmojis", {"1f600", awkward});
    defaults->setStringArray("single", {"1f600"});
    defaults->setBoolean("hasShownInstallLocationAlert", true);

    EXPECT_EQ(restart(), "");

    EXPECT_EQ(defaults->string("Glimmerwick.preferredSkinTone"), "1f3fd");
    EXPECT_EQ(defaults->string("awkward"), awkward);
    EXPECT_EQ(defaults->string("looksLikeBoolean"), "true");
    EXPECT_EQ(defaults->stringArray("recentEmojis"), (Strings{"1f600", awkward}));
    EXPECT_EQ(defaults->stringArray("single"), Strings{"1f600"});
    EXPECT_EQ(defaults->boolean("hasShownInstallLocationAlert"), true);
}

TEST_F(QtUserDefaultsTests, synchronizeWritesAtOnce)
{
    defaults->setString("key", "value");

    defaults->synchronize();

    EXPECT_THAT(readFile(file), HasSubstr("value"));
}

TEST_F(QtUserDefaultsTests, changesAreWrittenWithoutBeingAskedFor)
{
    defaults->setString("key", "value");

    EXPECT_TRUE(handleEventsUntil([&] { return readFile(file).find("value") != std::string::npos; }));
}

TEST_F(QtUserDefaultsTests, nobodyElseReadsThem)
{
    using std::filesystem::perms;
    const auto permissions = [](const path& of) { return std::filesystem::status(of).permissions(); };
    const mode_t usual = ::umask(0);
    defaults->setString("key", "value");
    restart();
    EXPECT_EQ(permissions(file), perms::owner_read | perms::owner_write);

    // As earlier versions left it.
    std::filesystem::permissions(file, perms::all & ~perms::owner_exec);
    restart();
    EXPECT_EQ(permissions(file), perms::owner_read | perms::owner_write);
    writeFile(file, "of no sense\n");
    std::filesystem::permissions(file, perms::all & ~perms::owner_exec);
    restart();
    EXPECT_EQ(permissions(file.string() + ".corrupt"), perms::owner_read | perms::owner_write);
    ::umask(usual);
}

TEST_F(QtUserDefaultsTests, inPlaceOfALinkToNothingNobodyElseReadsThemEither)
{
    using std::filesystem::perms;
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::create_symlink("nothing", file);

    defaults->setString("key", "value");
    defaults->synchronize();

    EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
}

TEST_F(QtUserDefaultsTests, aDamagedFileBehindALinkIsKeptAsideWhereItIs)
{
    const path elsewhere = folder.path() / "dotfiles.ini";
    writeFile(elsewhere, "of no sense\n");
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::create_symlink(elsewhere, file);

    restart();
    defaults->setString("key", "value");
    restart();

    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_TRUE(std::filesystem::exists(elsewhere.string() + ".corrupt"));
    EXPECT_EQ(defaults->string("key"), "value");
}

TEST_F(QtUserDefaultsTests, aFileThatCannotBeReadForTheMomentIsNotWrittenOver)
{
    defaults->setString("first", "1f3fd");
    restart();
    writeFile(file, "[General]\nsecond=\"\\\"theirs\\\"\"\n");
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    rlimit none = usual;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
    defaults->setString("third", "1f3fe");
    defaults->synchronize();
    ::setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_FALSE(std::filesystem::exists(file.string() + ".corrupt"));

    restart();

    EXPECT_EQ(defaults->string("second"), "theirs");
    EXPECT_EQ(defaults->string("third"), "1f3fe");
}

TEST_F(QtUserDefaultsTests, aLineThatIsNoSettingCostsNoOtherSetting)
{
    defaults->setString("first", "1f3fd");
    defaults->setStringArray("second", {"1f600", "1f601"});
    defaults->synchronize();
    const std::string damaged = readFile(file) + "what is this\n";
    defaults.reset();
    writeFile(file, damaged);

    expectKeptAside(restart(), damaged);

    EXPECT_EQ(defaults->string("first"), "1f3fd");
    EXPECT_EQ(defaults->stringArray("second"), (Strings{"1f600", "1f601"}));
    EXPECT_EQ(restart(), "");
    EXPECT_EQ(defaults->string("first"), "1f3fd");
}

TEST_F(QtUserDefaultsTests, aTruncatedValueCostsNoOtherSetting)
{
    const std::string damaged = "[General]\nfirst=\"\\\"1f3fd\\\"\"\nsecond=\"[\\\"1f600\\\",\\\"1f6";
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, damaged);

    expectKeptAside(restart(), damaged);

    EXPECT_EQ(defaults->string("first"), "1f3fd");
    EXPECT_EQ(defaults->stringArray("second"), std::nullopt);
}

TEST_F(QtUserDefaultsTests, aFileOfNoiseIsKeptAsideAndSettingsWorkAgain)
{
    std::string noise;
    for (int index = 0; index < 3000; ++index) {
        noise += static_cast<char>(index * 7919 % 256);
    }
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, noise);

    expectKeptAside(restart(), noise);

    defaults->setString("key", "value");
    EXPECT_EQ(restart(), "");
    EXPECT_EQ(defaults->string("key"), "value");
}

TEST_F(QtUserDefaultsTests, aFileOfZeroesIsKeptAside)
{
    const std::string zeroes(4096, '\0');
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, zeroes);

    expectKeptAside(restart(), zeroes);
}

TEST_F(QtUserDefaultsTests, aControlCharacterInAValueIsDamageOnlyOnce)
{
    const std::string damaged("[General]\nfirst=\"\\\"a\0b\\\"\"\nsecond=\"\\\"\\x1 \\\"\"\n", 44);
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, damaged);

    expectKeptAside(restart(), damaged);

    EXPECT_EQ(defaults->string("first"), std::string("a\0b", 3));
    EXPECT_EQ(defaults->string("second"), "\x01 ");
    EXPECT_EQ(restart(), "");
    EXPECT_EQ(defaults->string("first"), std::string("a\0b", 3));
    EXPECT_EQ(defaults->string("second"), "\x01 ");
}

TEST_F(QtUserDefaultsTests, anEmptyFileIsNotDamaged)
{
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, "");

    EXPECT_EQ(restart(), "");
}

TEST_F(QtUserDefaultsTests, earlierDamagedFilesAreKeptToo)
{
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, "first\n");
    restart();
    writeFile(file, "second\n");

    restart();

    EXPECT_EQ(readFile(file.string() + ".corrupt"), "first\n");
    EXPECT_EQ(readFile(file.string() + ".corrupt-2"), "second\n");
}

TEST_F(QtUserDefaultsTests, aFolderOrFifoInPlaceOfTheFileIsMovedOutOfTheWay)
{
    std::filesystem::create_directories(file);
    EXPECT_THAT(restart(), HasSubstr("is damaged"));
    ASSERT_FALSE(std::filesystem::exists(file));
    defaults.reset();
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);

    EXPECT_THAT(restart(), HasSubstr("is damaged"));

    defaults->setBoolean("key", true);
    EXPECT_EQ(restart(), "");
    EXPECT_EQ(defaults->boolean("key"), true);
}

TEST_F(QtUserDefaultsTests, aPlaceThatCannotBeWrittenIsReportedOncePerAttemptAndKeepsTheValuesInUse)
{
    defaults.reset();
    writeFile(file.parent_path(), "a file where the folder should be");
    defaults = std::make_unique<QtUserDefaults>(file);
    defaults->setString("key", "value");

    ::testing::internal::CaptureStderr();
    defaults->synchronize();
    const std::string report = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(report,
              "glimmerwick: the settings cannot be stored in " + file.string() + ": Not a directory\n");
    EXPECT_EQ(defaults->string("key"), "value");
    std::filesystem::remove(file.parent_path());
    EXPECT_EQ(restart(), "");
    EXPECT_EQ(defaults->string("key"), "value");
}

TEST_F(QtUserDefaultsTests, aFailedSaveThatNobodyAskedForIsReported)
{
    defaults.reset();
    writeFile(file.parent_path(), "a file where the folder should be");
    defaults = std::make_unique<QtUserDefaults>(file);

    ::testing::internal::CaptureStderr();
    defaults->setString("key", "value");
    defaults->setString("other", "value");
    std::string report;
    handleEventsUntil([&report] {
        report += ::testing::internal::GetCapturedStderr();
        ::testing::internal::CaptureStderr();
        return !report.empty();
    });
    report += ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(report,
              "glimmerwick: the settings cannot be stored in " + file.string() + ": Not a directory\n");
    std::filesystem::remove(file.parent_path());
}

TEST_F(QtUserDefaultsTests, whatOthersWriteMeanwhileIsKept)
{
    defaults->setString("ours", "first");
    defaults->synchronize();
    writeFile(file, "[General]\nours=\"\\\"somebody else's\\\"\"\ntheirs=true\n");

    defaults->setString("ours", "second");
    EXPECT_EQ(restart(), "");

    EXPECT_EQ(defaults->string("ours"), "second");
    EXPECT_EQ(defaults->boolean("theirs"), true);
}

TEST_F(QtUserDefaultsTests, damageThatComesMeanwhileCostsNothing)
{
    defaults->setString("first", "one");
    defaults->synchronize();
    writeFile(file, "what is this\n");

    defaults->setString("second", "two");
    expectKeptAside(restart(), "what is this\n");

    EXPECT_EQ(defaults->string("first"), "one");
    EXPECT_EQ(defaults->string("second"), "two");
}

TEST_F(QtUserDefaultsTests, aFileBehindALinkIsWrittenThere)
{
    const path elsewhere = folder.path() / "dotfiles.ini";
    writeFile(elsewhere, "");
    std::filesystem::create_directories(file.parent_path());
    std::filesystem::create_symlink(elsewhere, file);

    defaults->setBoolean("key", true);
    EXPECT_EQ(restart(), "");

    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(readFile(elsewhere), "[General]\nkey=true\n");
}

TEST_F(QtUserDefaultsTests, theFileIsOneThatTheToolkitReads)
{
    const QString odd = QString::fromUtf8("\"quoted\\\" a=b; c, \t\n [x] %41 \\x41 \u00e9\U0001F600 ");
    const QMap<QString, QString> values = {{"plain", "true"},
                                           {"Glimmerwick.tone", odd},
                                           {"with space", "x"},
                                           {QString::fromUtf8("\u00fc\u6f22"), "y"},
                                           {"section/key", "in a section"},
                                           {"General/key", "in the section of that name"},
                                           {"general/key", "in one in small letters"},
                                           {"GENERAL/key", "in one in capitals"},
                                           {"empty", ""}};
    std::filesystem::create_directories(file.parent_path());
    writeFile(file, iniText(values).toStdString());

    const QSettings settings(QString::fromStdString(file.string()), QSettings::IniFormat);

    EXPECT_EQ(settings.allKeys().size(), values.size());
    for (auto value = values.begin(); value != values.end(); ++value) {
        EXPECT_EQ(settings.value(value.key()).toString(), value.value()) << value.key().toStdString();
    }
    EXPECT_EQ(settings.status(), QSettings::NoError);
}

} // namespace
} // namespace glimmerwick::contract
