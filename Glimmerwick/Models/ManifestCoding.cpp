#include "Models/Manifest.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <nlohmann/json.hpp>

namespace glimmerwick {

namespace {

using Json = nlohmann::json;

/// A manifest is five levels deep and has some 50,000 values. The bounds keep a hostile document, which is
/// parsed to many times its size, from costing memory without end.
constexpr int maximumDepth = 64;
constexpr int maximumValueCount = 1'000'000;

/// What is drawn, spoken or kept in the settings. The longest emoji of the bundled catalogue takes 28 bytes,
/// the longest name 44; a text of a megabyte takes seconds each time it is laid out.
constexpr std::size_t maximumLabelSize = 1024;

/// Each has a button. There are nine.
constexpr std::size_t maximumCategoryCount = 256;

/// In which way the text is too much to be parsed, if it is. In text that is no JSON the answer may be wrong
/// only behind the first error, where no parser gets.
std::optional<std::string> describeExcess(std::string_view text)
{
    int depth = 0;
    int valueCount = 1;
    bool isInString = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char byte = text[index];
        if (isInString) {
            isInString = byte != '"';
            index += byte == '\\' ? 1 : 0;
        } else if (byte == '"') {
            isInString = true;
        } else if (byte == ']' || byte == '}') {
            --depth;
        } else if (byte == '[' || byte == '{') {
            if (++depth > maximumDepth) {
                return "is nested more than " + std::to_string(maximumDepth) + " levels deep";
            }
        } else if (byte == ',' && ++valueCount > maximumValueCount) {
            return "has more than " + std::to_string(maximumValueCount) + " values";
        }
    }
    return std::nullopt;
}

std::string describePosition(std::string_view text, std::size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t lineBreak = before.rfind('\n');
    const std::size_t column = 1 + (lineBreak == std::string_view::npos ? offset : offset - lineBreak - 1);
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

Failure<DecodingError> invalidDocument(std::string reason)
{
    return Failure{DecodingError{"The document is not valid JSON: " + std::move(reason)}};
}

Result<Json, DecodingError> parse(std::string_view text)
{
    if (const auto excess = describeExcess(text)) {
        return Failure{DecodingError{"The document " + *excess}};
    }
    // The library takes a NUL for the end of the text, whatever follows.
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
        return invalidDocument("unexpected text at " + describePosition(text, nul));
    }
    // The library's own messages quote the text read last, which may be the whole document.
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        const std::size_t bytesRead = std::clamp<std::size_t>(error.byte, 1, text.size() + 1);
        return invalidDocument("unexpected " + std::string(bytesRead > text.size() ? "end" : "text") + " at "
                               + describePosition(text, bytesRead - 1));
    } catch (const Json::out_of_range&) {
        return invalidDocument("a number is too large");
    }
}

/// A value of a document and the way to it, which only an error spells out. Reading a value that is not what
/// it should be notes a problem and yields an empty one; the first problem of a document counts.
class Node {
public:
    using Problem = std::optional<DecodingError>;

    Node(const Json& document, Problem& problem) : m_value(&document), m_problem(problem) { }

    bool hasProblem() const { return m_problem.has_value(); }

    std::string string(const char* key) const { return member(key).asString(); }
    /// No longer than what can be shown.
    std::string label(const char* key) const;
    bool boolean(const char* key) const { return member(key).asBoolean(); }
    std::optional<std::string> optionalString(const char* key) const;
    std::vector<std::string> strings(const char* key) const;

    template <typename T>
    std::vector<T> list(const char* key, T (*read)(const Node&), std::size_t mostElements = noLimit) const;
    /// The members' names are labels.
    template <typename T>
    std::unordered_map<std::string, T> map(const char* key, T (*read)(const Node&)) const;

private:
    static constexpr std::size_t noIndex = static_cast<std::size_t>(-1);
    static constexpr std::size_t noLimit = static_cast<std::size_t>(-1);

    Node(const Json* value, const Node& parent, std::string_view key, std::size_t index = noIndex)
        : m_value(value), m_problem(parent.m_problem), m_parent(&parent), m_key(key), m_index(index)
    {
    }

