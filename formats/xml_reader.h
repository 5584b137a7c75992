#pragma once

#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

/// Reads XML 1.0 in UTF-8 from front to back, element by element, in the memory of one of them. Texts between
/// tags are passed over. Refuses document types, and with them entities of a file's own, and more elements
/// within each other than kMaxXmlDepth.
///
/// Functions throw a FaultError with the line for what isn't well-formed.
///
/// Source: W3C, "Extensible Markup Language (XML) 1.0", 5th edition; "Namespaces in XML 1.0", 3rd edition.
class XmlReader {
public:
    /// Writes the next bytes, at most so many, and returns how many; 0 at the end.
    using Source = std::function<std::size_t(char*, std::size_t)>;
    enum class Event {
        Begin, ///< of an element, also of one without content
        End,
        Finished
    };

    XmlReader(Source source, std::string place);

    /// Goes on to the next tag.
    Event next();

    /// @{ Of the element that begins or ends here, until `next`. The namespace is empty without one.
    const std::string& name() const { return _name; }
    const std::string& space() const { return _space; }
    /// @}
    /// Elements that are open, the one that begins here among them, the one that ends here not.
    std::size_t depth() const { return _open.size(); }

    /// The value of an attribute of the element that begins here; null where it has none. Attributes without
    /// a prefix have an empty namespace.
    const std::string* attribute(std::string_view name, std::string_view space = {}) const;
    /// The namespace that a prefix stands for here; empty where it isn't known.
    const std::string& spaceOf(std::string_view prefix) const;

    /// File and line, for messages.
    std::string place() const { return _place + ", line " + std::to_string(_line); }

private:
    struct Attribute {
        std::string name, value;
    };
    struct Binding {
        std::string prefix, space;
        std::size_t depth;
    };

    Source _source;
    std::string _place;
    std::vector<char> _buffer;
    std::size_t _at = 0;
    std::size_t _end = 0;
    std::uint64_t _line = 1;
    std::vector<std::string> _open; ///< names with their prefixes
    std::vector<Binding> _bindings;
    std::vector<Attribute> _attributes;
    std::size_t _attributeCount = 0;
    std::string _whole, _name, _space;
    bool _endsAtOnce = false;

    [[noreturn]] void refuse(const std::string& found) const;
    bool fill();
    int peek() { return _at < _end || fill() ? static_cast<unsigned char>(_buffer[_at]) : -1; }
    char take();
    void skipBlank();
    void skipPast(std::string_view mark);
    bool skipTo(char mark);
    void readName(std::string& name);
    void readValue(std::string& value);
    void readReference(std::string& value);
    void skipDeclaration();
    void beginElement();
    void endElement();
    void bind();
    void splitName();
};

} // namespace zrk
