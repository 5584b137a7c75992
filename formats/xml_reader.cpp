#include "formats/xml_reader.h"

#include "formats/limits.h"
#include "formats/text_words.h"

#include <algorithm>
#include <utility>

namespace zrk {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 16;
constexpr std::size_t kMaxNameBytes = 256;
constexpr std::size_t kMaxValueBytes = std::size_t{1} << 16;
constexpr std::size_t kMaxAttributes = 256;
constexpr std::size_t kMaxNamespaces = 64;

std::string_view prefixOf(std::string_view name)
{
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}

std::string_view withoutPrefix(std::string_view name)
{
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

void appendUtf8(std::string& text, std::uint32_t c)
{
    if (c < 0x80) {
        text += static_cast<char>(c);
        return;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr std::uint32_t kLead[] = {0, 0xc0, 0xe0, 0xf0};
    text += static_cast<char>(kLead[more] | c >> (6 * more));
    for (int i = more - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | (c >> (6 * i) & 0x3f));
    }
}

} // namespace

XmlReader::XmlReader(Source source, std::string place)
    : _source(std::move(source)), _place(std::move(place)), _buffer(kBufferBytes)
{
    const int first = peek();
    if (first == 0xfe || first == 0xff || first == 0) {
        refuse("a text that isn't in UTF-8");
    }
}

void XmlReader::refuse(const std::string& found) const
{
    throw FaultError({place(), found, "well-formed XML", "save the file anew"});
}

bool XmlReader::fill()
{
    _at = 0;
    _end = _source(_buffer.data(), _buffer.size());
    return _end > 0;
}

char XmlReader::take()
{
    if (_at == _end && !fill()) {
        refuse("an end within a tag");
    }
    const char c = _buffer[_at++];
    _line += c == '\n';
    return c;
}

void XmlReader::skipBlank()
{
    for (int c = peek(); c >= 0 && isBlank(static_cast<char>(c)); c = peek()) {
        take();
    }
}

void XmlReader::skipPast(std::string_view mark)
{
    std::string last;
    while (last != mark) {
        last += take();
        if (last.size() > mark.size()) {
            last.erase(0, 1);
        }
    }
}

/// False where the file ends before.
bool XmlReader::skipTo(char mark)
{
    while (_at < _end || fill()) {
        const auto from = _buffer.begin() + static_cast<std::ptrdiff_t>(_at);
        const auto to = _buffer.begin() + static_cast<std::ptrdiff_t>(_end);
        const auto found = std::find(from, to, mark);
        _line += static_cast<std::uint64_t>(std::count(from, found, '\n'));
        _at = static_cast<std::size_t>(found - _buffer.begin());
        if (found != to) {
            return true;
        }
    }
    return false;
}

XmlReader::Event XmlReader::next()
{
    _attributeCount = 0;
    if (_endsAtOnce) {
        _endsAtOnce = false;
        endElement();
        return Event::End;
    }
    for (;;) {
        if (!skipTo('<')) {
            if (!_open.empty()) {
                refuse("an end before that of " + quotation(_open.back()));
            }
            return Event::Finished;
        }
        take();
        switch (peek()) {
        case '?':
            skipPast("?>");
            break;
        case '!':
            skipDeclaration();
            break;
        case '/': {
            take();
            std::string name;
            readName(name);
            skipBlank();
            if (take() != '>' || _open.empty() || _open.back() != name) {
                refuse("the end of " + quotation(name) + " where " +
                       (_open.empty() ? "nothing is open" : quotation(_open.back()) + " is open"));
            }
            endElement();
            return Event::End;
        }
        default:
            beginElement();
            return Event::Begin;
        }
    }
}

/// Behind "<": a comment or a section of plain text.
void XmlReader::skipDeclaration()
{
    take();
    std::string mark(1, take());
    if (mark == "-" && take() == '-') {
        skipPast("-->");
        return;
    }
    constexpr std::string_view kPlain = "[CDATA[";
    while (mark.size() < kPlain.size() && kPlain.starts_with(mark)) {
        mark += take();
    }
    if (mark != kPlain) {
        refuse("a document type or another declaration");
    }
    skipPast("]]>");
}

void XmlReader::readName(std::string& name)
{
    name.clear();
    for (int c = peek();
         c >= 0 && !isBlank(static_cast<char>(c)) && c != '>' && c != '/' && c != '=' && c != '<';
         c = peek()) {
        name += take();
        if (name.size() > kMaxNameBytes) {
            refuse("a name of more than " + std::to_string(kMaxNameBytes) + " bytes");
        }
    }
    if (name.empty()) {
        refuse("a tag without a name");
    }
}

void XmlReader::readValue(std::string& value)
{
    value.clear();
    const char quote = take();
    if (quote != '"' && quote != '\'') {
        refuse("an attribute without quotation marks");
    }
    for (char c = take(); c != quote; c = take()) {
        if (c == '<') {
            refuse("a \"<\" in an attribute");
        }
        if (c == '&') {
            readReference(value);
        } else {
            value += c;
        }
        if (value.size() > kMaxValueBytes) {
            refuse("an attribute of more than " + std::to_string(kMaxValueBytes) + " bytes");
        }
    }
}

/// Behind "&": a character by its name or number.
void XmlReader::readReference(std::string& value)
{
    constexpr std::pair<std::string_view, char> kNames[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    constexpr std::size_t kLongest = 10;
    std::string name;
    for (char c = take(); c != ';'; c = take()) {
        name += c;
        if (name.size() > kLongest) {
            refuse("an entity that isn't known");
        }
    }
    for (const auto& [known, character] : kNames) {
        if (name == known) {
            value += character;
            return;
        }
    }
    const bool isHex = name.starts_with("#x");
    const std::string_view digits =
        std::string_view(name).substr(std::min<std::size_t>(name.size(), isHex ? 2 : 1));
    const std::uint32_t code =
        name.starts_with('#') ? wholeNumber<std::uint32_t>(digits, isHex ? 16 : 10).value_or(0) : 0;
    if (code == 0 || code > 0x10ffff) {
        refuse("an entity that isn't known");
    }
    appendUtf8(value, code);
}

void XmlReader::beginElement()
{
    readName(_whole);
    for (skipBlank(); peek() != '>' && peek() != '/'; skipBlank()) {
        if (_attributeCount == kMaxAttributes) {
            refuse("more than " + std::to_string(kMaxAttributes) + " attributes");
        }
        if (_attributeCount == _attributes.size()) {
            _attributes.emplace_back();
        }
        Attribute& attribute = _attributes[_attributeCount];
        readName(attribute.name);
        skipBlank();
        if (take() != '=') {
            refuse("an attribute without a value");
        }
        skipBlank();
        readValue(attribute.value);
        ++_attributeCount;
    }
    _endsAtOnce = take() == '/';
    if (_endsAtOnce && take() != '>') {
        refuse("a \"/\" within a tag");
    }
    if (_open.size() == kMaxXmlDepth) {
        throw FaultError({place(),
                          "more than " + std::to_string(kMaxXmlDepth) + " elements within each other",
                          "at most " + std::to_string(kMaxXmlDepth), "save the file anew"});
    }
    _open.push_back(_whole);
    bind();
    splitName();
}

void XmlReader::endElement()
{
    _whole = std::move(_open.back());
    splitName();
    _open.pop_back();
    while (!_bindings.empty() && _bindings.back().depth > _open.size()) {
        _bindings.pop_back();
    }
}

/// Takes the namespaces that the element declares.
void XmlReader::bind()
{
    for (std::size_t i = 0; i < _attributeCount; ++i) {
        const Attribute& attribute = _attributes[i];
        if (attribute.name == "xmlns") {
            _bindings.push_back({"", attribute.value, _open.size()});
        } else if (prefixOf(attribute.name) == "xmlns") {
            _bindings.push_back({std::string(withoutPrefix(attribute.name)), attribute.value, _open.size()});
        }
    }
    if (_bindings.size() > kMaxNamespaces) {
        refuse("more than " + std::to_string(kMaxNamespaces) + " namespaces");
    }
}

void XmlReader::splitName()
{
    _name = withoutPrefix(_whole);
    _space = spaceOf(prefixOf(_whole));
}

const std::string& XmlReader::spaceOf(std::string_view prefix) const
{
    static const std::string none;
    const auto binding = std::find_if(_bindings.rbegin(), _bindings.rend(),
                                      [&](const Binding& b) { return b.prefix == prefix; });
    return binding == _bindings.rend() ? none : binding->space;
}

const std::string* XmlReader::attribute(std::string_view name, std::string_view space) const
{
    for (std::size_t i = 0; i < _attributeCount; ++i) {
        const Attribute& attribute = _attributes[i];
        const std::string_view prefix = prefixOf(attribute.name);
        if (withoutPrefix(attribute.name) == name &&
            (prefix.empty() ? space.empty() : !space.empty() && spaceOf(prefix) == space)) {
            return &attribute.value;
        }
    }
    return nullptr;
}

} // namespace zrk
