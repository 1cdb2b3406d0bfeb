#include "Platform/Wayland/WaylandClipboardService.h"

#include "Platform/Linux/HistoryHint.h"
#include "Platform/Pasteboard.h"
#include "Platform/Qt/SelectionText.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

// Nothing tells who takes it: a clipboard history may have done so, before the application. Nor does anything
// tell that Chromium, which takes it twice, is between the two.
constexpr auto pasteAfterTaking = 500ms;

// Contents follow the clearing at once, and the paste or the mark that tells what histories may do with them
// a little later. On a busy machine the main thread may take so long for that.
constexpr auto holdTime = 500ms;

// Without progress and altogether.
constexpr auto ownersStall = 1s;
constexpr auto ownersTime = 5s;
// The user waits for the emoji meanwhile.
constexpr auto hintStall = 100ms;
constexpr auto hintTime = 200ms;
constexpr auto primaryStall = 100ms;
constexpr auto primaryTime = 200ms;

SharedWaylandClipboardContents noContents()
{
    return std::make_shared<const WaylandClipboardContents>();
}

// Programs write UTF-8 under the names that leave the encoding open, or mean Latin-1; but some do mean it.
std::optional<std::string> decoded(std::string bytes, const std::string& type)
{
    const bool isOpen = type == "text/plain" || type == "TEXT" || type == "STRING";
    return selectionText(std::move(bytes), isOpen ? "text/plain" : "UTF8_STRING");
}

} // namespace

WaylandClipboardService::WaylandClipboardService(WaylandDisplay& display,
                                                 std::function<void()> onPasteNotTaken)
    : m_display(display), m_onPasteNotTaken(std::move(onPasteNotTaken)), m_transfers(display),
      m_control(WaylandDataControl::make(
          display, [this](WaylandSelection selection, std::shared_ptr<WaylandDataOffer> offer) {
              handleSelection(selection, std::move(offer));
          }))
{
    // For what the selections are now.
    m_display.roundTrip();
}

WaylandClipboardService::~WaylandClipboardService() = default;

void WaylandClipboardService::clear()
{
    if (m_lastRead) {
        m_userText = std::exchange(m_lastRead, std::nullopt);
    }
    // Whoever takes the clipboard after this takes it from here, though others are not told yet.
    m_isOwned = m_control && m_display.roundTrip();
    m_contents = noContents();
    showClipboardLater();
}

bool WaylandClipboardService::add(const std::string& type, std::string bytes)
{
    const bool isUserText = type == pasteboardType::string && m_userText && *m_userText->text == bytes;
    // Needed no longer, whether or not it can be put back.
    const auto putBack = isUserText ? std::exchange(m_userText, std::nullopt) : std::nullopt;
    if (!stillOwns()) {
        return false;
    }
    auto contents = *m_contents;
    contents.isSecret = contents.isSecret || (putBack && putBack->isSecret);
    contents.byType[type] = std::make_shared<const std::string>(std::move(bytes));
    m_contents = std::make_shared<const WaylandClipboardContents>(std::move(contents));
    if (putBack || type == pasteboardType::concealed) {
        showClipboard();
        // So that whoever is told of it, by this program, finds it there.
        m_display.roundTrip();
    } else {
        showClipboardLater();
    }
    return true;
}

bool WaylandClipboardService::stillOwns()
{
    return m_isOwned && m_display.roundTrip() && m_isOwned;
}

std::optional<std::string> WaylandClipboardService::read(const std::string& type,
                                                         const std::optional<std::string>& toolkitText)
{
    m_lastRead.reset();
    if (stillOwns()) {
        const auto bytes = m_contents->find(type);
        takeHeldText(type, bytes);
        return bytes ? std::optional(*bytes) : std::nullopt;
    }
    if (toolkitText) {
        if (type != pasteboardType::string) {
            return std::nullopt;
        }
        rememberRead(*toolkitText, false);
        return toolkitText;
    }
    m_display.roundTrip();
    const auto offer = m_clipboard.offer;
    const WaylandPatience patience{ownersStall, SteadyClock::now() + ownersTime};
    auto text = readOffer(offer, type, patience);
    if (text && type == pasteboardType::string) {
        rememberRead(*text, isMarkedSecret(*offer, patience.end));
    }
    return text;
}

