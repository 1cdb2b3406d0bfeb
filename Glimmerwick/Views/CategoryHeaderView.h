#pragma once

#include "Views/CollectionViewItem.h"

#include <QString>

#include <string>

namespace glimmerwick {

/// The title above a section of the grid. Main thread.
class CategoryHeaderView : public CollectionReusableView {
public:
    explicit CategoryHeaderView(QWidget* parent = nullptr);

    /// UTF-8. The program's own titles are shown in the user's language, a catalogue's as they are.
    void setTitle(const std::string& title);
    const std::string& title() const { return m_title; }
    const QString& shownTitle() const { return m_shownTitle; }

    void prepareForReuse() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::string m_title;
    QString m_shownTitle;
};

} // namespace glimmerwick
