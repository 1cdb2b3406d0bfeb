#include "Views/NoResultsLabel.h"

#include "Views/AccessibleControls.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QPainter>

namespace glimmerwick {

namespace {

constexpr int fontSize = 14;
constexpr int inset = 16;

} // namespace

NoResultsLabel::NoResultsLabel(QWidget* parent) : QLabel(parent)
{
    accessibility::installControls();
    // Not in the base's constructor, which would have the toolkit take this for any label, and for good.
    setText(QCoreApplication::translate("NoResultsLabel", "No results found"));
    setAccessibleName(text());
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setFont(style::systemFont(fontSize, QFont::Medium));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void NoResultsLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setFont(style::systemFont(fontSize, QFont::Medium));
    painter.setPen(style::secondaryLabel());
    painter.drawText(rect().adjusted(inset, 0, -inset, 0), Qt::AlignCenter | Qt::TextWordWrap, text());
}

} // namespace glimmerwick
