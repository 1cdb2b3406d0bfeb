#include "Platform/Linux/DesktopFiles.h"
#include "Platform/Linux/PasteChords.h"

#include "Contract/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>

namespace glimmerwick::contract {
namespace {

using Keys = PasteChord::Keys;
using Readiness = PasteChord::Readiness;

PasteChords chords(const std::string& lines)
{
    PasteChords result;
    std::istringstream stream(lines);
    result.load(stream, "test");
    return result;
}

TEST(PasteChordsTests, anApplicationThatIsNotListedPastesWithControlV)
{
    EXPECT_EQ(chords("").find("Mousepad"), (PasteChord{Keys::controlV, Readiness::atOnce}));
    EXPECT_EQ(PasteChords().find(""), PasteChord());
}

TEST(PasteChordsTests, whatIsNoRegularFileIsNotWaitedFor)
{
    const TemporaryFolder folder;
    const auto fifo = folder.path() / "paste-chords.txt";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto file = folder.path() / "file";
    std::ofstream(file) << "xterm shift+insert\n";

    const PasteChords chords({fifo, "/dev/zero", folder.path(), folder.path() / "missing", file});

    EXPECT_EQ(chords.find("xterm").keys, Keys::shiftInsert);
}

TEST(PasteChordsTests, readsClassKeysAndReadinessInAnyCase)
{
    const auto read =
        chords("# comment\n\n  Gnome-Terminal  ctrl+SHIFT+v Settle # slow\nXTerm Shift+Insert\r\n"
               "Tilix CTRL+SHIFT+INSERT\n");

    EXPECT_EQ(read.find("gnome-terminal"), (PasteChord{Keys::controlShiftV, Readiness::afterSettling}));
    EXPECT_EQ(read.find("GNOME-TERMINAL"), (PasteChord{Keys::controlShiftV, Readiness::afterSettling}));
    EXPECT_EQ(read.find("xterm"), (PasteChord{Keys::shiftInsert, Readiness::atOnce}));
    EXPECT_EQ(read.find("tilix"), (PasteChord{Keys::controlShiftInsert, Readiness::atOnce}));
}

TEST(PasteChordsTests, skipsLinesThatMakeNoSense)
{
    const auto read =
        chords("one\ntwo Ctrl+X\nthree Ctrl+V soon\nfour Ctrl+V settle now\nfive Ctrl+Shift+V\n");

    for (const char* name : {"one", "two", "three", "four"}) {
        EXPECT_EQ(read.find(name), PasteChord()) << name;
    }
    EXPECT_EQ(read.find("five").keys, Keys::controlShiftV);
}

TEST(PasteChordsTests, aClassMayHaveSeveralWords)
{
    const auto read = chords("Wave Terminal Ctrl+Shift+V settle\nTor  Browser\tCtrl+V\n");

    EXPECT_EQ(read.find("Wave Terminal"), (PasteChord{Keys::controlShiftV, Readiness::afterSettling}));
    EXPECT_EQ(read.find("Wave"), PasteChord());
}

TEST(PasteChordsTests, tellsWhichLineMakesNoSense)
{
    ::testing::internal::CaptureStderr();
    chords("one Ctrl+V\n\ntwo Ctrl+X\nCtrl+V\nthree Ctrl+V Ctrl+V\nsettle\n");

    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "glimmerwick: test:3: not a paste chord\n"
              "glimmerwick: test:4: not a paste chord\n"
              "glimmerwick: test:5: not a paste chord\n"
              "glimmerwick: test:6: not a paste chord\n");
}

TEST(PasteChordsTests, aLaterFileWins)
{
    const TemporaryFolder folder;
    std::ofstream(folder.path() / "shipped") << "XTerm Shift+Insert\nkonsole Ctrl+Shift+V\n";
    std::ofstream(folder.path() / "own") << "xterm Ctrl+Shift+V\n";
    PasteChords read;

    read.load(folder.path() / "shipped");
    read.load(folder.path() / "absent");
    read.load(folder.path() / "own");

    EXPECT_EQ(read.find("XTerm").keys, Keys::controlShiftV);
    EXPECT_EQ(read.find("konsole").keys, Keys::controlShiftV);
}

TEST(PasteChordsTests, theShippedFileNamesTheKnownTerminals)
{
    PasteChords shipped;
    shipped.load(std::filesystem::path(GLIMMERWICK_SOURCE_DIR) / "Resources" / "paste-chords.txt");

    EXPECT_EQ(shipped.find("XTerm"), (PasteChord{Keys::shiftInsert, Readiness::atOnce}));
    EXPECT_EQ(shipped.find("Gnome-terminal"), (PasteChord{Keys::controlShiftInsert, Readiness::atOnce}));
    EXPECT_EQ(shipped.find("konsole"), (PasteChord{Keys::controlShiftV, Readiness::atOnce}));
    EXPECT_EQ(shipped.find("Emacs"), (PasteChord{Keys::shiftInsert, Readiness::atOnce}));
}

class DesktopFilesTest : public ::testing::Test {
protected:
    void write(const std::string& path, const std::string& text)
    {
        const auto file = folder.path() / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }

