#include "Platform/Wayland/WaylandKeymap.h"

#include "Platform/Linux/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client-protocol.h>
#include <xkbcommon/xkbcommon.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

namespace glimmerwick::contract {
namespace {

constexpr std::uint32_t textFormat = WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1;

/// The US layout as compositors send it, with the zero at its end.
std::string layoutText()
{
    const auto keymap = WaylandKeymap::us();
    const std::unique_ptr<char, void (*)(void*)> text(
        xkb_keymap_get_as_string(keymap->get(), XKB_KEYMAP_FORMAT_TEXT_V1), std::free);
    return std::string(text.get()) + '\0';
}

class WaylandKeymapTest : public ::testing::Test {
protected:
    WaylandKeymapTest() { EXPECT_TRUE(writeAll(file, text)); }

    const std::string text = layoutText();
    const std::uint32_t size = static_cast<std::uint32_t>(text.size());
    const FileDescriptor file{memfd_create("keymap", MFD_CLOEXEC)};
};

TEST_F(WaylandKeymapTest, aLayoutIsReadAsItIsAnnounced)
{
    const auto keymap = WaylandKeymap::read(textFormat, file.get(), size);

    ASSERT_NE(keymap, nullptr);
    EXPECT_EQ(keymap->keyTyping(XKB_KEY_v), WaylandKeymap::us()->keyTyping(XKB_KEY_v));
}

TEST_F(WaylandKeymapTest, nothingIsReadBehindTheEndOfTheFile)
{
    constexpr std::uint32_t page = 4096;

    EXPECT_EQ(WaylandKeymap::read(textFormat, file.get(), size + 1), nullptr);
    EXPECT_EQ(WaylandKeymap::read(textFormat, file.get(), size + 16 * page), nullptr);
    ASSERT_EQ(ftruncate(file.get(), 0), 0);
    EXPECT_EQ(WaylandKeymap::read(textFormat, file.get(), size), nullptr);
}

TEST_F(WaylandKeymapTest, whatIsNoFileOrFarTooLongIsNotRead)
{
    std::array<int, 2> pipeEnds{};
    ASSERT_EQ(pipe2(pipeEnds.data(), O_CLOEXEC), 0);
    const FileDescriptor reader(pipeEnds[0]);
    const FileDescriptor writer(pipeEnds[1]);
    EXPECT_EQ(WaylandKeymap::read(textFormat, reader.get(), size), nullptr);

    // A file without blocks can be as long as it likes.
    constexpr auto endless = std::numeric_limits<std::uint32_t>::max();
    ASSERT_EQ(ftruncate(file.get(), endless), 0);
    EXPECT_EQ(WaylandKeymap::read(textFormat, file.get(), endless), nullptr);
}

TEST_F(WaylandKeymapTest, noOtherFormatIsRead)
{
    EXPECT_EQ(WaylandKeymap::read(WL_KEYBOARD_KEYMAP_FORMAT_NO_KEYMAP, file.get(), size), nullptr);
    EXPECT_EQ(WaylandKeymap::read(textFormat, file.get(), 0), nullptr);
}

} // namespace
} // namespace glimmerwick::contract
