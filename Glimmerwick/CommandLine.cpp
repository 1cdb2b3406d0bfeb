#include "CommandLine.h"

#include <algorithm>
#include <array>
#include <utility>

namespace glimmerwick {

namespace {

/// How an option of the toolkit takes its value.
enum class ToolkitValue { none, nextWord, nextWordOrAttached };

struct ToolkitOption {
    std::string_view name;
    ToolkitValue value;
};

// What Qt and its X11 plugin take out of the command line. The names are written after one dash or two.
constexpr std::array toolkitOptions{
    ToolkitOption{"display", ToolkitValue::nextWord},
    ToolkitOption{"dograb", ToolkitValue::none},
    ToolkitOption{"geometry", ToolkitValue::nextWord},
    ToolkitOption{"icon", ToolkitValue::nextWord},
    ToolkitOption{"name", ToolkitValue::nextWord},
    ToolkitOption{"nograb", ToolkitValue::none},
    ToolkitOption{"platform", ToolkitValue::nextWord},
    ToolkitOption{"platformpluginpath", ToolkitValue::nextWord},
    ToolkitOption{"platformtheme", ToolkitValue::nextWord},
    ToolkitOption{"plugin", ToolkitValue::nextWord},
    ToolkitOption{"qmljsdebugger", ToolkitValue::nextWordOrAttached},
    ToolkitOption{"qwindowgeometry", ToolkitValue::nextWord},
    ToolkitOption{"qwindowicon", ToolkitValue::nextWord},
    ToolkitOption{"qwindowtitle", ToolkitValue::nextWord},
    ToolkitOption{"reverse", ToolkitValue::none},
    ToolkitOption{"session", ToolkitValue::nextWordOrAttached},
    ToolkitOption{"style", ToolkitValue::nextWordOrAttached},
    ToolkitOption{"stylesheet", ToolkitValue::nextWordOrAttached},
    ToolkitOption{"testability", ToolkitValue::none},
    ToolkitOption{"title", ToolkitValue::nextWord},
    ToolkitOption{"visual", ToolkitValue::nextWord},
    ToolkitOption{"widgetcount", ToolkitValue::none},
};

std::string_view withoutDashes(std::string_view word)
{
    for (int dash = 0; dash < 2 && word.starts_with('-'); ++dash) {
        word.remove_prefix(1);
    }
    return word;
}

const ToolkitOption* findToolkitOption(std::string_view name)
{
    const auto* found = std::ranges::find(toolkitOptions, name, &ToolkitOption::name);
    return found == toolkitOptions.end() ? nullptr : found;
}

class Parser {
public:
    explicit Parser(const std::vector<std::string>& words) : m_next(words.begin()), m_end(words.end()) { }

    Result<CommandLine, std::string> parse()
    {
        while (m_next != m_end && m_result.request == CommandLine::Request::run && m_error.empty()) {
            take(*m_next++);
        }
        if (!m_error.empty()) {
            return Failure{std::move(m_error)};
        }
        return std::move(m_result);
    }

private:
    void take(const std::string& word)
    {
        if (word == "--help") {
            m_result.request = CommandLine::Request::help;
        } else if (word == "--version") {
            m_result.request = CommandLine::Request::version;
        } else if (word == "--diagnose") {
            m_result.request = CommandLine::Request::diagnose;
        } else if (word == "--show-picker") {
            m_result.showPicker = true;
        } else if (word == "--toggle") {
            m_result.toggle = true;
        } else if (word == "--background") {
            m_result.background = true;
        } else if (word == "--target-app") {
            takeTargetApp();
        } else if (word == "--disable-event-tap") {
            // The picker window reads this one itself.
        } else if (!word.starts_with('-')) {
            m_error = "unexpected argument '" + word + "'";
        } else if (!takeToolkitOption(word)) {
            m_error = "unknown option '" + word + "'";
        }
    }

    // Without an identifier it means nothing, and scripts that leave it empty have always been let through.
    void takeTargetApp()
    {
        if (m_next == m_end) {
            return;
        }
        const std::string& identifier = *m_next++;
        if (!m_result.targetApp) {
            m_result.targetApp = identifier;
        }
    }

    bool takeToolkitOption(const std::string& word)
    {
        const std::string_view bare = withoutDashes(word);
        const auto sign = bare.find('=');
        const ToolkitOption* option = findToolkitOption(bare.substr(0, sign));
        const bool isAttached = sign != std::string_view::npos;
        if (!option || (isAttached && option->value != ToolkitValue::nextWordOrAttached)) {
            return false;
        }
        m_result.toolkitArguments.push_back(word);
        if (option->value != ToolkitValue::none && !isAttached) {
            takeToolkitValue(word);
        }
        return true;
    }

    void takeToolkitValue(const std::string& option)
    {
        if (m_next == m_end) {
            m_error = "option '" + option + "' needs a value";
            return;
        }
        m_result.toolkitArguments.push_back(*m_next++);
    }

    std::vector<std::string>::const_iterator m_next;
    std::vector<std::string>::const_iterator m_end;
    CommandLine m_result;
    std::string m_error;
};

} // namespace

Result<CommandLine, std::string> CommandLine::parse(const std::vector<std::string>& arguments)
{
    return Parser(arguments).parse();
}

std::string_view CommandLine::usage()
{
    return R"(Usage: glimmerwick [OPTION]...
Emoji picker that waits in the background. Press Ctrl+Super+Space to open it.

  --toggle              open the picker, or close it; bind this to a key of your
                        choice where the shortcut cannot be had
  --background          show nothing, also when the picker runs already; for the
                        start at login
  --show-picker         show the picker half a second after the start
  --target-app ID       always type into the application with this identifier
                        (its desktop-file id or WM_CLASS class)
  --disable-event-tap   take keys by keyboard focus instead of interception
  --diagnose            print what this desktop lets the picker do, and end
  --help                print this text and end
  --version             print the version and end

While the picker runs, a further start hands its options to it and ends; without
an option it shows the picker. Options of Qt, like -style, are known as well.
)";
}

} // namespace glimmerwick
