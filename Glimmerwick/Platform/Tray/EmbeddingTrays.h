#pragma once

#include <QAbstractNativeEventFilter>

#include <functional>
#include <memory>

namespace glimmerwick {

class X11Connection;

/// Tells when there is a tray on the display that takes windows in, as those from before the session bus do.
/// Main thread, while there is a QGuiApplication.
class EmbeddingTrays : public QAbstractNativeEventFilter {
public:
    /// `isThere` runs from the event loop, each time that one announces itself.
    explicit EmbeddingTrays(std::function<void()> isThere);
    ~EmbeddingTrays() override;

    /// Whether there is one now.
    bool isThereOne() const;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    const std::function<void()> m_isThere;
    /// Null where Qt does not run on X11.
    const std::unique_ptr<X11Connection> m_display;
};

} // namespace glimmerwick
