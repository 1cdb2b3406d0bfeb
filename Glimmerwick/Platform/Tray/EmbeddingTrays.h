#pragma once

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <functional>

struct xcb_connection_t;

namespace glimmerwick {

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
    /// The toolkit's; null where Qt does not run on X11.
    xcb_connection_t* const m_display;
    const std::uint32_t m_traySelection;
    const std::uint32_t m_announcement;
};

} // namespace glimmerwick
