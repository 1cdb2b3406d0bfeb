#pragma once

#include <QDBusAbstractAdaptor>

namespace glimmerwick {

/// Tells listeners on the bus that an emoji was copied; what the arguments are stands with
/// TypeManagerAdaptor.
class ClipboardManagerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.glimmerwick.ClipboardManager")

public:
    explicit ClipboardManagerAdaptor(QObject& instance);

signals:
    void emojiCopied(const QString& emoji, const QString& codepoint, const QString& name);
};

} // namespace glimmerwick
