#include "Views/AboutBody.h"

#include "Platform/Qt/Text.h"
#include "Views/DialogLabel.h"
#include "Views/LicenceTexts.h"
#include "Views/PlainTextView.h"
#include "Views/ProgramIcon.h"

#include <QCoreApplication>
#include <QVBoxLayout>

namespace glimmerwick {

namespace {

constexpr int iconSide = 84;
constexpr int leastWidth = 360;
constexpr QSize licencesSize(640, 260);
constexpr int licencesGap = 16;
constexpr int smallGap = 4;
constexpr int gap = 14;

DialogLabel* centredLabel(DialogLabel::Kind kind, const QString& text,
                          DialogLabel::Selection selection = DialogLabel::Selection::none)
{
    auto* label = new DialogLabel(kind, text, selection);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

QString translated(const char* source)
{
    return QCoreApplication::translate("AboutWindow", source);
}

QString catalogueText(const AboutContent& content)
{
    const std::string version = content.catalogueVersion ? content.catalogueVersion() : std::string();
    return version.empty()
        ? translated(QT_TRANSLATE_NOOP("AboutWindow", "No catalogue loaded"))
        : translated(QT_TRANSLATE_NOOP("AboutWindow", "Catalogue %1")).arg(toQString(version));
}

} // namespace

AboutBody::AboutBody(const AboutContent& content)
    : m_content(content), m_catalogueVersion(centredLabel(DialogLabel::Kind::text, catalogueText(content),
                                                          DialogLabel::Selection::possible)),
      m_licences(new PlainTextView(translated(QT_TRANSLATE_NOOP("AboutWindow", "Licences")),
                                   PlainTextView::Pitch::fixed))
{
    setMinimumWidth(leastWidth);
    m_licences->setFixedSize(licencesSize);
    // Its gap goes with it when it is hidden.
    m_licencesRoom = new QWidget;
    auto* room = new QVBoxLayout(m_licencesRoom);
    room->setContentsMargins(0, licencesGap - smallGap, 0, 0);
    room->addWidget(m_licences, 0, Qt::AlignHCenter);
    m_licencesRoom->hide();
    auto* version = centredLabel(
        DialogLabel::Kind::text,
        translated(QT_TRANSLATE_NOOP("AboutWindow", "Version %1")).arg(toQString(content.version)),
        DialogLabel::Selection::possible);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(smallGap);
    column->addWidget(new ProgramIcon(iconSide), 0, Qt::AlignHCenter);
    column->addSpacing(gap - smallGap);
    column->addWidget(centredLabel(DialogLabel::Kind::title, QStringLiteral("Glimmerwick")));
    column->addWidget(centredLabel(
        DialogLabel::Kind::text,
        translated(QT_TRANSLATE_NOOP("AboutWindow", "Finds an emoji and types it where you are writing."))));
    column->addSpacing(gap - smallGap);
    column->addWidget(version);
    column->addWidget(m_catalogueVersion);
    column->addSpacing(gap - smallGap);
    column->addWidget(centredLabel(
        DialogLabel::Kind::secondary,
        translated(QT_TRANSLATE_NOOP("AboutWindow", "Copyright © 2026 the Glimmerwick developers"))));
    column->addWidget(m_licencesRoom);
}

void AboutBody::refresh()
{
    m_catalogueVersion->setPlainText(catalogueText(m_content));
}

void AboutBody::toggleLicences()
{
    const bool areShown = !m_licencesRoom->isHidden();
    if (!areShown && m_licences->document()->isEmpty()) {
        m_licences->setPlainText(licenceTexts(m_content.licencesFile));
    }
    m_licencesRoom->setVisible(!areShown);
}

} // namespace glimmerwick
