#include "Platform/Qt/QtPasteboard.h"

#include "Platform/Linux/HistoryHint.h"
#include "Platform/Qt/Text.h"

#include <QByteArray>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimer>

#include <memory>

namespace glimmerwick {

void QtPasteboard::clearContents()
{
    m_contents.clear();
    m_isPending.reset();
}

bool QtPasteboard::setString(std::string_view text, const std::string& type)
{
    return setData(text, type);
}

bool QtPasteboard::setData(std::string_view bytes, const std::string& type)
{
    // The toolkit would say that it has the clipboard, and nobody else would get anything.
    if (!QGuiApplication::focusWindow()) {
        return false;
    }
    m_contents[type] = bytes;
    if (type == pasteboardType::concealed) {
        offer();
    } else if (!m_isPending) {
        m_isPending = std::make_shared<const bool>(true);
        QTimer::singleShot(0, qGuiApp, [this, isPending = std::weak_ptr(m_isPending)] {
            if (!isPending.expired()) {
                offer();
            }
        });
    }
    return true;
}

void QtPasteboard::offer()
{
    m_isPending.reset();
    auto contents = std::make_unique<QMimeData>();
    for (const auto& [type, bytes] : m_contents) {
        if (type == pasteboardType::string) {
            contents->setText(toQString(bytes));
        } else {
            contents->setData(toQString(type), QByteArray::fromStdString(bytes));
        }
    }
    if (m_contents.contains(pasteboardType::concealed)) {
        contents->setData(toQString(historyHint::target), QByteArray::fromStdString(historyHint::secret));
    }
    QGuiApplication::clipboard()->setMimeData(contents.release());
}

std::optional<std::string> QtPasteboard::string(const std::string& type)
{
    if (m_isPending) {
        const auto found = m_contents.find(type);
        return found == m_contents.end() ? std::nullopt : std::optional(found->second);
    }
    const QMimeData* const contents = QGuiApplication::clipboard()->mimeData();
    if (!contents || type != pasteboardType::string || !contents->hasText()) {
        return std::nullopt;
    }
    return toUtf8(contents->text());
}

} // namespace glimmerwick
