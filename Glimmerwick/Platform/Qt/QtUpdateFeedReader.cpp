#include "Platform/Qt/QtUpdateFeedReader.h"

#include "Models/UnicodeText.h"
#include "Platform/Qt/Text.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QXmlStreamReader>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int maximumDepth = 64;
constexpr std::size_t maximumItems = 1000;
constexpr std::size_t maximumNotesSize = 64 * 1024;
constexpr qsizetype signatureSize = 64;
constexpr qsizetype longestArchitecture = 32;

const QString ownNamespace = QStringLiteral("urn:glimmerwick:appcast:1");

/// Digits alone, and no more than 64 bits of them.
std::optional<std::uint64_t> numberFrom(const QString& text)
{
    const bool isDigits = std::ranges::all_of(text, [](QChar c) { return c >= u'0' && c <= u'9'; });
    bool isNumber = false;
    const qulonglong number = text.toULongLong(&isNumber);
    return isDigits && isNumber ? std::optional<std::uint64_t>(number) : std::nullopt;
}

bool isArchitecture(const QString& text)
{
    return !text.isEmpty() && text.size() <= longestArchitecture && std::ranges::all_of(text, [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'-';
    });
}

/// 64 bytes in base64, in the one spelling that encoding them gives.
bool isSignature(const QString& text)
{
    const QByteArray encoded = text.toLatin1();
    const auto decoded = QByteArray::fromBase64Encoding(encoded, QByteArray::AbortOnBase64DecodingErrors);
    return decoded && (*decoded).size() == signatureSize && (*decoded).toBase64() == encoded;
}

/// Cut before a character that would not fit whole.
std::string cut(std::string text, std::size_t size)
{
    if (text.size() > size) {
        const auto isContinuation = [&text](std::size_t index) {
            return (static_cast<unsigned char>(text[index]) & 0xc0) == 0x80;
        };
        while (size > 0 && isContinuation(size)) {
            --size;
        }
        text.resize(size);
    }
    return text;
}

/// One reading of one text. The stream's own error holds what is wrong, so that every loop ends at once.
class Reading {
public:
    Reading(const QString& xml, const std::string& feedAddress)
        : m_xml(xml), m_feedAddress(toQString(feedAddress), QUrl::StrictMode)
    {
    }

    Result<UpdateFeed, std::string> read()
    {
        while (!m_xml.atEnd() && !m_xml.hasError()) {
            if (next() == QXmlStreamReader::StartElement) {
                readRoot();
            }
        }
        if (m_xml.hasError()) {
            return Failure{"line " + std::to_string(m_xml.lineNumber()) + ": "
                           + unicode::escapedForLog(toUtf8(m_xml.errorString()))};
        }
        return std::move(m_feed);
    }

private:
    /// An item of which something may still be missing.
    struct PartialItem {
        std::optional<ReleaseVersion> version;
        std::optional<ReleaseVersion> minimumSystemVersion;
        std::optional<std::string> notes;
        std::vector<UpdateEnclosure> enclosures;
    };

    void fail(const QString& problem)
    {
        if (!m_xml.hasError()) {
            m_xml.raiseError(problem);
        }
    }

