#pragma once

#include <QIcon>
#include <QWidget>

namespace glimmerwick {

/// The program's icon: the theme's, or a drawn one where the theme has none. Main thread.
class ProgramIcon : public QWidget {
public:
    explicit ProgramIcon(int side, QWidget* parent = nullptr);

    /// For window managers and task bars.
    static QIcon icon();

    QSize sizeHint() const override { return {m_side, m_side}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const int m_side;
};

} // namespace glimmerwick
