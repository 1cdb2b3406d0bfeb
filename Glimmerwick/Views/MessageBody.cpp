#include "Views/MessageBody.h"

#include "Views/DialogLabel.h"
#include "Views/ProgramIcon.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace glimmerwick {

namespace {

constexpr int iconSide = 56;
constexpr int iconGap = 18;
constexpr int textGap = 6;
constexpr int addedGap = 14;

DialogLabel* wrappedLabel(DialogLabel::Kind kind, const QString& text)
{
    auto* label = new DialogLabel(kind, {});
    label->setWordWrap(true);
    label->setFixedWidth(MessageBody::columnWidth);
    label->setPlainText(text);
    return label;
}

} // namespace

MessageBody::MessageBody(const QString& heading, const QString& text, QWidget* added)
    : m_heading(wrappedLabel(DialogLabel::Kind::heading, heading))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(iconGap);
    row->addWidget(new ProgramIcon(iconSide), 0, Qt::AlignTop);
    auto* column = new QVBoxLayout;
    column->setSpacing(0);
    column->addWidget(m_heading);
    if (!text.isEmpty()) {
        m_text = wrappedLabel(DialogLabel::Kind::text, text);
        column->addSpacing(textGap);
        column->addWidget(m_text);
    }
    if (added) {
        column->addSpacing(addedGap);
        column->addWidget(added);
    }
    column->addStretch();
    row->addLayout(column);
}

} // namespace glimmerwick
