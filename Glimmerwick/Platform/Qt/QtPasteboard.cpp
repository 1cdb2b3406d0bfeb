#include "Platform/Qt/QtPasteboard.h"

#include "Platform/Linux/HistoryHint.h"
#include "Platform/Qt/Text.h"

#include <QByteArray>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include <memory>

namespace glimmerwick {

void QtPasteboard::clearContents()
{
    m_contents.clear();
    // The rest comes at once with what is put there, so that nobody sees a clipboard that is half filled.
}

bool QtPasteboard::setString(std::string_view text, const std::string& type)
{
    return setData(text, type);
}

bool QtPasteboard::setData(std::string_view bytes, const std::string& type)
{
    m_contents[type] = bytes;
    return offer();
}

bool QtPasteboard::offer()
{
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
    QClipboard* const clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(contents.release());
    return clipboard->ownsClipboard();
}

std::optional<std::string> QtPasteboard::string(const std::string& type)
{
    const QMimeData* const contents = QGuiApplication::clipboard()->mimeData();
    if (!contents || type != pasteboardType::string || !contents->hasText()) {
        return std::nullopt;
    }
    return toUtf8(contents->text());
}

} // namespace glimmerwick
