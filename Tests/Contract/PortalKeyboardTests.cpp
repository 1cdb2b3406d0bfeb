#include "Platform/DBus/PortalKeyboard.h"

#include "Contract/EventLoop.h"
#include "Contract/RemoteDesktopPortal.h"
#include "Fakes/FakeServices.h"
#include "Platform/DBus/PasteTrust.h"
#include "Platform/DBus/PortalRegistration.h"
#include "Platform/DBus/SessionBus.h"

#include <gmock/gmock.h>

#include <QDBusPendingCallWatcher>
#include <QObject>

#include <xkbcommon/xkbcommon-keysyms.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Portal = RemoteDesktopPortal;
using Refusal = PortalKeyboard::Refusal;
using Response = Portal::Response;
using State = PortalKeyboard::State;

const KeySymbols controlV{XKB_KEY_Control_L, XKB_KEY_v};

/// As the portal notes a key.
std::string down(std::uint32_t symbol)
{
    return "+" + std::to_string(symbol);
}

std::string up(std::uint32_t symbol)
{
    return "-" + std::to_string(symbol);
}

class PortalKeyboardTest : public testing::Test {
protected:
    void startPortal(Portal::Behaviour behaviour = {}, std::set<std::string> tokens = {})
    {
        portal.reset();
        portal = std::make_unique<Portal>(std::move(behaviour), std::move(tokens));
    }

    /// Whether this program has seen what came from the portal and the bus so far, and what it sent upon that
    /// has arrived.
    bool isSettled() { return isAnswered() && isAnswered(); }

    bool isAnswered()
    {
        const QDBusPendingCallWatcher question(bus.connection().asyncCall(Portal::question()));
        bool isAnswered = false;
        QObject::connect(&question, &QDBusPendingCallWatcher::finished, [&] { isAnswered = true; });
        return handleEventsUntil([&] { return isAnswered; });
    }

    void storeToken(const std::string& token)
    {
        userDefaults.setString(PortalKeyboard::restoreTokenKey, token);
    }
    std::string storedToken()
    {
        return userDefaults.string(PortalKeyboard::restoreTokenKey).value_or("nothing");
    }

    void makeKeyboard(PortalKeyboard::Patience limits = {patience, patience})
    {
        keyboard = std::make_unique<PortalKeyboard>(
            bus, registration, userDefaults,
            PortalKeyboard::Hooks{[this](Refusal refusal) { refusals.push_back(refusal); },
                                  [this] { ++grantedCount; },
                                  [this](std::string_view problem) { problems.emplace_back(problem); }},
            limits);
    }

    bool becomes(State state)
    {
        return handleEventsUntil([&] { return keyboard->state() == state; });
    }

    void getConsent()
    {
        keyboard->requestConsent();
        ASSERT_TRUE(portal->asksTheUser());
        portal->answerDialog(Response::granted);
        ASSERT_TRUE(becomes(State::granted));
    }

    /// For what is never answered.
    static constexpr PortalKeyboard::Patience little{50ms, 50ms};

    SessionBus bus;
    PortalRegistration registration{bus, "com.glimmerwick.Glimmerwick"};
    fakes::FakeUserDefaults userDefaults;
    std::vector<Refusal> refusals;
    int grantedCount = 0;
    std::vector<std::string> problems;
    std::unique_ptr<Portal> portal;
    std::unique_ptr<PortalKeyboard> keyboard;
};

TEST_F(PortalKeyboardTest, withoutATokenNothingIsAskedUntilTheUserWantsIt)
{
    startPortal();
    makeKeyboard();

    ASSERT_TRUE(isSettled());
    EXPECT_THAT(portal->calls(), IsEmpty());
    EXPECT_EQ(keyboard->state(), State::idle);
    EXPECT_FALSE(keyboard->isReady());
    EXPECT_FALSE(keyboard->press(controlV));
}

