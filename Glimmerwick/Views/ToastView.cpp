#include "Views/ToastView.h"

#include "Platform/MainQueue.h"
#include "Platform/Qt/Text.h"
#include "Views/AccessibleControls.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int fontSize = 13;
constexpr int sideInset = 12;
constexpr int verticalInset = 6;
constexpr double cornerRadius = 8;
/// Kept free at the host's edges.
constexpr int hostMargin = 8;
constexpr int fadeDuration = 150;
constexpr std::chrono::milliseconds visibleDuration(800);

QFont labelFont()
{
    return style::systemFont(fontSize, QFont::Medium);
}

} // namespace

ToastView::ToastView(const std::string& message, MainQueue& mainQueue)
    : m_message(message), m_mainQueue(mainQueue)
{
    accessibility::installControls();
    setAccessibleName(toQString(message));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    m_fade.setDuration(fadeDuration);
    QObject::connect(&m_fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_alpha = value.toDouble();
        update();
    });
}

void ToastView::showCopied(QWidget& host, std::optional<QPointF> point, MainQueue& mainQueue)
{
    auto* toast = new ToastView(toUtf8(QCoreApplication::translate("ToastView", "Copied!")), mainQueue);
    toast->show(host, point);
}

void ToastView::show(QWidget& host, std::optional<QPointF> point, std::function<void()> onDismiss)
{
    m_onDismiss = std::move(onDismiss);
    QSize size = sizeHint();
    size.setWidth(std::min(size.width(), host.width() - 2 * hostMargin));
    const QPointF centre = point.value_or(QRectF(host.rect()).center());
    setParent(&host);
    setGeometry(QRect(
        QPoint(qRound(centre.x() - size.width() / 2.0), qRound(centre.y() - size.height() / 2.0)), size));
    QWidget::show();
    raise();
    fade(1, nullptr);
    m_dismissTimer = m_mainQueue.asyncAfter(visibleDuration, [this, alive = m_lifetime.watch()] {
        if (alive) {
            dismiss();
        }
    });
}

void ToastView::dismiss()
{
    m_dismissTimer.reset();
    if (!std::exchange(m_isDismissing, true)) {
        fade(0, [this] { remove(); });
    }
}

void ToastView::fade(double alpha, std::function<void()> completion)
{
    m_fade.stop();
    QObject::disconnect(&m_fade, &QVariantAnimation::finished, this, nullptr);
    if (!style::animationsEnabled()) {
        m_alpha = alpha;
        update();
        if (completion) {
            completion();
        }
        return;
    }
    if (completion) {
        QObject::connect(&m_fade, &QVariantAnimation::finished, this, std::move(completion));
    }
    m_fade.setStartValue(m_alpha);
    m_fade.setEndValue(alpha);
    m_fade.start();
}

void ToastView::remove()
{
    hide();
    setParent(nullptr);
    deleteLater();
    if (const auto told = std::exchange(m_onDismiss, nullptr)) {
        told();
    }
}

QSize ToastView::sizeHint() const
{
    const QSizeF text = QFontMetricsF(labelFont()).size(Qt::TextSingleLine, toQString(m_message));
    return {static_cast<int>(std::ceil(text.width())) + 2 * sideInset,
            static_cast<int>(std::ceil(text.height())) + 2 * verticalInset};
}

void ToastView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(m_alpha);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0.1F, 0.1F, 0.1F, 0.9F));
    painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    painter.setFont(labelFont());
    painter.setPen(Qt::white);
    const QRect line = rect().adjusted(sideInset, 0, -sideInset, 0);
    const QString text =
        QFontMetricsF(painter.font()).elidedText(toQString(m_message), Qt::ElideRight, line.width());
    painter.drawText(line, Qt::AlignCenter | Qt::TextSingleLine, text);
}

} // namespace glimmerwick
