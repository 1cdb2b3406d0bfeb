#pragma once

#include "Platform/Pasteboard.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace glimmerwick::contract {

/// What every pasteboard does. The subject has a member `pasteboard`.
template <typename Subject> class PasteboardContract : public ::testing::Test {
protected:
    Subject subject;
    Pasteboard& pasteboard = subject.pasteboard;
};

TYPED_TEST_SUITE_P(PasteboardContract);

TYPED_TEST_P(PasteboardContract, holdsNothingAfterClearing)
{
    this->pasteboard.clearContents();

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), std::nullopt);
    EXPECT_EQ(this->pasteboard.string(pasteboardType::concealed), std::nullopt);
}

TYPED_TEST_P(PasteboardContract, readsBackWhatWasSet)
{
    this->pasteboard.clearContents();

    EXPECT_TRUE(this->pasteboard.setString("👍🏽 ok", pasteboardType::string));

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), "👍🏽 ok");
    EXPECT_EQ(this->pasteboard.string(pasteboardType::concealed), std::nullopt);
}

TYPED_TEST_P(PasteboardContract, holdsBothTypesAfterACopy)
{
    this->pasteboard.clearContents();

    EXPECT_TRUE(this->pasteboard.setString("😀", pasteboardType::string));
    EXPECT_TRUE(this->pasteboard.setData("glimmerwick", pasteboardType::concealed));

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), "😀");
    EXPECT_EQ(this->pasteboard.string(pasteboardType::concealed), "glimmerwick");
}

TYPED_TEST_P(PasteboardContract, clearingDropsEveryType)
{
    this->pasteboard.clearContents();
    this->pasteboard.setString("😀", pasteboardType::string);
    this->pasteboard.setData("glimmerwick", pasteboardType::concealed);

    this->pasteboard.clearContents();

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), std::nullopt);
    EXPECT_EQ(this->pasteboard.string(pasteboardType::concealed), std::nullopt);
}

TYPED_TEST_P(PasteboardContract, aLaterTextReplacesAnEarlierOne)
{
    this->pasteboard.clearContents();
    this->pasteboard.setString("earlier", pasteboardType::string);

    EXPECT_TRUE(this->pasteboard.setString("later", pasteboardType::string));

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), "later");
}

TYPED_TEST_P(PasteboardContract, keepsAnyBytes)
{
    const std::string bytes("nul \0 line\n ill-formed \xff\xc3", 26);
    this->pasteboard.clearContents();

    this->pasteboard.setString("", pasteboardType::string);
    this->pasteboard.setData(bytes, "application/x-anything");

    EXPECT_EQ(this->pasteboard.string(pasteboardType::string), "");
    EXPECT_EQ(this->pasteboard.string("application/x-anything"), bytes);
}

REGISTER_TYPED_TEST_SUITE_P(PasteboardContract, holdsNothingAfterClearing, readsBackWhatWasSet,
                            holdsBothTypesAfterACopy, clearingDropsEveryType, aLaterTextReplacesAnEarlierOne,
                            keepsAnyBytes);

} // namespace glimmerwick::contract