TEST_F(PortalKeyboardTest, consentAsksForAKeyboardThatStaysAllowed)
{
    startPortal();
    makeKeyboard();

    keyboard->requestConsent();
    EXPECT_EQ(keyboard->state(), State::asking);
    ASSERT_TRUE(portal->asksTheUser());

    EXPECT_FALSE(keyboard->isReady());
    EXPECT_THAT(portal->calls(), ElementsAre("Register", "CreateSession", "SelectDevices", "Start"));
    EXPECT_EQ(portal->registeredName(), "com.glimmerwick.Glimmerwick");
    const QVariantMap options = portal->options("SelectDevices");
    EXPECT_EQ(options["types"], QVariant(1U));
    EXPECT_EQ(options["persist_mode"], QVariant(2U));
    EXPECT_FALSE(options.contains("restore_token"));

    EXPECT_EQ(grantedCount, 0);
    portal->answerDialog(Response::granted);
    EXPECT_TRUE(becomes(State::granted));
    EXPECT_TRUE(keyboard->isReady());
    EXPECT_EQ(grantedCount, 1);
    EXPECT_THAT(refusals, IsEmpty());
}

TEST_F(PortalKeyboardTest, anOpenDialogAndAGivenConsentAreNotAskedForAgain)
{
    startPortal();
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());

    keyboard->requestConsent();
    portal->answerDialog(Response::granted);
    ASSERT_TRUE(becomes(State::granted));
    keyboard->requestConsent();
    ASSERT_TRUE(keyboard->press(controlV));

    EXPECT_EQ(portal->count("CreateSession"), 1U);
}

TEST_F(PortalKeyboardTest, requestsThatAreElsewhereAreFound)
{
    for (const auto requests : {Portal::Requests::elsewhere, Portal::Requests::elsewhereAndAnsweredFirst}) {
        keyboard.reset();
        startPortal({.requests = requests});
        makeKeyboard();

        getConsent();

        EXPECT_TRUE(keyboard->press(controlV));
        storeToken("");
    }
}

TEST_F(PortalKeyboardTest, aRefusalIsToldAndRememberedUntilTheUserWantsItAgain)
{
    for (const auto& [response, refusal] :
         {std::pair(Response::cancelled, Refusal::byUser), std::pair(Response::ended, Refusal::byPortal)}) {
        refusals.clear();
        startPortal();
        makeKeyboard();
        keyboard->requestConsent();
        ASSERT_TRUE(portal->asksTheUser());
        portal->answerDialog(response);

        ASSERT_TRUE(becomes(State::refused));
        EXPECT_THAT(refusals, ElementsAre(refusal));
        EXPECT_FALSE(keyboard->isReady());
        ASSERT_TRUE(portal->isCalled("Close org.freedesktop.portal.Session"));
        EXPECT_EQ(portal->count("CreateSession"), 1U);

        getConsent();
        EXPECT_TRUE(keyboard->isReady());
        keyboard.reset();
        storeToken("");
    }
}

TEST_F(PortalKeyboardTest, aRefusalOutlivesThePortal)
{
    startPortal();
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());
    portal->answerDialog(Response::cancelled);
    ASSERT_TRUE(becomes(State::refused));

    startPortal();
    ASSERT_TRUE(isSettled());

    EXPECT_EQ(keyboard->state(), State::refused);
    EXPECT_EQ(portal->count("CreateSession"), 0U);
}

TEST_F(PortalKeyboardTest, consentWithoutAKeyboardIsNone)
{
    constexpr unsigned int pointer = 2;
    startPortal({.devices = pointer});
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());

    portal->answerDialog(Response::granted);

    ASSERT_TRUE(becomes(State::refused));
    EXPECT_THAT(refusals, ElementsAre(Refusal::byUser));
    EXPECT_FALSE(keyboard->press(controlV));
    EXPECT_TRUE(portal->isCalled("Close org.freedesktop.portal.Session"));
    EXPECT_THAT(portal->keys(), IsEmpty());
    EXPECT_EQ(userDefaults.string(PortalKeyboard::restoreTokenKey).value_or(""), "");
}

