#include "Contract/TemporaryFolder.h"
#include "Fakes/FakePictureStore.h"
#include "Fakes/FakeTime.h"
#include "Platform/Linux/PictureFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick::contract {
namespace {

using Pixels = std::vector<std::byte>;

struct FakePictures {
    fakes::FakePictureStore store;

    void settle() { store.keepWritten(); }
};

struct RealPictures {
    TemporaryFolder folder;
    fakes::FakeTime time;
    PictureFiles store{folder.path() / "Drawn", time,
                       [](std::string_view problem) { ADD_FAILURE() << problem; }};

    void settle() { time.runUntilIdle(); }
};

template <typename Subject> class PictureStoreContract : public ::testing::Test {
protected:
    Pixels pixels(int value) const { return Pixels(kind.byteCount, static_cast<std::byte>(value)); }

    void keep(const PictureKind& ofKind, std::string_view text, Pixels picture)
    {
        store.write(ofKind, text, std::move(picture));
        subject.settle();
    }

    /// Empty when there is none.
    Pixels read(const PictureKind& ofKind, std::string_view text)
    {
        Pixels picture(ofKind.byteCount);
        return store.read(ofKind, text, picture) ? picture : Pixels();
    }

    Subject subject;
    PictureStore& store = subject.store;
    const PictureKind kind{"font and toolkit", "36/40@1.250", 10'000};
};

using Subjects = ::testing::Types<FakePictures, RealPictures>;
TYPED_TEST_SUITE(PictureStoreContract, Subjects);

TYPED_TEST(PictureStoreContract, anEmptyStoreHasNoPicture)
{
    EXPECT_FALSE(this->store.contains(this->kind, "😀"));
    EXPECT_EQ(this->read(this->kind, "😀"), Pixels());
}

TYPED_TEST(PictureStoreContract, whatIsWrittenIsReadLater)
{
    this->store.write(this->kind, "😀", this->pixels(1));
    EXPECT_FALSE(this->store.contains(this->kind, "😀"));

    this->subject.settle();

    EXPECT_TRUE(this->store.contains(this->kind, "😀"));
    EXPECT_EQ(this->read(this->kind, "😀"), this->pixels(1));
}

TYPED_TEST(PictureStoreContract, everyTextHasItsOwnPicture)
{
    const std::string withNul("a\0b", 3);
    this->store.write(this->kind, "a", this->pixels(1));
    this->store.write(this->kind, withNul, this->pixels(2));
    this->store.write(this->kind, "👩🏽‍🚀", this->pixels(3));
    this->subject.settle();

    EXPECT_EQ(this->read(this->kind, "a"), this->pixels(1));
    EXPECT_EQ(this->read(this->kind, withNul), this->pixels(2));
    EXPECT_EQ(this->read(this->kind, "👩🏽‍🚀"), this->pixels(3));
    EXPECT_FALSE(this->store.contains(this->kind, "👩"));
}

TYPED_TEST(PictureStoreContract, aPictureReplacesAnOlderOne)
{
    this->keep(this->kind, "😀", this->pixels(1));

    this->keep(this->kind, "😀", this->pixels(2));

    EXPECT_EQ(this->read(this->kind, "😀"), this->pixels(2));
}

TYPED_TEST(PictureStoreContract, theLastOfSeveralThatWaitStays)
{
    this->store.write(this->kind, "😀", this->pixels(1));
    this->store.write(this->kind, "😀", this->pixels(2));
    this->subject.settle();

    EXPECT_EQ(this->read(this->kind, "😀"), this->pixels(2));
}

TYPED_TEST(PictureStoreContract, kindsOfDifferentDetailsAreKeptSideBySide)
{
    PictureKind larger = this->kind;
    larger.detail = "36/40@2.000";
    larger.byteCount = 25'600;
    this->keep(this->kind, "😀", this->pixels(1));

    this->keep(larger, "😀", Pixels(larger.byteCount, std::byte{2}));

    EXPECT_EQ(this->read(this->kind, "😀"), this->pixels(1));
    EXPECT_EQ(this->read(larger, "😀"), Pixels(larger.byteCount, std::byte{2}));
}

TYPED_TEST(PictureStoreContract, picturesOfAnotherMakerAreNotHandedOut)
{
    PictureKind other = this->kind;
    other.maker = "another font";
    this->keep(this->kind, "😀", this->pixels(1));

    EXPECT_FALSE(this->store.contains(other, "😀"));
    EXPECT_EQ(this->read(other, "😀"), Pixels());
    this->keep(other, "😀", this->pixels(2));
    EXPECT_EQ(this->read(other, "😀"), this->pixels(2));
}

TYPED_TEST(PictureStoreContract, picturesOfAnotherSizeAreNotHandedOut)
{
    PictureKind other = this->kind;
    other.byteCount = 9'999;
    this->keep(this->kind, "😀", this->pixels(1));

    EXPECT_FALSE(this->store.contains(other, "😀"));
    EXPECT_EQ(this->read(other, "😀"), Pixels());
    this->keep(other, "😀", Pixels(other.byteCount, std::byte{2}));
    EXPECT_EQ(this->read(other, "😀"), Pixels(other.byteCount, std::byte{2}));
}

TYPED_TEST(PictureStoreContract, onlyPixelsOfTheKindsSizeAreTakenAndGiven)
{
    this->keep(this->kind, "short", Pixels(this->kind.byteCount - 1));
    this->keep(this->kind, "long", Pixels(this->kind.byteCount + 1));
    this->keep(this->kind, "😀", this->pixels(1));
    Pixels longer(this->kind.byteCount + 1);
    Pixels shorter(this->kind.byteCount - 1);

    EXPECT_FALSE(this->store.contains(this->kind, "short"));
    EXPECT_FALSE(this->store.contains(this->kind, "long"));
    EXPECT_FALSE(this->store.read(this->kind, "😀", longer));
    EXPECT_FALSE(this->store.read(this->kind, "😀", shorter));
    EXPECT_EQ(this->read(this->kind, "😀"), this->pixels(1));
}

TYPED_TEST(PictureStoreContract, theEmptyTextHasNoPicture)
{
    this->keep(this->kind, "", this->pixels(1));

    EXPECT_FALSE(this->store.contains(this->kind, ""));
    EXPECT_EQ(this->read(this->kind, ""), Pixels());
}

TYPED_TEST(PictureStoreContract, theLongestTextIsKeptAndALongerOneDropped)
{
    const std::string longest(112, 'x');
    const std::string longer(113, 'x');
    this->keep(this->kind, longest, this->pixels(1));
    this->keep(this->kind, longer, this->pixels(2));

    EXPECT_EQ(this->read(this->kind, longest), this->pixels(1));
    EXPECT_FALSE(this->store.contains(this->kind, longer));
    EXPECT_EQ(this->read(this->kind, longer), Pixels());
}

TYPED_TEST(PictureStoreContract, picturesWithoutPixelsAreNotKept)
{
    PictureKind empty = this->kind;
    empty.byteCount = 0;
    this->keep(empty, "😀", {});

    EXPECT_FALSE(this->store.contains(empty, "😀"));
}

} // namespace
} // namespace glimmerwick::contract