    Node member(const char* key) const;
    std::string asString() const;
    bool asBoolean() const;

    void expectLabelSize(std::size_t size) const;
    void refuse(const std::string& reason) const;

    /// Whether there is a value of this type; notes the problem when there is not.
    bool expect(Json::value_t type, const char* typeName) const;
    std::string path() const;

    /// Null for a missing member.
    const Json* m_value;
    Problem& m_problem;
    const Node* m_parent = nullptr;
    std::string_view m_key;
    std::size_t m_index = noIndex;
};

Node Node::member(const char* key) const
{
    if (!expect(Json::value_t::object, "object")) {
        return {nullptr, *this, key};
    }
    const auto found = m_value->find(key);
    return {found == m_value->end() ? nullptr : &*found, *this, key};
}

std::string Node::asString() const
{
    return expect(Json::value_t::string, "string") ? m_value->get_ref<const std::string&>() : std::string();
}

std::string Node::label(const char* key) const
{
    const Node node = member(key);
    std::string text = node.asString();
    node.expectLabelSize(text.size());
    return text;
}

void Node::expectLabelSize(std::size_t size) const
{
    if (size > maximumLabelSize) {
        refuse("longer than " + std::to_string(maximumLabelSize) + " bytes");
    }
}

void Node::refuse(const std::string& reason) const
{
    if (!m_problem) {
        m_problem = DecodingError{path() + ": " + reason};
    }
}

bool Node::asBoolean() const
{
    return expect(Json::value_t::boolean, "boolean") && m_value->get<bool>();
}

std::optional<std::string> Node::optionalString(const char* key) const
{
    const Node node = member(key);
    if (!node.m_value || node.m_value->is_null()) {
        return std::nullopt;
    }
    return node.asString();
}

std::vector<std::string> Node::strings(const char* key) const
{
    return list<std::string>(key, [](const Node& element) { return element.asString(); });
}

template <typename T>
std::vector<T> Node::list(const char* key, T (*read)(const Node&), std::size_t mostElements) const
{
    std::vector<T> elements;
    const Node array = member(key);
    if (!array.expect(Json::value_t::array, "array")) {
        return elements;
    }
    if (array.m_value->size() > mostElements) {
        array.refuse("more than " + std::to_string(mostElements) + " elements");
        return elements;
    }
    elements.reserve(array.m_value->size());
    for (const Json& value : *array.m_value) {
        elements.push_back(read(Node(&value, array, {}, elements.size())));
        if (hasProblem()) {
            break;
        }
    }
    return elements;
}

template <typename T>
std::unordered_map<std::string, T> Node::map(const char* key, T (*read)(const Node&)) const
{
    std::unordered_map<std::string, T> members;
    const Node object = member(key);
    if (!object.expect(Json::value_t::object, "object")) {
        return members;
    }
    members.reserve(object.m_value->size());
    for (const auto& [name, value] : object.m_value->get_ref<const Json::object_t&>()) {
        const Node member(&value, object, name);
        members.emplace(name, read(member));
        member.expectLabelSize(name.size());
        if (hasProblem()) {
            break;
        }
    }
    return members;
}

bool Node::expect(Json::value_t type, const char* typeName) const
{
    if (m_problem) {
        return false;
    }
    if (!m_value) {
        refuse("missing");
        return false;
    }
    if (m_value->type() != type) {
        refuse(std::string("expected ") + typeName + ", found " + m_value->type_name());
        return false;
    }
    return true;
}

/// A member's name for a message of one line: names are somebody else's text, of any length, with line breaks
/// and controls.
std::string readable(std::string_view name)
{
    constexpr std::size_t longest = 64;
    if (name.size() <= longest) {
        return unicode::escapedForLog(name);
    }
    std::size_t length = longest;
    while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xc0) == 0x80) {
        --length;
    }
    return unicode::escapedForLog(name.substr(0, length)) + "...";
}