TEST_F(PortalKeyboardTest, theTokenIsWrittenAtOnce)
{
    startPortal();
    makeKeyboard();

    getConsent();

    EXPECT_EQ(storedToken(), "token 1");
    EXPECT_EQ(userDefaults.synchronizeCount, 1);
}

TEST_F(PortalKeyboardTest, aStoredTokenIsUsedWithoutAskingAndReplaced)
{
    startPortal({}, {"from yesterday"});
    storeToken("from yesterday");

    makeKeyboard();

    ASSERT_TRUE(becomes(State::granted));
    EXPECT_EQ(portal->options("SelectDevices")["restore_token"], QVariant("from yesterday"));
    EXPECT_FALSE(portal->isAskingTheUser());
    EXPECT_EQ(storedToken(), "token 1");
    EXPECT_TRUE(keyboard->press(controlV));

    keyboard.reset();
    makeKeyboard();
    ASSERT_TRUE(becomes(State::granted)) << "with the new one";
    EXPECT_EQ(storedToken(), "token 2");
}

TEST_F(PortalKeyboardTest, aTokenThatIsUsedUpAndNotReplacedIsDropped)
{
    startPortal({.givesTokens = false}, {"from yesterday"});
    storeToken("from yesterday");

    makeKeyboard();

    ASSERT_TRUE(becomes(State::granted));
    EXPECT_EQ(storedToken(), "");
}

TEST_F(PortalKeyboardTest, aTokenThatThePortalRejectsIsDroppedAndTheUserNotBothered)
{
    startPortal({.strangeTokens = Portal::StrangeTokens::reject});
    storeToken("from yesterday");

    makeKeyboard();

    ASSERT_TRUE(becomes(State::idle));
    EXPECT_EQ(storedToken(), "");
    EXPECT_THAT(refusals, IsEmpty());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("SelectDevices")));
    ASSERT_TRUE(isSettled());
    EXPECT_EQ(portal->count("Start"), 0U);
    getConsent();
    EXPECT_FALSE(portal->options("SelectDevices").contains("restore_token"));
}

TEST_F(PortalKeyboardTest, aTokenThatEndsTheSessionIsDroppedAndTold)
{
    startPortal({.strangeTokens = Portal::StrangeTokens::endTheRequest});
    storeToken("from yesterday");

    makeKeyboard();

    ASSERT_TRUE(becomes(State::refused));
    EXPECT_EQ(storedToken(), "");
    EXPECT_THAT(refusals, ElementsAre(Refusal::byPortal));
}

TEST_F(PortalKeyboardTest, consentIsAskedForWithoutATokenThatDoesNotWork)
{
    for (const auto tokens : {Portal::StrangeTokens::reject, Portal::StrangeTokens::endTheRequest}) {
        keyboard.reset();
        startPortal({.strangeTokens = tokens});
        storeToken("");
        makeKeyboard();
        // From another run of the program.
        storeToken("from yesterday");

        getConsent();

        EXPECT_EQ(portal->count("SelectDevices"), 2U);
        EXPECT_EQ(storedToken(), "token 1");
        EXPECT_THAT(refusals, IsEmpty());
    }
}

TEST_F(PortalKeyboardTest, consentThatIsWantedWhileASessionIsRestoredFollowsItsFailure)
{
    startPortal({.strangeTokens = Portal::StrangeTokens::reject});
    storeToken("from yesterday");
    makeKeyboard();

    keyboard->requestConsent();

    ASSERT_TRUE(portal->asksTheUser());
    EXPECT_EQ(portal->count("SelectDevices"), 2U);
}

TEST_F(PortalKeyboardTest, aDialogInsteadOfARestoredSessionCanBeRefused)
{
    startPortal();
    storeToken("from yesterday");
    makeKeyboard();
    ASSERT_TRUE(portal->asksTheUser());

    portal->answerDialog(Response::cancelled);

    ASSERT_TRUE(becomes(State::refused));
    EXPECT_EQ(storedToken(), "") << "or the next start would bring the dialog again";
    EXPECT_THAT(refusals, ElementsAre(Refusal::byUser));
}

