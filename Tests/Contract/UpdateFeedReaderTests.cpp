#include "Platform/Qt/QtUpdateFeedReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::HasSubstr;

const std::string feedAddress = "https://updates.example.invalid/glimmerwick/appcast.xml?channel=1";
const std::string signature = std::string(86, 'A') + "==";
const std::string serial = "<glimmerwick:serial>1795000000</glimmerwick:serial>\n";
const std::string version = "<glimmerwick:version>0.2.0</glimmerwick:version>\n";

std::string enclosure(const std::string& url = "package.deb", const std::string& length = "123",
                      const std::string& architecture = "amd64", const std::string& itsSignature = signature)
{
    return "<enclosure url=\"" + url + "\" length=\"" + length
        + "\" type=\"application/vnd.debian.binary-package\" glimmerwick:architecture=\"" + architecture
        + "\" glimmerwick:signature=\"" + itsSignature + "\"/>\n";
}

std::string item(const std::string& content)
{
    return "<item>\n" + content + "</item>\n";
}

std::string feed(const std::string& channel)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<rss version=\"2.0\" xmlns:glimmerwick=\"urn:glimmerwick:appcast:1\"><channel>\n"
        + channel + "</channel></rss>\n";
}

Result<UpdateFeed, std::string> read(const std::string& xml)
{
    return QtUpdateFeedReader().read(xml, feedAddress);
}

/// The error, or nothing.
std::string problemWith(const std::string& xml)
{
    const auto result = read(xml);
    return result ? "" : result.error();
}

/// The one enclosure's address.
std::string addressOf(const std::string& url)
{
    const auto result = read(feed(serial + item(version + enclosure(url))));
    return result ? result.value().items.at(0).enclosures.at(0).url : result.error();
}

TEST(UpdateFeedReaderTests, EverythingAnUpdateNeedsIsRead)
{
    const auto result = read(feed(
        "<title>Glimmerwick</title>\n<link>https://example.invalid</link>\n<description>About</description>\n"
        "<pubDate>Sat, 21 Nov 2026 12:00:00 +0000</pubDate>\n"
        + serial
        + item("<title>Glimmerwick 0.2.0</title>\n" + version
               + "<glimmerwick:minimumSystemVersion>2.36</glimmerwick:minimumSystemVersion>\n"
                 "<description>First &lt;b&gt;line&lt;/b&gt;\n\n  Second \xc3\xa4 &#128512;</description>\n"
               + enclosure() + enclosure("https://cdn.example.invalid/arm", "18446744073709551615", "arm64"))
        + item("<glimmerwick:version>0.1.0-rc.1</glimmerwick:version>" + enclosure())));

    ASSERT_TRUE(result) << result.error();
    const UpdateFeed& value = result.value();
    EXPECT_EQ(value.serial, 1795000000U);
    ASSERT_EQ(value.items.size(), 2U);
    EXPECT_EQ(value.items[0].version.text(), "0.2.0");
    ASSERT_TRUE(value.items[0].minimumSystemVersion);
    EXPECT_EQ(value.items[0].minimumSystemVersion->text(), "2.36");
    EXPECT_EQ(value.items[0].notes, "First <b>line</b>\n\n  Second \xc3\xa4 \xf0\x9f\x98\x80");
    ASSERT_EQ(value.items[0].enclosures.size(), 2U);
    EXPECT_EQ(value.items[0].enclosures[0].url, "https://updates.example.invalid/glimmerwick/package.deb");
    EXPECT_EQ(value.items[0].enclosures[0].length, 123U);
    EXPECT_EQ(value.items[0].enclosures[0].architecture, "amd64");
    EXPECT_EQ(value.items[0].enclosures[0].signature, signature);
    EXPECT_EQ(value.items[0].enclosures[1].url, "https://cdn.example.invalid/arm");
    EXPECT_EQ(value.items[0].enclosures[1].length, 18446744073709551615U);
    EXPECT_EQ(value.items[1].version.text(), "0.1.0-rc.1");
    EXPECT_FALSE(value.items[1].minimumSystemVersion);
    EXPECT_EQ(value.items[1].notes, "");
}

TEST(UpdateFeedReaderTests, UnknownElementsAreNoHindrance)
{
    const std::string unknown =
        "<!-- a comment --><?instruction?><other:thing xmlns:other=\"urn:other\" a=\"b\"><item/>"
        "<version>9</version>text</other:thing><category>x</category>"
        "<glimmerwick:future><glimmerwick:version>9</glimmerwick:version></glimmerwick:future>"
        "<serial>9</serial><version>9</version><![CDATA[ <item> ]]>";

    const auto result = read(feed(unknown + serial + unknown
                                  + item(unknown + version + unknown + enclosure() + unknown) + unknown));

    ASSERT_TRUE(result) << result.error();
    EXPECT_EQ(result.value().serial, 1795000000U);
    ASSERT_EQ(result.value().items.size(), 1U);
    EXPECT_EQ(result.value().items[0].version.text(), "0.2.0");
}