// While the user's text waits to be put back, what is here instead is not the user's.
void WaylandClipboardService::takeHeldText(const std::string& type,
                                           const WaylandClipboardContents::Bytes& bytes)
{
    if (bytes && type == pasteboardType::string && !m_userText) {
        m_lastRead = UserText{bytes, m_contents->isSecret};
    }
}

void WaylandClipboardService::rememberRead(std::string text, bool isSecret)
{
    m_lastRead = UserText{std::make_shared<const std::string>(std::move(text)), isSecret};
}

std::optional<std::string> WaylandClipboardService::readOffer(const std::shared_ptr<WaylandDataOffer>& offer,
                                                              const std::string& type,
                                                              const WaylandPatience& patience)
{
    if (!offer) {
        return std::nullopt;
    }
    if (type != pasteboardType::string) {
        return offer->includes(type) ? receiveContents(m_display, *offer, type, patience) : std::nullopt;
    }
    const auto name = std::ranges::find_if(waylandTextTypes(),
                                           [&](const auto& candidate) { return offer->includes(candidate); });
    if (name == waylandTextTypes().end()) {
        return std::nullopt;
    }
    auto bytes = receiveContents(m_display, *offer, *name, patience);
    return bytes ? decoded(std::move(*bytes), *name) : std::nullopt;
}

bool WaylandClipboardService::isMarkedSecret(WaylandDataOffer& offer, Time end)
{
    if (!offer.includes(historyHint::target)) {
        return false;
    }
    const auto hint = receiveContents(m_display, offer, historyHint::target,
                                      {hintStall, std::min(end, SteadyClock::now() + hintTime)});
    // An ordinary text that histories leave out does less harm than a password that they show.
    return !hint || *hint == historyHint::secret;
}

WaylandClipboardService::Side& WaylandClipboardService::side(WaylandSelection selection)
{
    return selection == WaylandSelection::clipboard ? m_clipboard : m_primary;
}

void WaylandClipboardService::show(WaylandSelection selection, SharedWaylandClipboardContents contents)
{
    const auto types = contents->offeredTypes();
    if (types.empty()) {
        withdraw(selection);
        return;
    }
    // There only once the source is made, which needs the handlers.
    const auto self = std::make_shared<const WaylandDataSource*>(nullptr);
    auto source = m_control->offer(
        selection, types,
        {[this, contents](const std::string& type, int descriptor) { send(contents, type, descriptor); },
         [this, selection, self] { handleCancellation(selection, *self); }});
    *self = source.get();
    retire(std::exchange(side(selection).source, std::move(source)));
}

void WaylandClipboardService::withdraw(WaylandSelection selection)
{
    m_control->clear(selection);
    retire(std::exchange(side(selection).source, nullptr));
}

void WaylandClipboardService::retire(std::unique_ptr<WaylandDataSource> source)
{
    if (source) {
        m_retired.push_back(std::move(source));
    }
}

void WaylandClipboardService::showClipboard()
{
    m_showing.reset();
    m_isChangeUntold = m_paste.has_value();
    if (!m_isChangeUntold && m_isOwned) {
        show(WaylandSelection::clipboard, m_contents);
    }
}

void WaylandClipboardService::showClipboardLater()
{
    m_showing = m_display.at(SteadyClock::now() + holdTime, [this] { showClipboard(); });
}

void WaylandClipboardService::handleSelection(WaylandSelection selection,
                                              std::shared_ptr<WaylandDataOffer> offer)
{
    const bool isAnothers = offer && !side(selection).source;
    side(selection).offer = std::move(offer);
    if (selection == WaylandSelection::clipboard && isAnothers) {
        loseClipboard();
    }
}

void WaylandClipboardService::handleCancellation(WaylandSelection selection, const WaylandDataSource* source)
{
    m_retired.remove_if([source](const auto& retired) { return retired.get() == source; });
    if (side(selection).source.get() != source) {
        return;
    }
    side(selection).source.reset();
    if (selection == WaylandSelection::clipboard) {
        loseClipboard();
    }
}