TEST_F(PortalKeyboardTest, aSessionThatTheUserClosesIsOverUntilConsentIsWanted)
{
    startPortal();
    makeKeyboard();
    getConsent();
    ASSERT_TRUE(keyboard->press(controlV));

    portal->closeSession();

    ASSERT_TRUE(becomes(State::idle));
    EXPECT_FALSE(keyboard->press(controlV));
    EXPECT_EQ(portal->count("CreateSession"), 1U);
    keyboard->requestConsent();
    EXPECT_TRUE(becomes(State::granted)) << "the token still works";
    EXPECT_TRUE(keyboard->press(controlV));
}

TEST_F(PortalKeyboardTest, sessionsOfOthersMayBeClosed)
{
    startPortal();
    makeKeyboard();
    getConsent();

    portal->closeAnotherSession();

    ASSERT_TRUE(isSettled());
    EXPECT_TRUE(keyboard->press(controlV));
}

TEST_F(PortalKeyboardTest, aClosedSessionIsNotRestoredByANewPortal)
{
    startPortal();
    makeKeyboard();
    getConsent();
    portal->closeSession();
    ASSERT_TRUE(becomes(State::idle));

    startPortal({}, {storedToken()});
    ASSERT_TRUE(isSettled());

    EXPECT_EQ(portal->count("CreateSession"), 0U);
}

TEST_F(PortalKeyboardTest, aPortalThatComesBackRestoresTheSession)
{
    startPortal();
    makeKeyboard();
    getConsent();
    for (const char* token : {"token 1", "first", "second"}) {
        storeToken(token);
        portal.reset();
        ASSERT_TRUE(becomes(State::idle));
        EXPECT_FALSE(keyboard->isReady());

        startPortal({}, {token});

        ASSERT_TRUE(becomes(State::granted)) << token;
        EXPECT_FALSE(portal->isAskingTheUser());
        EXPECT_THAT(portal->calls(), ElementsAre("Register", "CreateSession", "SelectDevices", "Start"));
        EXPECT_TRUE(keyboard->press(controlV));
    }
    EXPECT_THAT(refusals, IsEmpty());
}

TEST_F(PortalKeyboardTest, aPortalThatWasNotThereAtFirstLearnsTheProgramsNameToo)
{
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(handleEventsUntil([&] { return keyboard->state() != State::asking; }));
    ASSERT_TRUE(isSettled());

    startPortal();
    ASSERT_TRUE(isSettled());
    keyboard->requestConsent();

    ASSERT_TRUE(portal->asksTheUser());
    EXPECT_EQ(portal->registeredName(), "com.glimmerwick.Glimmerwick");
}

TEST_F(PortalKeyboardTest, aPortalThatFailsEachTimeIsNotAskedEachTime)
{
    startPortal();
    makeKeyboard();
    getConsent();
    const std::string token = storedToken();
    for (const std::size_t expected : {1U, 0U, 0U}) {
        portal.reset();
        ASSERT_TRUE(becomes(State::idle));
        startPortal({.ignored = {"CreateSession"}}, {token});
        ASSERT_TRUE(isSettled());
        EXPECT_EQ(portal->count("CreateSession"), expected);
    }
    EXPECT_EQ(storedToken(), token) << "nobody has refused it";
    EXPECT_THAT(refusals, IsEmpty());
    startPortal({}, {token});
    ASSERT_TRUE(isSettled());
    keyboard->requestConsent();
    EXPECT_TRUE(becomes(State::granted));
}

TEST_F(PortalKeyboardTest, aPortalThatGoesWithItsDialogIsToldOf)
{
    startPortal();
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());

    portal.reset();

    ASSERT_TRUE(becomes(State::idle));
    EXPECT_THAT(refusals, ElementsAre(Refusal::byPortal));
}