TEST(UpdateFeedReaderTests, TheNamespaceCountsAndNotItsPrefix)
{
    std::string renamed = feed(serial + item(version + enclosure()));
    for (std::size_t at = 0; (at = renamed.find("glimmerwick:", at)) != std::string::npos;) {
        // Not the namespace itself.
        if (renamed.compare(at - 4, 4, "urn:") == 0) {
            at += 12;
        } else {
            renamed.replace(at, 12, "g:");
        }
    }
    renamed.replace(renamed.find("xmlns:glimmerwick"), 17, "xmlns:g");
    EXPECT_EQ(problemWith(renamed), "");

    std::string foreign = feed(serial + item(version));
    foreign.replace(foreign.find("appcast:1"), 9, "appcast:2");
    EXPECT_THAT(problemWith(foreign), HasSubstr("line 6: an item has no version"));
}

TEST(UpdateFeedReaderTests, TextsMayBeInPieces)
{
    const auto result = read(feed(
        serial
        + item(version + "<description>a<!-- b -->c<![CDATA[<d>&amp;]]>&amp;e</description>" + enclosure())));

    ASSERT_TRUE(result) << result.error();
    EXPECT_EQ(result.value().items[0].notes, "ac<d>&amp;&e");
}

TEST(UpdateFeedReaderTests, WhatIsMissingDoubledOrWrongIsToldWithItsLine)
{
    const std::string good = item(version + enclosure());
    const std::vector<std::pair<std::string, std::string>> feeds{
        {feed(good), "line 7: the channel has no serial"},
        {feed(serial + serial + good), "line 4: a second serial"},
        {feed("<glimmerwick:serial/>" + good), "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial>-5</glimmerwick:serial>"), "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial>+5</glimmerwick:serial>"), "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial> 5</glimmerwick:serial>"), "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial>0x5</glimmerwick:serial>"), "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial>18446744073709551616</glimmerwick:serial>"),
         "line 3: the serial is not a number"},
        {feed("<glimmerwick:serial><b>5</b></glimmerwick:serial>"),
         "line 3: an element where there is only text"},
        {feed(serial + item(enclosure())), "line 6: an item has no version"},
        {feed(serial + item(version + version + enclosure())), "line 6: a second version"},
        {feed(serial + item("<glimmerwick:version>../../x</glimmerwick:version>" + enclosure())),
         "line 5: the version is not the version of a release"},
        {feed(serial
              + item("<glimmerwick:version>1.99999999999999999999</glimmerwick:version>" + enclosure())),
         "line 5: the version is not the version of a release"},
        {feed(serial
              + item(version + "<glimmerwick:minimumSystemVersion>any</glimmerwick:minimumSystemVersion>"
                     + enclosure())),
         "line 6: the minimumSystemVersion is not the version of a release"},
        {feed(serial
              + item(version + "<glimmerwick:minimumSystemVersion>2</glimmerwick:minimumSystemVersion>"
                     + "<glimmerwick:minimumSystemVersion>2</glimmerwick:minimumSystemVersion>"
                     + enclosure())),
         "line 6: a second minimumSystemVersion"},
        {feed(serial + item(version + "<description/><description/>" + enclosure())),
         "line 6: a second description"},
        {feed(serial + item(version + "<description>a <b>b</b></description>" + enclosure())),
         "line 6: an element where there is only text"},
        {feed(serial + item(version)), "line 6: an item has no enclosure"},
        {feed(serial + good + item("<glimmerwick:version>0.2</glimmerwick:version>\n" + enclosure())),
         "line 11: a second item of the same version"},
        {feed(serial + item(version + enclosure() + enclosure())),
         "line 7: a second enclosure for the same architecture"},
        {feed(serial + item(version + "<enclosure/>")),
         "line 6: the enclosure's length is not a number of bytes"},
        {feed(serial + item(version + enclosure("p", "0"))),
         "line 6: the enclosure's length is not a number of bytes"},
        {feed(serial + item(version + enclosure("p", "-1"))),
         "line 6: the enclosure's length is not a number of bytes"},
        {feed(serial + item(version + enclosure("p", "1e3"))),
         "line 6: the enclosure's length is not a number of bytes"},
        {feed(serial + item(version + enclosure("p", "18446744073709551616"))),
         "line 6: the enclosure's length is not a number of bytes"},
        {feed(serial + item(version + enclosure("p", "1", ""))),
         "line 6: the enclosure's architecture is not the name of one"},
        {feed(serial + item(version + enclosure("p", "1", "../amd64"))),
         "line 6: the enclosure's architecture is not the name of one"},
        {feed(serial + item(version + enclosure("p", "1", std::string(33, 'a')))),
         "line 6: the enclosure's architecture is not the name of one"},
        {feed(serial + item(version + enclosure("p", "1", "amd64", ""))),
         "line 6: the enclosure's signature is not 64 bytes in base64"},
        {feed(serial + item(version + enclosure("p", "1", "amd64", signature.substr(4)))),
         "line 6: the enclosure's signature is not 64 bytes in base64"},
        {feed(serial + item(version + enclosure("p", "1", "amd64", std::string(85, 'A') + "B=="))),
         "line 6: the enclosure's signature is not 64 bytes in base64"},
        {feed(serial + item(version + enclosure("p", "1", "amd64", " " + signature))),
         "line 6: the enclosure's signature is not 64 bytes in base64"},
        {"<rss version=\"2.0\"></rss>", "line 1: there is no channel"},
        {"<rss version=\"2.0\"><channel/></rss>", "line 1: the channel has no serial"},
        {"<rss version=\"0.91\"/>", "line 1: rss is not of version 2.0"},
        {"<feed/>", "line 1: the outermost element is not rss"},
        {"<x:rss xmlns:x=\"urn:x\" version=\"2.0\"/>", "line 1: the outermost element is not rss"},
    };
    for (const auto& [xml, problem] : feeds) {
        EXPECT_EQ(problemWith(xml), problem) << xml;
    }
}

