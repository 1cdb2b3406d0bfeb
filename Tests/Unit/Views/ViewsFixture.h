#pragma once

#include "Fakes/FakePlatform.h"

#include "Managers/EmojiDataManager.h"
#include "Managers/EmojiRenderer.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Platform/KeyEvent.h"
#include "Views/SkinTonePopoverController.h"

#include <QApplication>
#include <QEnterEvent>
#include <QMouseEvent>
#include <QWidget>

#include <gtest/gtest.h>

#include <cassert>
#include <string>
#include <vector>

namespace glimmerwick::tests {

/// One category of a catalogue made in code.
struct SampleCategory {
    std::string id;
    std::string name;
    std::vector<std::string> codepoints;
};

inline std::string joined(const std::vector<std::string>& pieces)
{
    std::string text;
    for (const std::string& piece : pieces) {
        text += (text.empty() ? "" : ", ") + piece;
    }
    return text;
}

/// A manifest document. Emoji whose codepoint is in `toned` accept skin tones; those in `missing` are listed
/// by their category but absent from the map.
inline std::string manifestDocument(const std::vector<SampleCategory>& categories,
                                    const std::vector<std::string>& toned = {},
                                    const std::vector<std::string>& missing = {})
{
    const auto contains = [](const std::vector<std::string>& list, const std::string& text) {
        return std::find(list.begin(), list.end(), text) != list.end();
    };
    std::vector<std::string> categoryTexts;
    std::vector<std::string> emojiTexts;
    for (const SampleCategory& category : categories) {
        std::vector<std::string> quoted;
        for (const std::string& codepoint : category.codepoints) {
            quoted.push_back('"' + codepoint + '"');
            if (!contains(missing, codepoint)) {
                emojiTexts.push_back(
                    '"' + codepoint + R"(": {"char": ")" + SkinTone::codepointToChar(codepoint).value()
                    + R"(", "name": "name of )" + codepoint + R"(", "keywords": [], "category": ")"
                    + category.id + R"(", "skinTones": )"
                    + (contains(toned, codepoint) ? "true}" : "false}"));
            }
        }
        categoryTexts.push_back(R"({"id": ")" + category.id + R"(", "name": ")" + category.name
                                + R"(", "icon": "1f600", "emojis": [)" + joined(quoted) + "]}");
    }
    return R"({"version": "1", "lastUpdated": "2026-01-01", "categories": [)" + joined(categoryTexts)
        + R"(], "emojis": {)" + joined(emojiTexts) + "}}";
}

/// So many codepoint strings of consecutive scalars.
inline std::vector<std::string> codepoints(unsigned first, std::size_t count)
{
    std::vector<std::string> made;
    for (std::size_t index = 0; index < count; ++index) {
        char text[16];
        std::snprintf(text, sizeof text, "%x", first + static_cast<unsigned>(index));
        made.emplace_back(text);
    }
    return made;
}

/// Fakes of everything beneath the views, and the managers on them.
class ViewsFixture : public ::testing::Test {
protected:
    ViewsFixture() { fakes.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources"; }

    /// Publishes a manifest as if it had been loaded from the cache.
    void loadManifest(const std::string& document)
    {
        fakes.fileSystem.files[dataManager.cacheDirectory() / "manifest.json"] = {document,
                                                                                  fakes.fileClock.time};
        auto task = dataManager.fetchManifest(false);
        bool succeeded = false;
        task.start([&](const auto& result) { succeeded = result.isSuccess(); });
        fakes.time.runUntilIdle();
        ASSERT_TRUE(succeeded);
    }

    /// Makes the font unable to draw the emoji.
    void makeUnsupported(const std::string& codepoint)
    {
        fakes.textLayout.runs[SkinTone::codepointToChar(codepoint).value()] = {GlyphRun{{0}}};
    }

    fakes::FakePlatform fakes;
    EmojiDataManager dataManager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                                 fakes.time,    fakes.httpClient, fakes.textLayout, fakes.imageCodec};
    RecentEmojisManager recents{fakes.userDefaults, fakes.notificationCenter, fakes.log, dataManager};
    SkinTonePreferences preferences{fakes.userDefaults, fakes.notificationCenter};
    EmojiRenderer renderer{fakes.imageCodec};
    SkinTonePopoverController popover{preferences};
};

inline void sendMouse(QWidget& widget, QEvent::Type type, QPointF position, Qt::MouseButton button,
                      Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QMouseEvent event(type, position, widget.mapToGlobal(position), button, buttons, modifiers);
    QApplication::sendEvent(&widget, &event);
}

inline QPointF centre(const QWidget& widget)
{
    return QRectF(widget.rect()).center();
}

inline void press(QWidget& widget, QPointF position, Qt::MouseButton button = Qt::LeftButton)
{
    sendMouse(widget, QEvent::MouseButtonPress, position, button, button);
}

inline void dragTo(QWidget& widget, QPointF position)
{
    sendMouse(widget, QEvent::MouseMove, position, Qt::NoButton, Qt::LeftButton);
}

inline void release(QWidget& widget, QPointF position, Qt::MouseButton button = Qt::LeftButton,
                    Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    sendMouse(widget, QEvent::MouseButtonRelease, position, button, Qt::NoButton, modifiers);
}

inline void click(QWidget& widget, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    press(widget, centre(widget));
    release(widget, centre(widget), Qt::LeftButton, modifiers);
}

inline void enter(QWidget& widget)
{
    QEnterEvent event(centre(widget), centre(widget), widget.mapToGlobal(centre(widget)));
    QApplication::sendEvent(&widget, &event);
}

inline void leave(QWidget& widget)
{
    QEvent event(QEvent::Leave);
    QApplication::sendEvent(&widget, &event);
}

} // namespace glimmerwick::tests