TEST_F(PortalKeyboardTest, withoutAPortalConsentIsToldToBeUnavailable)
{
    makeKeyboard();

    keyboard->requestConsent();

    ASSERT_TRUE(becomes(State::noPortal));
    EXPECT_THAT(refusals, ElementsAre(Refusal::byPortal));
    EXPECT_FALSE(keyboard->press(controlV));
    startPortal();
    ASSERT_TRUE(becomes(State::idle));
    getConsent();
}

TEST_F(PortalKeyboardTest, aPortalThatComesLaterRestoresTheSession)
{
    storeToken("from yesterday");
    makeKeyboard();
    ASSERT_TRUE(becomes(State::noPortal));
    EXPECT_THAT(refusals, IsEmpty());

    startPortal({}, {"from yesterday"});

    EXPECT_TRUE(becomes(State::granted));
}

TEST_F(PortalKeyboardTest, aPortalThatNeverAnswersHoldsNothingUp)
{
    startPortal({.ignored = {"CreateSession"}}, {"from yesterday"});
    storeToken("from yesterday");

    makeKeyboard();

    EXPECT_EQ(keyboard->state(), State::asking) << "and the program goes on";
    EXPECT_FALSE(keyboard->isReady());
    EXPECT_FALSE(keyboard->press(controlV));
    ASSERT_TRUE(portal->isCalled("CreateSession"));
}

TEST_F(PortalKeyboardTest, aPortalThatNeverAnswersIsGivenUp)
{
    const Portal::Behaviour behaviours[] = {
        {.ignored = {"CreateSession"}},
        {.ignored = {"SelectDevices"}},
        {.unfinished = {"CreateSession"}},
        {.unfinished = {"SelectDevices"}},
    };
    for (const Portal::Behaviour& behaviour : behaviours) {
        refusals.clear();
        keyboard.reset();
        startPortal(behaviour);
        makeKeyboard(little);
        keyboard->requestConsent();

        EXPECT_TRUE(becomes(State::idle));
        EXPECT_THAT(refusals, ElementsAre(Refusal::byPortal));
        EXPECT_TRUE(portal->isCalled("Close org.freedesktop.portal.Request"));
        EXPECT_EQ(portal->count("Start"), 0U);
    }
}

TEST_F(PortalKeyboardTest, keysArriveInOrderBeforeTheCallReturns)
{
    startPortal();
    makeKeyboard();
    getConsent();

    ASSERT_TRUE(keyboard->press(controlV));
    EXPECT_THAT(portal->keys(), ElementsAre(down(XKB_KEY_Control_L), down(XKB_KEY_v)));
    keyboard->release(controlV);

    EXPECT_THAT(portal->keys(),
                ElementsAre(down(XKB_KEY_Control_L), down(XKB_KEY_v), up(XKB_KEY_v), up(XKB_KEY_Control_L)));
}

TEST_F(PortalKeyboardTest, anyKeyThatHasASymbolCanBeTyped)
{
    startPortal();
    makeKeyboard();

    EXPECT_TRUE(keyboard->canType(XKB_KEY_v));
    EXPECT_TRUE(keyboard->canType(XKB_KEY_Insert));
    EXPECT_FALSE(keyboard->canType(XKB_KEY_NoSymbol));
}

TEST_F(PortalKeyboardTest, aKeyThatFailsStopsTheOthersAndLetsGoWhatIsDown)
{
    startPortal({.failingSymbols = {XKB_KEY_Shift_L}});
    makeKeyboard();
    getConsent();

    EXPECT_FALSE(keyboard->press({XKB_KEY_Control_L, XKB_KEY_Shift_L, XKB_KEY_v}));

    ASSERT_TRUE(portal->isCalled("Get")) << "the session is looked at";
    EXPECT_THAT(portal->keys(),
                ElementsAre(down(XKB_KEY_Control_L), down(XKB_KEY_Shift_L), up(XKB_KEY_Shift_L),
                            up(XKB_KEY_Control_L)));
    keyboard->release({XKB_KEY_Control_L, XKB_KEY_Shift_L, XKB_KEY_v});
    EXPECT_EQ(portal->keys().size(), 4U) << "nothing is left to release";
    EXPECT_TRUE(keyboard->press(controlV)) << "the session is still there";
}