    DesktopFiles read() const { return DesktopFiles({folder.path() / "user", folder.path() / "system"}); }

    const TemporaryFolder folder;
};

TEST_F(DesktopFilesTest, aWindowClassThatAFileDeclaresWins)
{
    write("system/org.example.Editor.desktop",
          "[Desktop Entry]\nName = Editor \nStartupWMClass=example-editor\n[Desktop Action New]\nName=New\n");
    write("system/example-editor.desktop", "[Desktop Entry]\nName=Another\n");

    const auto files = read();
    const auto* found = files.findByWindowClass("example-editor", "");

    ASSERT_TRUE(found);
    EXPECT_EQ(found->identifier, "org.example.Editor");
    EXPECT_EQ(found->name, "Editor");
}

TEST_F(DesktopFilesTest, aWindowClassIsElseLookedForAmongTheIdentifiers)
{
    write("system/org.xfce.mousepad.desktop", "[Desktop Entry]\nName=Mousepad\n");
    write("system/kde/konsole.desktop", "[Desktop Entry]\nName=Konsole\n");

    const auto files = read();

    ASSERT_TRUE(files.findByWindowClass("Mousepad", "mousepad"));
    EXPECT_EQ(files.findByWindowClass("Mousepad", "mousepad")->identifier, "org.xfce.mousepad");
    EXPECT_EQ(files.findByWindowClass("Kde-Konsole", "")->identifier, "kde-konsole");
    EXPECT_EQ(files.findByWindowClass("Unheard", "of"), nullptr);
    EXPECT_EQ(files.findByWindowClass("", ""), nullptr);
}

TEST_F(DesktopFilesTest, theUsersOwnFileHidesTheSystems)
{
    write("user/editor.desktop", "[Desktop Entry]\nName=Mine\n");
    write("system/editor.desktop", "[Desktop Entry]\nName=Theirs\nStartupWMClass=Editor\n");

    const auto files = read();

    ASSERT_TRUE(files.find("editor"));
    EXPECT_EQ(files.find("editor")->name, "Mine");
    EXPECT_TRUE(files.find("editor")->startupWindowClass.empty());
}

TEST_F(DesktopFilesTest, filesThatAreNoDesktopFilesDoNoHarm)
{
    write("system/binary.desktop", std::string("\0\xff[Desktop Entry\nName", 20));
    write("system/notes.txt", "[Desktop Entry]\nName=Notes\n");
    write("system/folder.desktop/inner.desktop", "[Desktop Entry]\nName=Inner\n");
    write("system/keys.desktop", "Name=Outside\n[Desktop Entry]\nNamed=No\nName[de]=Deutsch\nName\n");
    std::filesystem::create_symlink(folder.path() / "system", folder.path() / "system" / "loop");

    const auto files = read();

    EXPECT_EQ(files.find("notes"), nullptr);
    ASSERT_TRUE(files.find("keys"));
    EXPECT_EQ(files.find("keys")->name, "");
    EXPECT_TRUE(files.find("folder.desktop-inner"));
}

} // namespace
} // namespace glimmerwick::contract