void WaylandClipboardService::loseClipboard()
{
    m_isOwned = false;
    m_isChangeUntold = false;
    m_showing.reset();
    m_contents = noContents();
}

void WaylandClipboardService::send(const SharedWaylandClipboardContents& contents, const std::string& type,
                                   int descriptor)
{
    const auto bytes = contents->offered(type);
    if (!bytes) {
        close(descriptor);
        return;
    }
    const bool isTaken = m_transfers.begin(descriptor, bytes) && type != historyHint::target;
    if (isTaken && m_paste && m_paste->contents == contents) {
        m_paste->span.noteTaking(SteadyClock::now());
        letPasteEnd();
    }
}

bool WaylandClipboardService::beginPaste(PasteSelections selections)
{
    if (!stillOwns()) {
        return false;
    }
    markPassing();
    awaitEarlierPaste();
    if (const auto earlier = std::exchange(m_paste, std::nullopt)) {
        putPrimaryBack(*earlier);
    }
    showClipboard();
    // What was read since the contents were put here are these contents.
    m_lastRead.reset();
    Paste paste(m_contents);
    if (selections == PasteSelections::clipboardAndPrimary
        && m_control->controls(WaylandSelection::primary)) {
        replacePrimary(paste);
    }
    if (!stillOwns()) {
        putPrimaryBack(paste);
        return false;
    }
    // Not before: what took time until here was not the application.
    paste.span = PasteSpan(SteadyClock::now(), pasteAfterTaking);
    m_paste = std::move(paste);
    letPasteEnd();
    return true;
}

// Before an earlier paste is waited for, whose end would show them without their mark otherwise.
void WaylandClipboardService::markPassing()
{
    auto contents = *m_contents;
    contents.isPassing = true;
    m_contents = std::make_shared<const WaylandClipboardContents>(std::move(contents));
    m_showing.reset();
    m_isChangeUntold = false;
}

// Nothing in what an application asks for tells two pastes apart.
void WaylandClipboardService::awaitEarlierPaste()
{
    if (m_paste && !m_paste->span.isTaken()) {
        m_display.turnUntil([this] { return !m_paste; }, Time::max());
    }
}

void WaylandClipboardService::replacePrimary(Paste& paste)
{
    paste.usesPrimary = true;
    const auto text =
        readOffer(m_primary.offer, pasteboardType::string, {primaryStall, SteadyClock::now() + primaryTime});
    paste.savedPrimary = text ? std::make_shared<const std::string>(*text) : nullptr;
    show(WaylandSelection::primary, paste.contents);
}

void WaylandClipboardService::letPasteEnd()
{
    m_paste->end = m_display.at(m_paste->span.end(), [this] { expirePaste(); });
}

void WaylandClipboardService::cancelPaste()
{
    if (m_paste) {
        endPaste();
    }
}

void WaylandClipboardService::expirePaste()
{
    const bool isTaken = m_paste->span.isTaken();
    endPaste();
    if (!isTaken) {
        std::fprintf(stderr, "glimmerwick: nobody has taken the emoji from the clipboard\n");
        m_onPasteNotTaken();
    }
}

void WaylandClipboardService::endPaste()
{
    const Paste paste = *std::exchange(m_paste, std::nullopt);
    putPrimaryBack(paste);
    if (std::exchange(m_isChangeUntold, false)) {
        showClipboard();
    }
}

// The user's selected text cannot be selected again from here, but it can be offered.
void WaylandClipboardService::putPrimaryBack(const Paste& paste)
{
    // Another program has it when the source is gone.
    if (!paste.usesPrimary || !m_primary.source) {
        return;
    }
    WaylandClipboardContents contents;
    if (paste.savedPrimary) {
        contents.byType[pasteboardType::string] = paste.savedPrimary;
    }
    show(WaylandSelection::primary, std::make_shared<const WaylandClipboardContents>(std::move(contents)));
}

} // namespace glimmerwick
