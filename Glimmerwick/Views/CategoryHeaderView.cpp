#include "Views/CategoryHeaderView.h"

#include "Platform/Qt/Text.h"
#include "Views/AccessibleControls.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <array>

namespace glimmerwick {

namespace {

constexpr int fontSize = 12;
constexpr int inset = 8;

/// The titles that the program makes itself.
constexpr std::array ownTitles{QT_TRANSLATE_NOOP("CategoryHeaderView", "Recent"),
                               QT_TRANSLATE_NOOP("CategoryHeaderView", "Search Results")};

QString shown(const std::string& title)
{
    const bool isOwn = std::find(ownTitles.begin(), ownTitles.end(), title) != ownTitles.end();
    return isOwn ? QCoreApplication::translate("CategoryHeaderView", title.c_str()) : toQString(title);
}

} // namespace

CategoryHeaderView::CategoryHeaderView(QWidget* parent) : CollectionReusableView(parent)
{
    accessibility::installControls();
    setObjectName(QStringLiteral("categoryHeader"));
}

void CategoryHeaderView::setTitle(const std::string& title)
{
    m_title = title;
    m_shownTitle = shown(title);
    setAccessibleName(m_shownTitle);
    update();
}

void CategoryHeaderView::prepareForReuse()
{
    setTitle({});
}

void CategoryHeaderView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setFont(style::systemFont(fontSize, QFont::DemiBold));
    painter.setPen(style::secondaryLabel());
    const QRect bounds = rect().adjusted(inset, 0, -inset, 0);
    const QString title = painter.fontMetrics().elidedText(m_shownTitle, Qt::ElideRight, bounds.width());
    const Qt::Alignment side = QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft) | Qt::AlignAbsolute;
    painter.drawText(bounds, static_cast<int>(side | Qt::AlignVCenter) | Qt::TextSingleLine, title);
}

} // namespace glimmerwick
