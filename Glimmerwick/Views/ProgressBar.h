#pragma once

#include <QProgressBar>
#include <QVariantAnimation>

#include <cstdint>

namespace glimmerwick {

/// A thin bar in the accent's colour that says how much is done, or that something goes on. Busy until told
/// otherwise. Main thread.
class ProgressBar : public QProgressBar {
public:
    explicit ProgressBar(const QString& accessibleName, QWidget* parent = nullptr);

    /// In thousandths of the whole.
    static constexpr int whole = 1000;

    /// What is more than the total counts as all of it. A total of zero is an unknown one.
    void setProgress(std::uint64_t done, std::uint64_t total);
    bool isBusy() const { return maximum() == 0; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void animateIfBusy();
    QRectF filledPart() const;

    QVariantAnimation m_motion{this};
};

} // namespace glimmerwick