    /// All tokens come through here: what is refused anywhere is refused here.
    QXmlStreamReader::TokenType next()
    {
        const auto token = m_xml.readNext();
        if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference) {
            fail(QStringLiteral("a feed declares no document type and no entities"));
        } else if (token == QXmlStreamReader::StartDocument) {
            const auto encoding = m_xml.documentEncoding();
            if (!encoding.isEmpty() && encoding.compare(u"UTF-8", Qt::CaseInsensitive) != 0) {
                fail(QStringLiteral("a feed is UTF-8"));
            }
        } else if (token == QXmlStreamReader::StartElement && ++m_depth > maximumDepth) {
            fail(QStringLiteral("too many elements inside each other"));
        } else if (token == QXmlStreamReader::EndElement) {
            --m_depth;
        }
        return m_xml.hasError() ? QXmlStreamReader::Invalid : token;
    }

    /// The next element inside the one that was entered; false at its end.
    bool nextChild()
    {
        while (!m_xml.hasError()) {
            const auto token = next();
            if (token == QXmlStreamReader::StartElement) {
                return true;
            }
            if (token == QXmlStreamReader::EndElement) {
                return false;
            }
        }
        return false;
    }

    bool isPlain(QStringView name) const { return m_xml.namespaceUri().isEmpty() && m_xml.name() == name; }
    bool isOwn(QStringView name) const
    {
        return m_xml.namespaceUri() == ownNamespace && m_xml.name() == name;
    }

    /// Passes over the element that was entered, with all inside it.
    void skip()
    {
        for (const int outside = m_depth - 1; m_depth > outside && !m_xml.hasError();) {
            next();
        }
    }

    /// The text of the element that was entered, up to its end.
    QString text()
    {
        QString text;
        while (true) {
            switch (next()) {
            case QXmlStreamReader::Characters:
                text += m_xml.text();
                break;
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                break;
            case QXmlStreamReader::StartElement:
                fail(QStringLiteral("an element where there is only text"));
                return {};
            default:
                return text;
            }
        }
    }

    void readRoot()
    {
        if (!isPlain(u"rss")) {
            fail(QStringLiteral("the outermost element is not rss"));
        } else if (m_xml.attributes().value(QStringLiteral("version")) != u"2.0") {
            fail(QStringLiteral("rss is not of version 2.0"));
        }
        bool hasChannel = false;
        while (nextChild()) {
            if (!isPlain(u"channel")) {
                skip();
            } else if (std::exchange(hasChannel, true)) {
                fail(QStringLiteral("a second channel"));
            } else {
                readChannel();
            }
        }
        if (!hasChannel) {
            fail(QStringLiteral("there is no channel"));
        }
    }

    void readChannel()
    {
        std::optional<std::uint64_t> serial;
        while (nextChild()) {
            if (isOwn(u"serial")) {
                readSerial(serial);
            } else if (isPlain(u"item")) {
                readItem();
            } else {
                skip();
            }
        }
        if (!serial) {
            fail(QStringLiteral("the channel has no serial"));
            return;
        }
        m_feed.serial = *serial;
    }

    void readSerial(std::optional<std::uint64_t>& serial)
    {
        if (serial) {
            fail(QStringLiteral("a second serial"));
            return;
        }
        serial = numberFrom(text());
        if (!serial) {
            fail(QStringLiteral("the serial is not a number"));
        }
    }

    void readItem()
    {
        PartialItem item;
        while (nextChild()) {
            if (isOwn(u"version")) {
                readVersion(item.version, QStringLiteral("version"));
            } else if (isOwn(u"minimumSystemVersion")) {
                readVersion(item.minimumSystemVersion, QStringLiteral("minimumSystemVersion"));
            } else if (isPlain(u"description")) {
                readNotes(item.notes);
            } else if (isPlain(u"enclosure")) {
                readEnclosure(item.enclosures);
            } else {
                skip();
            }
        }
        add(std::move(item));
    }

    void add(PartialItem item)
    {
        if (!item.version) {
            fail(QStringLiteral("an item has no version"));
        } else if (item.enclosures.empty()) {
            fail(QStringLiteral("an item has no enclosure"));
        } else if (!m_versions.insert(*item.version).second) {
            fail(QStringLiteral("a second item of the same version"));
        } else if (m_feed.items.size() == maximumItems) {
            fail(QStringLiteral("more than %1 items").arg(maximumItems));
        } else {
            m_feed.items.push_back({std::move(*item.version), std::move(item.minimumSystemVersion),
                                    std::move(item.notes).value_or(""), std::move(item.enclosures)});
        }
    }

    void readVersion(std::optional<ReleaseVersion>& version, const QString& name)
    {
        if (version) {
            fail(QStringLiteral("a second ") + name);
            return;
        }
        version = ReleaseVersion::parse(toUtf8(text()));
        if (!version) {
            fail(QStringLiteral("the %1 is not the version of a release").arg(name));
        }
    }

    void readNotes(std::optional<std::string>& notes)
    {
        if (notes) {
            fail(QStringLiteral("a second description"));
            return;
        }
        notes = cut(toUtf8(text()), maximumNotesSize);
    }

    void readEnclosure(std::vector<UpdateEnclosure>& enclosures)
    {
        const UpdateEnclosure enclosure = enclosureFromAttributes();
        const bool isSecond = std::ranges::any_of(enclosures, [&enclosure](const UpdateEnclosure& other) {
            return other.architecture == enclosure.architecture;
        });
        if (isSecond) {
            fail(QStringLiteral("a second enclosure for the same architecture"));
        }
        enclosures.push_back(enclosure);
        skip();
    }

    UpdateEnclosure enclosureFromAttributes()
    {
        const QXmlStreamAttributes attributes = m_xml.attributes();
        const QString length = attributes.value(QStringLiteral("length")).toString();
        const QString architecture =
            attributes.value(ownNamespace, QStringLiteral("architecture")).toString();
        const QString signature = attributes.value(ownNamespace, QStringLiteral("signature")).toString();
        const QString url = webAddress(attributes.value(QStringLiteral("url")).toString());
        const auto size = numberFrom(length);
        if (!size || *size == 0) {
            fail(QStringLiteral("the enclosure's length is not a number of bytes"));
        } else if (!isArchitecture(architecture)) {
            fail(QStringLiteral("the enclosure's architecture is not the name of one"));
        } else if (!isSignature(signature)) {
            fail(QStringLiteral("the enclosure's signature is not 64 bytes in base64"));
        } else if (url.isEmpty()) {
            fail(QStringLiteral("the enclosure's url is not an HTTP address"));
        }
        return {toUtf8(url), size.value_or(0), toUtf8(architecture), toUtf8(signature)};
    }

    /// Absolute; empty when it is none of the web.
    QString webAddress(const QString& text) const
    {
        const QUrl relative(text, QUrl::StrictMode);
        if (text.isEmpty() || !relative.isValid()) {
            return {};
        }
        const QUrl url = m_feedAddress.resolved(relative);
        const bool isWeb = url.scheme() == u"https" || url.scheme() == u"http";
        return isWeb && !url.host().isEmpty() ? url.toString(QUrl::FullyEncoded) : QString();
    }

    QXmlStreamReader m_xml;
    const QUrl m_feedAddress;
    UpdateFeed m_feed;
    std::set<ReleaseVersion> m_versions;
    int m_depth = 0;
};

} // namespace

Result<UpdateFeed, std::string> QtUpdateFeedReader::read(std::string_view xml, const std::string& feedAddress)
{
    if (!unicode::isWellFormed(xml) || xml.find('\0') != std::string_view::npos) {
        return Failure{std::string("the text is not UTF-8")};
    }
    // Before the parser, which would take in all declarations before it tells of the first.
    if (xml.find("<!DOCTYPE") != std::string_view::npos || xml.find("<!ENTITY") != std::string_view::npos) {
        return Failure{std::string("a feed declares no document type and no entities")};
    }
    return Reading(toQString(xml), feedAddress).read();
}

} // namespace glimmerwick
