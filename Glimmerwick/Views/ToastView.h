#pragma once

#include "Platform/Lifetime.h"
#include "Platform/Registration.h"

#include <QPointF>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <optional>
#include <string>

namespace glimmerwick {

class MainQueue;

/// A short message that fades in over a view and goes away by itself. Made per message, on the heap: once
/// shown it belongs to its host and deletes itself after its removal. Main thread.
class ToastView : public QWidget {
public:
    /// The queue runs the automatic dismissal.
    ToastView(const std::string& message, MainQueue& mainQueue);

    /// Shows "Copied!", in the user's language, in the host, centred on the point, or in the host when there
    /// is none.
    static void showCopied(QWidget& host, std::optional<QPointF> point, MainQueue& mainQueue);

    /// `onDismiss` runs once, after the toast has been removed.
    void show(QWidget& host, std::optional<QPointF> point, std::function<void()> onDismiss = nullptr);

    /// Fades out and goes, ahead of time or not.
    void dismiss();

    double alpha() const { return m_alpha; }
    const std::string& message() const { return m_message; }
    /// Of the whole message; narrower, its end is left out.
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fade(double alpha, std::function<void()> completion);
    void remove();

    const std::string m_message;
    MainQueue& m_mainQueue;
    std::function<void()> m_onDismiss;
    Registration m_dismissTimer;
    QVariantAnimation m_fade{this};
    double m_alpha = 0;
    bool m_isDismissing = false;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