TEST(UpdateFeedReaderTests, ASecondChannelIsRefused)
{
    std::string xml = feed(serial + item(version + enclosure()));
    xml.insert(xml.find("</rss>"), "<channel/>");

    EXPECT_THAT(problemWith(xml), HasSubstr("a second channel"));
}

TEST(UpdateFeedReaderTests, WhatIsNotXmlIsRefused)
{
    const std::string good = feed(serial + item(version + enclosure()));
    const std::vector<std::string> texts{
        "",
        "\n",
        "not XML",
        "<rss version=\"2.0\"",
        good.substr(0, good.size() / 2),
        good + "<rss/>",
        good + "text",
        "text" + good,
        feed(serial + "<a></b>"),
        feed(serial + "<unknown:a/>"),
        feed(serial + "<a b=\"1\" b=\"2\"/>"),
        feed(serial + item(version + "<enclosure length=\"1\" length=\"2\"/>")),
        feed(serial + "&unknown;"),
        feed(serial + "&#0;"),
    };
    for (const std::string& text : texts) {
        EXPECT_NE(problemWith(text), "") << text;
    }
    // The first half is well-formed and must not pass for the whole.
    EXPECT_THAT(problemWith(good.substr(0, good.size() / 2)), HasSubstr("line "));
}

TEST(UpdateFeedReaderTests, DocumentTypesAndEntitiesAreRefusedWhereverTheyStand)
{
    const std::string refused = "a feed declares no document type and no entities";
    const std::string good = feed(serial + item(version + enclosure()));
    const std::string head = good.substr(0, good.find("<rss"));
    const std::string body = good.substr(head.size());
    std::string bomb = "<!DOCTYPE rss [<!ENTITY a0 \"ha\">";
    for (int level = 1; level <= 20; ++level) {
        const std::string inner = "&a" + std::to_string(level - 1) + ";";
        bomb += "<!ENTITY a" + std::to_string(level) + " \"" + inner + inner + inner + inner + "\">";
    }
    bomb += "]>";

    EXPECT_EQ(problemWith(head + "<!DOCTYPE rss>" + body), refused);
    EXPECT_EQ(problemWith(head + "<!DOCTYPE rss SYSTEM \"file:///etc/passwd\">" + body), refused);
    EXPECT_EQ(problemWith(head + "<!DOCTYPE rss [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + body),
              refused);
    EXPECT_EQ(problemWith(head + bomb + feed(serial + "<title>&a20;</title>")), refused);
    EXPECT_EQ(problemWith(head + "<!-- --><!DOCTYPE rss>" + body), refused);
    // Lower case is not XML either.
    EXPECT_NE(problemWith(head + "<!doctype rss>" + body), "");
}

TEST(UpdateFeedReaderTests, OnlyUtf8IsRead)
{
    const std::string good = feed(serial + item(version + enclosure()));
    std::string latin = good;
    latin.replace(latin.find("UTF-8"), 5, "ISO-8859-1");
    std::string lowercase = good;
    lowercase.replace(lowercase.find("UTF-8"), 5, "utf-8");
    std::string wide;
    for (const char byte : good) {
        wide += std::string({byte, '\0'});
    }

    EXPECT_EQ(problemWith(lowercase), "");
    EXPECT_EQ(problemWith(latin), "line 1: a feed is UTF-8");
    EXPECT_EQ(problemWith("\xff\xfe" + wide), "the text is not UTF-8");
    EXPECT_EQ(problemWith(wide), "the text is not UTF-8");
    EXPECT_EQ(problemWith(feed(serial + "<title>\xff</title>")), "the text is not UTF-8");
    EXPECT_EQ(problemWith(good + std::string(1, '\0')), "the text is not UTF-8");
}

TEST(UpdateFeedReaderTests, DepthIsLimited)
{
    const auto nested = [](int depth) {
        std::string text = "x";
        for (int level = 0; level < depth; ++level) {
            text = "<a>" + text + "</a>";
        }
        return feed(serial + text);
    };

    EXPECT_EQ(problemWith(nested(62)), "") << "with rss and channel these are 64";
    EXPECT_THAT(problemWith(nested(63)), HasSubstr("too many elements inside each other"));
    EXPECT_THAT(problemWith(nested(10000)), HasSubstr("too many elements inside each other"));
}

TEST(UpdateFeedReaderTests, TheNumberOfItemsIsLimited)
{
    const auto items = [](int count) {
        std::string text;
        for (int index = 0; index < count; ++index) {
            text += item("<glimmerwick:version>1." + std::to_string(index) + "</glimmerwick:version>"
                         + enclosure());
        }
        return feed(serial + text);
    };

    EXPECT_EQ(problemWith(items(1000)), "");
    EXPECT_THAT(problemWith(items(1001)), HasSubstr("more than 1000 items"));
}

TEST(UpdateFeedReaderTests, LongNotesAreCutBetweenCharacters)
{
    const auto notesOf = [](const std::string& text) {
        const auto result =
            read(feed(serial + item(version + "<description>" + text + "</description>" + enclosure())));
        return result ? result.value().items.at(0).notes : result.error();
    };
    const std::size_t limit = 64 * 1024;
    std::string faces;
    while (faces.size() <= limit) {
        faces += "\xf0\x9f\x98\x80";
    }

    EXPECT_EQ(notesOf(std::string(limit, 'x')), std::string(limit, 'x'));
    EXPECT_EQ(notesOf(std::string(limit + 1, 'x')), std::string(limit, 'x'));
    EXPECT_EQ(notesOf(faces), faces.substr(0, limit));
    EXPECT_EQ(notesOf("x" + faces), "x" + faces.substr(0, limit - 4));
}

TEST(UpdateFeedReaderTests, AddressesCountFromTheFeedsOwn)
{
    const std::string folder = "https://updates.example.invalid/glimmerwick/";

    EXPECT_EQ(addressOf("package.deb"), folder + "package.deb");
    EXPECT_EQ(addressOf("0.2/package.deb?x=1"), folder + "0.2/package.deb?x=1");
    EXPECT_EQ(addressOf("./a/../package.deb"), folder + "package.deb");
    EXPECT_EQ(addressOf("/package.deb"), "https://updates.example.invalid/package.deb");
    EXPECT_EQ(addressOf("../../../package.deb"), "https://updates.example.invalid/package.deb");
    EXPECT_EQ(addressOf("//cdn.example.invalid/package.deb"), "https://cdn.example.invalid/package.deb");
    EXPECT_EQ(addressOf("http://cdn.example.invalid:8080/package.deb"),
              "http://cdn.example.invalid:8080/package.deb");
    EXPECT_EQ(addressOf("HTTPS://cdn.example.invalid/%2e%2e/p"), "https://cdn.example.invalid/p");
}

TEST(UpdateFeedReaderTests, OtherAddressesAreRefused)
{
    const std::string refused = "line 6: the enclosure's url is not an HTTP address";
    for (const std::string url :
         {"", "file:///etc/passwd", "javascript:alert(1)", "data:,x", "ftp://example.invalid/p", "https://",
          "https:///p", "http:", "https://exa mple/", "C:\\package.deb", "https://[nonsense/",
          "mailto:a@b.c"}) {
        EXPECT_EQ(addressOf(url), refused) << url;
    }
    EXPECT_EQ(QtUpdateFeedReader()
                  .read(feed(serial + item(version + enclosure())), "file:///srv/appcast.xml")
                  .error(),
              refused);
}

TEST(UpdateFeedReaderTests, AProblemIsOneReadableLine)
{
    const std::string problem = problemWith(feed(serial + "<a\n\x01></b>"));

    EXPECT_THAT(problem, HasSubstr("line "));
    EXPECT_EQ(problem.find_first_of("\n\r\x01"), std::string::npos) << problem;
}

} // namespace
} // namespace glimmerwick::contract
