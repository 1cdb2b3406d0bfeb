#include "Views/Translation.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QGuiApplication>
#include <QIODevice>
#include <QTemporaryDir>
#include <QTranslator>

#include <gtest/gtest.h>

#include <array>

namespace glimmerwick {
namespace {

quint32 hashOf(const QByteArray& source)
{
    quint32 hash = 0;
    for (const char character : source) {
        hash = (hash << 4) + static_cast<quint32>(character);
        const quint32 high = hash & 0xf0000000;
        hash = (hash ^ (high >> 24)) & ~high;
    }
    return hash == 0 ? 1 : hash;
}

/// A compiled translation of a single text.
QByteArray translationFile(const QByteArray& context, const QByteArray& source, const QString& text)
{
    QByteArray message;
    {
        QDataStream stream(&message, QIODevice::WriteOnly);
        stream << quint8(3) << quint32(text.size() * 2);
        for (const QChar character : text) {
            stream << character.unicode();
        }
        const std::array fields{std::pair(quint8(8), QByteArray()), std::pair(quint8(6), source),
                                std::pair(quint8(7), context)};
        for (const auto& [tag, bytes] : fields) {
            stream << tag << quint32(bytes.size());
            stream.writeRawData(bytes.data(), static_cast<int>(bytes.size()));
        }
        stream << quint8(1);
    }
    constexpr std::array<quint8, 16> magic{0x3c, 0xb8, 0x64, 0x18, 0xca, 0xef, 0x9c, 0x95,
                                           0xcd, 0x21, 0x1c, 0xbf, 0x60, 0xa1, 0xbd, 0xdd};
    QByteArray file;
    QDataStream stream(&file, QIODevice::WriteOnly);
    for (const quint8 byte : magic) {
        stream << byte;
    }
    stream << quint8(0x42) << quint32(8) << hashOf(source) << quint32(0);
    stream << quint8(0x69) << quint32(message.size());
    stream.writeRawData(message.data(), static_cast<int>(message.size()));
    return file;
}

class TranslationTests : public ::testing::Test {
protected:
    ~TranslationTests() override { qDeleteAll(QCoreApplication::instance()->findChildren<QTranslator*>()); }

    void write(const QString& name, const QByteArray& content)
    {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QFile::WriteOnly));
        file.write(content);
    }

    static QString quit() { return QCoreApplication::translate("SearchBarView", "Quit"); }

    QTemporaryDir folder;
};

TEST_F(TranslationTests, takesTheLocalesTranslationFromTheFolder)
{
    write("glimmerwick_de.qm", translationFile("SearchBarView", "Quit", "Beenden"));

    installTranslations(folder.path().toStdString(), QLocale(QLocale::German, QLocale::Austria));

    EXPECT_EQ(quit(), "Beenden");
}

TEST_F(TranslationTests, staysWithTheSourceWhereThereIsNone)
{
    write("glimmerwick_de.qm", translationFile("SearchBarView", "Quit", "Beenden"));

    installTranslations(folder.path().toStdString(), QLocale(QLocale::Finnish));
    installTranslations(folder.filePath("missing").toStdString(), QLocale(QLocale::German));

    EXPECT_EQ(quit(), "Quit");
}

TEST_F(TranslationTests, aBrokenFileIsNoTranslation)
{
    write("glimmerwick_de.qm", "no translation");

    installTranslations(folder.path().toStdString(), QLocale(QLocale::German));

    EXPECT_EQ(quit(), "Quit");
}

} // namespace
} // namespace glimmerwick