TEST_F(PortalKeyboardTest, aSessionThatIsFoundGoneWhenAKeyFailsIsOver)
{
    startPortal({.failing = {"NotifyKeyboardKeysym", "Get"}});
    makeKeyboard();
    getConsent();

    EXPECT_FALSE(keyboard->press(controlV));

    EXPECT_TRUE(becomes(State::idle));
    EXPECT_EQ(portal->count("CreateSession"), 1U);
}

TEST_F(PortalKeyboardTest, keysThatAreNeverAnsweredAreGivenUp)
{
    startPortal();
    makeKeyboard(PortalKeyboard::Patience{50ms, patience});
    getConsent();
    portal->change([](Portal::Behaviour& behaviour) { behaviour.ignored = {"NotifyKeyboardKeysym"}; });

    EXPECT_FALSE(keyboard->press(controlV));

    ASSERT_TRUE(portal->isCalled("Get"));
    EXPECT_THAT(portal->keys(), ElementsAre(down(XKB_KEY_Control_L), up(XKB_KEY_Control_L)));
}

TEST_F(PortalKeyboardTest, everyHeldKeyComesUpThoughTheReleaseOfOneFails)
{
    startPortal();
    makeKeyboard();
    getConsent();
    ASSERT_TRUE(keyboard->press(controlV));
    portal->change([](Portal::Behaviour& behaviour) { behaviour.failingSymbols = {XKB_KEY_v}; });

    keyboard->release(controlV);

    ASSERT_TRUE(portal->isCalled("Get"));
    EXPECT_THAT(portal->keys(), ElementsAre(testing::_, testing::_, up(XKB_KEY_v), up(XKB_KEY_Control_L)));
}

TEST_F(PortalKeyboardTest, heldKeysComeUpBeforeTheSessionEnds)
{
    startPortal();
    makeKeyboard();
    getConsent();
    ASSERT_TRUE(keyboard->press(controlV));

    keyboard.reset();

    ASSERT_TRUE(portal->isCalled("Close org.freedesktop.portal.Session"));
    const auto calls = portal->calls();
    const std::vector<std::string> end(calls.end() - 3, calls.end());
    EXPECT_THAT(end,
                ElementsAre(up(XKB_KEY_v), up(XKB_KEY_Control_L), "Close org.freedesktop.portal.Session"));
}

TEST_F(PortalKeyboardTest, anOpenDialogGoesWithTheKeyboard)
{
    startPortal();
    makeKeyboard();
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());

    keyboard.reset();

    EXPECT_TRUE(portal->isCalled("Close org.freedesktop.portal.Session"));
    EXPECT_EQ(portal->count("Close org.freedesktop.portal.Request"), 1U);
}

TEST_F(PortalKeyboardTest, theRefusalsHookMayEndTheKeyboard)
{
    startPortal();
    bool isToldOf = false;
    keyboard = std::make_unique<PortalKeyboard>(bus, registration, userDefaults,
                                                PortalKeyboard::Hooks{[&](Refusal) {
                                                                          isToldOf = true;
                                                                          keyboard.reset();
                                                                      },
                                                                      nullptr, nullptr},
                                                PortalKeyboard::Patience());
    keyboard->requestConsent();
    ASSERT_TRUE(portal->asksTheUser());

    portal->answerDialog(Response::cancelled);

    EXPECT_TRUE(handleEventsUntil([&] { return isToldOf; }));
}

class PasteTrustTest : public PortalKeyboardTest {
protected:
    fakes::FakeUserNotice notice;
};

