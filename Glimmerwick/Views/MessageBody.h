#pragma once

#include <QString>
#include <QWidget>

namespace glimmerwick {

class DialogLabel;

/// The body of a window that tells something: the program's icon, and beside it a heading, a text and
/// whatever else belongs to them. Main thread.
class MessageBody : public QWidget {
public:
    /// Of everything beside the icon, in points.
    static constexpr int columnWidth = 380;

    /// An empty text takes no room. Owns what is added, which may be null.
    MessageBody(const QString& heading, const QString& text, QWidget* added = nullptr);

    DialogLabel& heading() const { return *m_heading; }
    /// Null when there is no text.
    DialogLabel* text() const { return m_text; }

private:
    DialogLabel* m_heading;
    DialogLabel* m_text = nullptr;
};

} // namespace glimmerwick
