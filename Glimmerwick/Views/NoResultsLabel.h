#pragma once

#include <QLabel>

namespace glimmerwick {

/// Tells, in the middle of its place, that a search has found nothing. Main thread.
class NoResultsLabel : public QLabel {
public:
    /// Hidden.
    explicit NoResultsLabel(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace glimmerwick