/// A keyboard that nobody is asked about.
class PlainKeyboard : public InjectedKeyboard {
public:
    bool isReady() override { return ready; }
    bool canType(std::uint32_t) override { return true; }
    bool press(const KeySymbols&) override { return ready; }
    void release(const KeySymbols&) override { }

    bool ready = true;
};

TEST_F(PasteTrustTest, isWhatTheKeyboardIs)
{
    PlainKeyboard plain;
    PasteTrust trust(&plain, notice);
    EXPECT_TRUE(trust.isTrusted());
    EXPECT_TRUE(trust.isTrustedWithPrompt());
    EXPECT_TRUE(trust.canBeGranted());
    EXPECT_THAT(notice.posted, IsEmpty());

    plain.ready = false;
    EXPECT_FALSE(trust.isTrusted());
    EXPECT_FALSE(trust.canBeGranted());
    EXPECT_THAT(notice.posted, IsEmpty());
}

TEST_F(PasteTrustTest, withoutAKeyboardTheUserIsToldOnce)
{
    PasteTrust trust(static_cast<InjectedKeyboard*>(nullptr), notice);

    EXPECT_FALSE(trust.isTrusted());
    EXPECT_FALSE(trust.canBeGranted());
    EXPECT_FALSE(trust.isTrustedWithPrompt());
    EXPECT_FALSE(trust.isTrustedWithPrompt());

    ASSERT_EQ(notice.posted.size(), 1U);
    EXPECT_THAT(notice.posted[0].body, HasSubstr("press Ctrl+V"));
}

TEST_F(PasteTrustTest, withAPortalTheUserIsAskedWhenTheyAreToBe)
{
    startPortal();
    makeKeyboard();
    PasteTrust trust(*keyboard, notice, [this] { keyboard->requestConsent(); });
    EXPECT_FALSE(trust.isTrusted());
    EXPECT_TRUE(trust.canBeGranted());
    EXPECT_EQ(keyboard->state(), State::idle) << "asking is not prompting";

    EXPECT_FALSE(trust.isTrustedWithPrompt());
    ASSERT_TRUE(portal->asksTheUser());
    portal->answerDialog(Response::granted);
    ASSERT_TRUE(becomes(State::granted));

    EXPECT_TRUE(trust.isTrusted());
    EXPECT_THAT(notice.posted, IsEmpty());
}

TEST_F(PasteTrustTest, aPortalThatRefusesByItselfLeavesCopying)
{
    startPortal({.failing = {"Start"}});
    makeKeyboard();
    PasteTrust trust(*keyboard, notice, [this] { keyboard->requestConsent(); });
    EXPECT_TRUE(trust.canBeGranted());

    EXPECT_FALSE(trust.isTrustedWithPrompt());

    ASSERT_TRUE(becomes(State::refused));
    EXPECT_FALSE(trust.canBeGranted());
}

TEST_F(PasteTrustTest, aRefusalCanStillBeGranted)
{
    startPortal();
    makeKeyboard();
    PasteTrust trust(*keyboard, notice, [this] { keyboard->requestConsent(); });
    trust.isTrustedWithPrompt();
    ASSERT_TRUE(portal->asksTheUser());
    portal->answerDialog(Response::cancelled);
    ASSERT_TRUE(becomes(State::refused));

    EXPECT_FALSE(trust.isTrusted());
    EXPECT_TRUE(trust.canBeGranted());
    trust.isTrustedWithPrompt();
    EXPECT_TRUE(portal->asksTheUser());
}

TEST_F(PasteTrustTest, aPortalThatIsNotThereGrantsNothing)
{
    makeKeyboard();
    PasteTrust trust(*keyboard, notice, [this] { keyboard->requestConsent(); });
    trust.isTrustedWithPrompt();
    ASSERT_TRUE(becomes(State::noPortal));

    EXPECT_FALSE(trust.canBeGranted());
    EXPECT_FALSE(trust.isTrustedWithPrompt());
    EXPECT_EQ(notice.posted.size(), 1U);
}

} // namespace

} // namespace glimmerwick::contract