std::string Node::path() const
{
    if (!m_parent) {
        return "The document";
    }
    if (m_index != noIndex) {
        return m_parent->path() + "[" + std::to_string(m_index) + "]";
    }
    return m_parent->m_parent ? m_parent->path() + "." + readable(m_key) : readable(m_key);
}

template <typename T> Result<T, DecodingError> decodeDocument(std::string_view text, T (*read)(const Node&))
{
    const auto document = parse(text);
    if (!document) {
        return Failure{document.error()};
    }
    Node::Problem problem;
    T value = read(Node(document.value(), problem));
    if (problem) {
        return Failure{*problem};
    }
    return value;
}

/// Emoji and EmojiData have the same members.
template <typename EmojiLike> EmojiLike readEmojiMembers(const Node& node)
{
    EmojiLike emoji;
    emoji.char_ = node.label("char");
    emoji.name = node.label("name");
    emoji.keywords = node.strings("keywords");
    emoji.category = node.string("category");
    emoji.skinTones = node.boolean("skinTones");
    emoji.ios = node.optionalString("ios");
    return emoji;
}

Json writeEmojiMembers(const Emoji& emoji)
{
    Json object{{"char", emoji.char_},
                {"name", emoji.name},
                {"keywords", emoji.keywords},
                {"category", emoji.category},
                {"skinTones", emoji.skinTones}};
    if (emoji.ios) {
        object["ios"] = *emoji.ios;
    }
    return object;
}

EmojiCategory readCategory(const Node& node)
{
    EmojiCategory category;
    category.id = node.string("id");
    category.name = node.label("name");
    category.icon = node.label("icon");
    category.sfSymbol = node.optionalString("sfSymbol");
    category.sfSymbolFallback = node.optionalString("sfSymbolFallback");
    category.emojis = node.strings("emojis");
    return category;
}

Json writeCategory(const EmojiCategory& category)
{
    Json object{
        {"id", category.id}, {"name", category.name}, {"icon", category.icon}, {"emojis", category.emojis}};
    if (category.sfSymbol) {
        object["sfSymbol"] = *category.sfSymbol;
    }
    if (category.sfSymbolFallback) {
        object["sfSymbolFallback"] = *category.sfSymbolFallback;
    }
    return object;
}

std::string prettyPrinted(const Json& document)
{
    constexpr int indentation = 2;
    return document.dump(indentation, ' ', false, Json::error_handler_t::replace);
}

} // namespace

struct ManifestCoding {
    static Manifest read(const Node& node)
    {
        Manifest manifest;
        manifest.m_version = node.string("version");
        manifest.m_lastUpdated = node.string("lastUpdated");
        manifest.m_categories = std::make_shared<const std::vector<EmojiCategory>>(
            node.list("categories", readCategory, maximumCategoryCount));
        manifest.setEmojis(node.map("emojis", readEmojiMembers<Manifest::EmojiData>));
        return manifest;
    }

    static Json write(const Manifest& manifest)
    {
        Json categories = Json::array();
        for (const EmojiCategory& category : manifest.categories()) {
            categories.push_back(writeCategory(category));
        }
        Json emojis = Json::object();
        for (const Emoji& emoji : manifest.m_emojis->all) {
            emojis[emoji.codepoint] = writeEmojiMembers(emoji);
        }
        return Json{{"version", manifest.m_version},
                    {"lastUpdated", manifest.m_lastUpdated},
                    {"categories", std::move(categories)},
                    {"emojis", std::move(emojis)}};
    }
};

Result<Emoji, DecodingError> Emoji::decode(std::string_view json)
{
    return decodeDocument<Emoji>(json, readEmojiMembers<Emoji>);
}

std::string Emoji::encode() const
{
    return prettyPrinted(writeEmojiMembers(*this));
}

Result<Manifest, DecodingError> Manifest::decode(std::string_view json)
{
    return decodeDocument<Manifest>(json, ManifestCoding::read);
}

std::string Manifest::encode() const
{
    return prettyPrinted(ManifestCoding::write(*this));
}

} // namespace glimmerwick
