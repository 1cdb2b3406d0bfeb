#pragma once

#include "Views/AboutWindow.h"

#include <QWidget>

namespace glimmerwick {

class DialogLabel;
class PlainTextView;

/// What the window about the program shows. Main thread.
class AboutBody : public QWidget {
public:
    /// Keeps a reference to the content.
    explicit AboutBody(const AboutContent& content);

    /// Asks for the catalogue's version again.
    void refresh();
    /// Shows the licences, which are read when they are first wanted, or hides them again.
    void toggleLicences();

    PlainTextView& licences() const { return *m_licences; }

private:
    const AboutContent& m_content;
    DialogLabel* m_catalogueVersion;
    PlainTextView* m_licences;
    QWidget* m_licencesRoom;
};

} // namespace glimmerwick
