#include "Views/CategoryHeaderView.h"

#include "Platform/Qt/Text.h"
#include "Views/Style.h"

#include <QPainter>

namespace glimmerwick {

namespace {

constexpr int fontSize = 12;
constexpr int inset = 8;

} // namespace

CategoryHeaderView::CategoryHeaderView(QWidget* parent) : CollectionReusableView(parent)
{
    setObjectName(QStringLiteral("categoryHeader"));
}

void CategoryHeaderView::setTitle(const std::string& title)
{
    m_title = title;
    setAccessibleName(toQString(title));
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
    const QString title =
        painter.fontMetrics().elidedText(toQString(m_title), Qt::ElideRight, bounds.width());
    painter.drawText(bounds, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, title);
}

} // namespace glimmerwick
