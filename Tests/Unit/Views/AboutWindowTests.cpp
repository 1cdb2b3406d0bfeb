#include "Views/AboutWindow.h"

#include "Platform/Qt/Text.h"
#include "Views/AboutBody.h"
#include "Views/DialogsFixture.h"
#include "Views/LicenceTexts.h"
#include "Views/PlainTextView.h"

#include <QFile>
#include <QPointer>
#include <QTemporaryDir>
#include <QTextDocument>

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

namespace glimmerwick {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string readFile(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    return file.open(QFile::ReadOnly) ? file.readAll().toStdString() : "cannot be read: " + path;
}

class AboutWindowTests : public tests::DialogsFixture {
protected:
    DialogWindow& shown()
    {
        about->show();
        DialogWindow* window = shownWindow();
        if (!window) {
            throw std::runtime_error("no window, or several");
        }
        return *window;
    }

    PlainTextView& licences() { return static_cast<AboutBody*>(shownWindow()->body())->licences(); }

    std::string catalogue = "17.1.0";
    const std::string dataLicences = GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/LICENSES.txt";
    std::optional<AboutWindow> about{AboutContent{"0.1.0", [this] { return catalogue; }, dataLicences}};
};

TEST_F(AboutWindowTests, tellsWhatTheProgramIsAndItsVersions)
{
    const DialogWindow& window = shown();

    EXPECT_THAT(texts(window),
                ElementsAre("Glimmerwick", "Finds an emoji and types it where you are writing.",
                            "Version 0.1.0", "Catalogue 17.1.0",
                            "Copyright © 2026 the Glimmerwick developers"));
    EXPECT_EQ(window.windowTitle(), "About Glimmerwick");
    EXPECT_EQ(window.windowType(), Qt::Window);
    EXPECT_FALSE(window.isModal());
}

TEST_F(AboutWindowTests, saysWhenThereIsNoCatalogue)
{
    catalogue.clear();
    EXPECT_THAT(texts(shown()), Contains("No catalogue loaded"));

    about.emplace(AboutContent{"0.1.0", nullptr, dataLicences});
    EXPECT_THAT(texts(shown()), Contains("No catalogue loaded"));
}

TEST_F(AboutWindowTests, theVersionsCanBeSelected)
{
    const DialogWindow& window = shown();

    int selectable = 0;
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        if (label->text().contains("0.1.0") || label->text().contains("17.1.0")) {
            ++selectable;
            EXPECT_TRUE(label->textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
            EXPECT_TRUE(label->textInteractionFlags().testFlag(Qt::TextSelectableByKeyboard));
        }
    }
    EXPECT_EQ(selectable, 2);
}

TEST_F(AboutWindowTests, askedForAgainItIsTheSameWindowWithTodaysCatalogue)
{
    DialogWindow& window = shown();
    catalogue = "18.0.0";

    EXPECT_EQ(&shown(), &window);

    EXPECT_THAT(texts(window), Contains("Catalogue 18.0.0"));
    EXPECT_THAT(texts(window), Not(Contains("Catalogue 17.1.0")));
}

TEST_F(AboutWindowTests, closedByEscapeOrItsButtonItCanBeShownAgain)
{
    pressKey(shown(), Qt::Key_Escape);
    EXPECT_EQ(shownWindow(), nullptr);

    press(shown(), "Close");
    EXPECT_EQ(shownWindow(), nullptr);

    shown().close();
    EXPECT_EQ(shownWindow(), nullptr);
    EXPECT_TRUE(shown().isVisible());
}

TEST_F(AboutWindowTests, returnClosesIt)
{
    DialogWindow& window = shown();
    EXPECT_TRUE(window.buttons()[0]->isDefault());

    pressKey(window, Qt::Key_Return);

    EXPECT_EQ(shownWindow(), nullptr);
}

TEST_F(AboutWindowTests, theLicencesComeAndGoWithTheirButton)
{
    DialogWindow& window = shown();
    const QSize before = window.size();
    EXPECT_FALSE(licences().isVisible());

    press(window, "Licences");
    EXPECT_TRUE(licences().isVisible());
    EXPECT_GT(window.height(), before.height());
    EXPECT_GE(window.width(), before.width());

    press(window, "Licences");
    EXPECT_FALSE(licences().isVisible());
    EXPECT_EQ(window.size(), before);
}

TEST_F(AboutWindowTests, theLicencesNameWhatIsBuiltInAndHoldTheFiles)
{
    press(shown(), "Licences");

    const std::string text = toUtf8(licences().toPlainText());
    for (const char* name :
         {"Qt 6", "ICU", "HarfBuzz", "GLib", "curl", "Fontconfig", "XCB", "JSON", "libsodium"}) {
        EXPECT_THAT(text, HasSubstr(name));
    }
    EXPECT_THAT(text, HasSubstr("LGPL 3.0"));
    EXPECT_THAT(text, HasSubstr(readFile(dataLicences)));
    EXPECT_THAT(text, HasSubstr(readFile(GLIMMERWICK_SOURCE_DIR "/LICENSE")));
}

TEST_F(AboutWindowTests, theProgramsLicenceIsTheOneInItsSources)
{
    EXPECT_EQ(toUtf8(programLicence()), readFile(GLIMMERWICK_SOURCE_DIR "/LICENSE"));
}

TEST_F(AboutWindowTests, theLicencesAreShownAsTheyAreAndCanOnlyBeRead)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("licences"));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    file.write("<b>Bold</b> and <a href=\"https://example.invalid\">a link</a>, Grüße");
    file.close();
    about.emplace(AboutContent{"0.1.0", nullptr, file.fileName().toStdString()});

    press(shown(), "Licences");

    EXPECT_THAT(toUtf8(licences().toPlainText()),
                HasSubstr("<b>Bold</b> and <a href=\"https://example.invalid\">a link</a>, Grüße"));
    EXPECT_TRUE(licences().isReadOnly());
    EXPECT_FALSE(licences().textInteractionFlags().testFlag(Qt::LinksAccessibleByMouse));
    EXPECT_TRUE(licences().textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
    EXPECT_EQ(licences().accessibleName(), "Licences");
}

TEST_F(AboutWindowTests, saysWhenTheFileCannotBeRead)
{
    const QTemporaryDir folder;
    about.emplace(AboutContent{"0.1.0", nullptr, folder.filePath("missing").toStdString()});

    press(shown(), "Licences");

    const std::string text = toUtf8(licences().toPlainText());
    EXPECT_THAT(text, HasSubstr("The licences of the catalogue's data could not be read."));
    EXPECT_THAT(text, HasSubstr("Qt 6"));
}

TEST_F(AboutWindowTests, afterClosingItReadsTheFileAnew)
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("licences").toStdString();
    about.emplace(AboutContent{"0.1.0", nullptr, path});
    press(shown(), "Licences");
    press(*shownWindow(), "Close");
    QFile file(QString::fromStdString(path));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    file.write("arrived since");
    file.close();

    press(shown(), "Licences");

    EXPECT_THAT(toUtf8(licences().toPlainText()), HasSubstr("arrived since"));
}

TEST_F(AboutWindowTests, goesWithItsOwner)
{
    QPointer<DialogWindow> window = &shown();

    about.reset();

    EXPECT_TRUE(window.isNull());
}

} // namespace
} // namespace glimmerwick
