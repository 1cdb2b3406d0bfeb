#include "Platform/Linux/AutostartEntry.h"

#include "Contract/Eventually.h"
#include "Contract/RecordingApplication.h"
#include "Contract/TemporaryFolder.h"
#include "Platform/Linux/DesktopEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* fileName = "com.glimmerwick.Glimmerwick.desktop";
constexpr const char* starting = "[Desktop Entry]\nType=Application\nName=Glimmerwick\nExec=glimmerwick\n";

class AutostartEntryTests : public ::testing::Test {
protected:
    AutostartEntryTests() { useProgram(root / "bin" / "glimmerwick"); }

    void useProgram(const path& program)
    {
        writeFile(program, "#!/bin/sh\necho \"log\"\ntouch '" + started.string() + "'\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        surroundings.executable = program;
    }

    AutostartEntry entry() const { return AutostartEntry(surroundings); }
    bool isEnabled() const { return entry().isEnabled(); }
    bool succeeds(bool isEnabled) const { return entry().setEnabled(isEnabled).isSuccess(); }
    std::string errorOf(bool isEnabled) const
    {
        const auto changed = entry().setEnabled(isEnabled);
        return changed ? "" : changed.error();
    }
    bool isValid() const
    {
        return std::system(("desktop-file-validate '" + userFile.string() + "'").c_str()) == 0;
    }

    TemporaryFolder folder;
    path root = std::filesystem::canonical(folder.path());
    path started = root / "started";
    path userFile = root / "config" / "autostart" / fileName;
    path systemFile = root / "system" / "autostart" / fileName;
    path laterSystemFile = root / "later" / "autostart" / fileName;
    ProcessSurroundings surroundings{
        {{"HOME", root / "home"},
         {"XDG_CONFIG_HOME", root / "config"},
         {"XDG_CONFIG_DIRS", (root / "system").string() + ":relative::" + (root / "later").string()}},
        {},
        {},
        {}};
};

TEST_F(AutostartEntryTests, withoutAnyEntryItIsOffAndSwitchingItOffWritesNothing)
{
    EXPECT_FALSE(isEnabled());
    EXPECT_TRUE(succeeds(false));
    EXPECT_FALSE(std::filesystem::exists(userFile));
}

TEST_F(AutostartEntryTests, switchingOnWritesAnEntryAndOffRemovesIt)
{
    ASSERT_TRUE(succeeds(true));
    EXPECT_TRUE(isEnabled());
    EXPECT_TRUE(isValid());
    EXPECT_THAT(contentsOf(userFile), HasSubstr("\nTryExec=" + surroundings.executable.string() + "\n"));

    ASSERT_TRUE(succeeds(false));
    EXPECT_FALSE(isEnabled());
    EXPECT_FALSE(std::filesystem::exists(userFile));
}

TEST_F(AutostartEntryTests, theEntryStartsAProgramWhateverItsPathAndHidesItsLog)
{
    for (const char* name : {"glimmerwick", "two words", "q'uo\"te", "$HOME", "100% %f", "back\\slash\\n",
                             "`touch no`", ";&|<>*?#~(){}", "Ünïcode 😀"}) {
        SCOPED_TRACE(name);
        std::filesystem::remove(userFile);
        std::filesystem::remove(started);
        useProgram(root / name / "glimmer wick");
        ASSERT_TRUE(succeeds(true));
        EXPECT_TRUE(isEnabled());
        EXPECT_TRUE(isValid());

        const path output = root / "output";
        const std::string launch = "gio launch '" + userFile.string() + "' >'" + output.string() + "'";
        ASSERT_EQ(std::system(launch.c_str()), 0);

        EXPECT_TRUE(eventually([&] { return std::filesystem::exists(started); }));
        EXPECT_EQ(contentsOf(output), "");
    }
}

TEST_F(AutostartEntryTests, aProgramOutOfAnImageStartsAsTheImage)
{
    const path image = root / "Glimmerwick.AppImage";
    useProgram(image);
    useProgram(root / "mounted" / "usr" / "bin" / "glimmerwick");
    surroundings.environment["APPIMAGE"] = image;
    surroundings.environment["APPDIR"] = root / "mounted";

    ASSERT_TRUE(succeeds(true));

    EXPECT_THAT(contentsOf(userFile), HasSubstr("\nTryExec=" + image.string() + "\n"));
}

TEST_F(AutostartEntryTests, theSystemsEntryCountsAndTheFirstOfThemAlone)
{
    writeFile(laterSystemFile, starting);
    EXPECT_TRUE(isEnabled());

    writeFile(systemFile, std::string(starting) + "Hidden=true\n");
    EXPECT_FALSE(isEnabled());
}

TEST_F(AutostartEntryTests, theSystemsEntryIsSwitchedOffByTheUsersAndOnByRemovingThat)
{
    writeFile(systemFile, starting);

    ASSERT_TRUE(succeeds(false));
    EXPECT_FALSE(isEnabled());
    EXPECT_TRUE(isValid());
    EXPECT_THAT(contentsOf(userFile), HasSubstr("\nHidden=true\n"));

    ASSERT_TRUE(succeeds(true));
    EXPECT_TRUE(isEnabled());
    EXPECT_FALSE(std::filesystem::exists(userFile));
    EXPECT_EQ(contentsOf(systemFile), starting);
}

TEST_F(AutostartEntryTests, aSystemsEntryThatStartsNothingIsOverridden)
{
    writeFile(systemFile, std::string(starting) + "TryExec=/nowhere/glimmerwick\n");
    EXPECT_FALSE(isEnabled());

    ASSERT_TRUE(succeeds(true));

    EXPECT_TRUE(isEnabled());
    EXPECT_TRUE(std::filesystem::exists(userFile));
}

TEST_F(AutostartEntryTests, eachWayOfSwitchingAnEntryOffCounts)
{
    for (const char* line : {"Hidden=true", "X-GNOME-Autostart-enabled=false", "TryExec=/nowhere/glimmerwick",
                             "TryExec=no-such-program-of-this-name"}) {
        writeFile(userFile, std::string(starting) + line + "\n");
        writeFile(systemFile, starting);
        EXPECT_FALSE(isEnabled()) << line;

        ASSERT_TRUE(succeeds(true)) << line;
        EXPECT_TRUE(isEnabled()) << line;
    }
    for (const char* line : {"Hidden=false", "X-GNOME-Autostart-enabled=true", "TryExec=sh",
                             "TryExec=/bin/sh", "Hidden=perhaps"}) {
        writeFile(userFile, std::string(starting) + line + "\n");
        EXPECT_TRUE(isEnabled()) << line;
    }
}

TEST_F(AutostartEntryTests, whatTheUserHasWrittenStaysWhenItIsSwitched)
{
    const std::string own =
        "# mine\n[Desktop Entry]\nType=Application\nName=Glimmerwick\nName[de]=Glimmer\n"
        "Exec=glimmerwick --target-app x\nX-Mine=1;2;\n\n[Desktop Action a]\nName=A\nExec=true\n";
    writeFile(userFile, own);

    ASSERT_TRUE(succeeds(false));
    EXPECT_FALSE(isEnabled());
    for (const char* part : {"# mine\n", "Name[de]=Glimmer\n", "Exec=glimmerwick --target-app x\n",
                             "X-Mine=1;2;\n", "[Desktop Action a]\nName=A\nExec=true\n"}) {
        EXPECT_THAT(contentsOf(userFile), HasSubstr(part));
    }

    ASSERT_TRUE(succeeds(true));
    EXPECT_TRUE(isEnabled());
    EXPECT_EQ(contentsOf(userFile), own);
}

TEST_F(AutostartEntryTests, aChangeToAnEntryOfOursMakesItTheUsers)
{
    ASSERT_TRUE(succeeds(true));
    const std::string changed = contentsOf(userFile) + "X-Mine=1\n";
    writeFile(userFile, changed);

    ASSERT_TRUE(succeeds(false));
    EXPECT_THAT(contentsOf(userFile), HasSubstr("X-Mine=1\n"));
    ASSERT_TRUE(succeeds(true));
    EXPECT_EQ(contentsOf(userFile), changed);
}

TEST_F(AutostartEntryTests, anEntryOfOursForAProgramThatHasMovedIsReplaced)
{
    ASSERT_TRUE(succeeds(true));
    std::filesystem::remove(surroundings.executable);
    useProgram(root / "moved" / "glimmerwick");
    EXPECT_FALSE(isEnabled());

    ASSERT_TRUE(succeeds(true));

    EXPECT_TRUE(isEnabled());
    EXPECT_THAT(contentsOf(userFile), HasSubstr("TryExec=" + surroundings.executable.string() + "\n"));
    ASSERT_TRUE(succeeds(false));
    EXPECT_FALSE(std::filesystem::exists(userFile));
}

TEST_F(AutostartEntryTests, theFilesPermissionsStay)
{
    writeFile(userFile, std::string(starting) + "X-Mine=1\n");
    std::filesystem::permissions(userFile,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    ASSERT_TRUE(succeeds(false));

    EXPECT_EQ(std::filesystem::status(userFile).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(AutostartEntryTests, aLinkIsLeftAlone)
{
    writeFile(root / "dotfiles" / fileName, starting);
    std::filesystem::create_directories(userFile.parent_path());
    std::filesystem::create_symlink(root / "dotfiles" / fileName, userFile);
    EXPECT_TRUE(isEnabled());

    EXPECT_EQ(errorOf(false), userFile.string() + " is a symbolic link, which stays as it is");

    EXPECT_TRUE(std::filesystem::is_symlink(userFile));
    EXPECT_EQ(contentsOf(root / "dotfiles" / fileName), starting);
}

TEST_F(AutostartEntryTests, whatIsNoDesktopFileIsOffAndLeftAlone)
{
    for (const char* text : {"", "nonsense\n", "[Another Group]\nExec=true\n", "Exec=true\n"}) {
        writeFile(userFile, text);
        EXPECT_FALSE(isEnabled()) << text;

        EXPECT_THAT(errorOf(true),
                    HasSubstr(userFile.string() + " is no desktop file, and stays as it is: "));
        EXPECT_THAT(errorOf(true), Not(HasSubstr("\n")));
        EXPECT_EQ(contentsOf(userFile), text);
    }
    std::filesystem::remove(userFile);
    std::filesystem::create_directory(userFile);
    EXPECT_FALSE(isEnabled());
    EXPECT_THAT(errorOf(true), HasSubstr(userFile.string()));
}

TEST_F(AutostartEntryTests, linesOfAnUnusualFormAreChangedLikeOthers)
{
    writeFile(userFile,
              "\n  [Desktop Entry] \r\nType=Application\r\n Hidden = true\nExec = glimmerwick\nHidden=true");
    EXPECT_FALSE(isEnabled());

    ASSERT_TRUE(succeeds(true));
    EXPECT_TRUE(isEnabled());
    EXPECT_EQ(contentsOf(userFile), "\n  [Desktop Entry] \r\nType=Application\r\nExec = glimmerwick\n");

    ASSERT_TRUE(succeeds(false));
    EXPECT_FALSE(isEnabled());
}

TEST_F(AutostartEntryTests, anEntryThatSaysThingsTwiceIsLeftAlone)
{
    const std::string text = std::string(starting) + "[Other]\nA=B\n[Desktop Entry]\nHidden=true\n";
    writeFile(userFile, text);

    EXPECT_EQ(errorOf(true), userFile.string() + " says things twice, and stays as it is");

    EXPECT_EQ(contentsOf(userFile), text);
}

TEST_F(AutostartEntryTests, aFolderThatCannotBeWrittenInIsAnErrorOfOneLine)
{
    writeFile(userFile.parent_path(), "no folder");

    const std::string error = errorOf(true);

    EXPECT_THAT(error, HasSubstr(userFile.parent_path().string()));
    EXPECT_THAT(error, Not(HasSubstr("\n")));
    EXPECT_FALSE(isEnabled());
    EXPECT_EQ(contentsOf(userFile.parent_path()), "no folder");
}

TEST_F(AutostartEntryTests, aProgramThatIsGoneOrUnknownIsAnError)
{
    std::filesystem::remove(surroundings.executable);
    EXPECT_THAT(errorOf(true), HasSubstr(surroundings.executable.string()));
    EXPECT_FALSE(std::filesystem::exists(userFile));

    surroundings.executable.clear();
    EXPECT_NE(errorOf(true), "");
    EXPECT_FALSE(std::filesystem::exists(userFile));
}

TEST_F(AutostartEntryTests, nothingElseIsLeftInTheFolder)
{
    ASSERT_TRUE(succeeds(true));

    const std::filesystem::directory_iterator files(userFile.parent_path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

} // namespace
} // namespace glimmerwick::contract
