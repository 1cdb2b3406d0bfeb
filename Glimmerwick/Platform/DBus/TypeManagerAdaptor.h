#pragma once

#include <QDBusAbstractAdaptor>

namespace glimmerwick {

/// Tells listeners on the bus how typing goes. An emoji is its text as the catalogue has it, without a skin
/// tone, its codepoints joined by dashes, and its name.
class TypeManagerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.glimmerwick.TypeManager")

public:
    explicit TypeManagerAdaptor(QObject& instance);

signals:
    void willTypeEmoji(const QString& emoji, const QString& codepoint, const QString& name);
    void didTypeEmoji(const QString& emoji, const QString& codepoint, const QString& name);
    void typingFailed(const QString& emoji, const QString& codepoint, const QString& name,
                      const QString& error);
};

} // namespace glimmerwick
