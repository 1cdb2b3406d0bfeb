#pragma once

#include "Platform/Linux/PasteSpan.h"
#include "Platform/PasteSurroundings.h"
#include "Platform/Registration.h"
#include "Platform/Wayland/WaylandClipboardContents.h"
#include "Platform/Wayland/WaylandDataControl.h"
#include "Platform/Wayland/WaylandDisplay.h"
#include "Platform/Wayland/WaylandTransfers.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace glimmerwick {

/// Owns and reads the seat's selections. The display's thread.
///
/// Programs are told of every change at once, and what they are told cannot be taken back. So what is offered
/// lags behind the contents: until it is clear whether histories may record them, and, while a paste is under
/// way, until the application has had time to take it. Who asks is not told here, so for that time everybody
/// is offered what is being pasted.
class WaylandClipboardService {
public:
    using Time = WaylandDisplay::Time;

    /// The function is called when a paste is over that nobody has taken.
    WaylandClipboardService(WaylandDisplay& display, std::function<void()> onPasteNotTaken);
    ~WaylandClipboardService();
    WaylandClipboardService(const WaylandClipboardService&) = delete;
    WaylandClipboardService& operator=(const WaylandClipboardService&) = delete;

    void clear();
    bool add(const std::string& type, std::string bytes);

    /// What the toolkit has put on the clipboard, if it is the toolkit's, counts as read: the toolkit itself
    /// cannot be asked while the main thread waits for this.
    std::optional<std::string> read(const std::string& type, const std::optional<std::string>& toolkitText);

    /// False when another program owns the clipboard. Waits while the paste before this one is still to be
    /// taken.
    bool beginPaste(PasteSelections selections);
    void cancelPaste();

private:
    /// One of the selections as programs see it.
    struct Side {
        /// Null while it is another program's, or nobody's.
        std::unique_ptr<WaylandDataSource> source;
        /// Null when nobody offers anything.
        std::shared_ptr<WaylandDataOffer> offer;
    };
    struct Paste {
        explicit Paste(SharedWaylandClipboardContents ofPaste) : contents(std::move(ofPaste)) { }

        SharedWaylandClipboardContents contents;
        PasteSpan span{Time(), {}};
        Registration end;
        bool usesPrimary = false;
        WaylandClipboardContents::Bytes savedPrimary;
    };
    /// What the user had copied.
    struct UserText {
        WaylandClipboardContents::Bytes text;
        bool isSecret = false;
    };

    bool stillOwns();
    void rememberRead(std::string text, bool isSecret);
    void takeHeldText(const std::string& type, const WaylandClipboardContents::Bytes& bytes);
    std::optional<std::string> readOffer(const std::shared_ptr<WaylandDataOffer>& offer,
                                         const std::string& type, const WaylandPatience& patience);
    bool isMarkedSecret(WaylandDataOffer& offer, Time end);

    Side& side(WaylandSelection selection);
    void show(WaylandSelection selection, SharedWaylandClipboardContents contents);
    void showClipboard();
    void showClipboardLater();
    void withdraw(WaylandSelection selection);
    void retire(std::unique_ptr<WaylandDataSource> source);

    void handleSelection(WaylandSelection selection, std::shared_ptr<WaylandDataOffer> offer);
    void handleCancellation(WaylandSelection selection, const WaylandDataSource* source);
    void send(const SharedWaylandClipboardContents& contents, const std::string& type, int descriptor);
    void loseClipboard();

    void markPassing();
    void awaitEarlierPaste();
    void replacePrimary(Paste& paste);
    void letPasteEnd();
    void expirePaste();
    void endPaste();
    void putPrimaryBack(const Paste& paste);

    WaylandDisplay& m_display;
    const std::function<void()> m_onPasteNotTaken;
    WaylandOutgoingTransfers m_transfers;
    /// Null when the compositor has no data control.
    std::unique_ptr<WaylandDataControl> m_control;
    Side m_clipboard;
    Side m_primary;
    /// Replaced by others of this program, but possibly still asked for what they offered.
    std::list<std::unique_ptr<WaylandDataSource>> m_retired;

    /// The clipboard is this program's, whether or not others have been told.
    bool m_isOwned = false;
    SharedWaylandClipboardContents m_contents = std::make_shared<const WaylandClipboardContents>();
    /// Until others are told what the clipboard is now.
    Registration m_showing;
    /// Others are to be told when the paste is over.
    bool m_isChangeUntold = false;
    std::optional<Paste> m_paste;
    /// Between reading it and clearing the clipboard.
    std::optional<UserText> m_lastRead;
    /// From then until it is put back.
    std::optional<UserText> m_userText;
};

} // namespace glimmerwick
