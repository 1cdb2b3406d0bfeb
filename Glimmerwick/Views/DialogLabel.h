#pragma once

#include <QLabel>

namespace glimmerwick {

/// A text of the program's own windows, shown as it is: markup stays visible, a word too long for a line is
/// broken. Main thread.
class DialogLabel : public QLabel {
public:
    enum class Kind {
        /// A name, large.
        title,
        heading,
        text,
        /// Of less weight.
        secondary,
    };
    enum class Selection { none, possible };

    DialogLabel(Kind kind, const QString& text, Selection selection = Selection::none,
                QWidget* parent = nullptr);

    void setPlainText(const QString& text);
    /// As it was given.
    QString plainText() const { return accessibleName(); }

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyStyle();

    const Kind m_kind;
};

} // namespace glimmerwick
