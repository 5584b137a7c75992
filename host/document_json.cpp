#include "host/document_json.h"

#include "core/values/stop.h"
#include "formats/limits.h"
#include "host/document_values.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr int kNumberOverflow = 406; // the library's code

/// Deepest nesting of arrays and objects in a JSON text, found without building it.
std::size_t nesting(const std::string& text)
{
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool inString = false;
    zrk::StopLookout lookout;
    for (std::size_t i = 0; i < text.size(); ++i) {
        lookout.step();
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return deepest;
}

/// Reads a text, and looks for a request to stop meanwhile.
class StoppableText {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    explicit StoppableText(const char* place) : _place(place) {}
    const char& operator*() const { return *_place; }
    StoppableText& operator++()
    {
        ++_place;
        _lookout.step();
        return *this;
    }
    bool operator!=(const StoppableText& other) const { return _place != other._place; }
    bool operator==(const StoppableText& other) const { return _place == other._place; }

private:
    const char* _place;
    zrk::StopLookout _lookout;
};

/// "line 3, column 7" of the byte after which `offset` bytes are read.
std::string linePlace(const std::string& text, std::size_t offset)
{
    const std::size_t end = std::min(offset > 0 ? offset - 1 : 0, text.size());
    const auto begin = text.begin();
    const auto stop = begin + static_cast<std::ptrdiff_t>(end);
    const auto lineBreak = std::find(std::make_reverse_iterator(stop), text.rend(), '\n');
    return fmt::format("line {}, column {}", std::count(begin, stop, '\n') + 1, stop - lineBreak.base() + 1);
}

/// Builds the same value as ZRKJson::parse(), but refuses an object that has a key twice, where that keeps
/// the last of them. (The library's parser with a callback can tell too, in a time that grows with the square
/// of an array's length.)
class Builder final : public ZRKJson::json_sax_t {
public:
    Builder(const std::string& text, const std::string& name) : _text(text), _name(name) {}

    ZRKJson& root() { return _root; }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t& value) override { return add(std::move(value)); }
    bool start_object(std::size_t) override { return open(ZRKJson::object()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(ZRKJson::array()); }
    bool end_array() override { return close(); }

    /// Adds the member with the value null, which the value that comes next replaces.
    bool key(string_t& key) override
    {
        Open& open = _open.back();
        auto& members = open.value->get_ref<ZRKJson::object_t&>();
        if (!open.isNew(members, key)) {
            throw zrk::FaultError({fmt::format("{}, {}{}", _name, openPlace(), shown(key)),
                                   "this key a second time", "each key of an object once",
                                   fmt::format("its first value is {}; keep the one that is meant",
                                               shown(members.find(key)->second))});
        }
        members.emplace_back(key, nullptr);
        return true;
    }

    bool parse_error(std::size_t position, const std::string& token, const ZRKJson::exception& error) override
    {
        if (error.id == kNumberOverflow) {
            throw zrk::FaultError({_name + ", " + linePlace(_text, position + 1 - token.size()),
                                   "the number " + zrk::printable(token, zrk::kMaxQuotation),
                                   "one between -1.8e308 and 1.8e308", "write a number of a smaller size"});
        }
        throw zrk::FaultError({_name + ", " + linePlace(_text, position),
                               fmt::format("broken JSON ({})", plainReason(error)), "one whole JSON object",
                               "mend the text at that place"});
    }

private:
    /// An array or object whose end hasn't come yet.
    struct Open {
        ZRKJson* value;
        std::unordered_set<std::string> keys{}; ///< of an object that has many

        /// True if an object's members have no such key. They are searched one by one while they are few.
        bool isNew(const ZRKJson::object_t& members, const std::string& key)
        {
            constexpr std::size_t kFew = 16;
            if (members.size() < kFew) {
                return members.find(key) == members.end();
            }
            if (keys.empty()) {
                std::transform(members.begin(), members.end(), std::inserter(keys, keys.end()),
                               [](const auto& member) { return member.first; });
            }
            return keys.insert(key).second;
        }
    };

    const std::string& _text;
    const std::string& _name;
    ZRKJson _root;
    std::vector<Open> _open; ///< around the place; each is the last element of that before

    /// Returns where the value stands.
    ZRKJson* place(ZRKJson value)
    {
        if (_open.empty()) {
            _root = std::move(value);
            return &_root;
        }
        ZRKJson& around = *_open.back().value;
        if (around.is_array()) {
            around.push_back(std::move(value));
        } else {
            around.get_ref<ZRKJson::object_t&>().back().second = std::move(value);
        }
        return &around.back();
    }

    bool add(ZRKJson value)
    {
        place(std::move(value));
        return true;
    }

    bool open(ZRKJson empty)
    {
        _open.push_back({place(std::move(empty))});
        return true;
    }

    bool close()
    {
        _open.pop_back();
        return true;
    }

    /// `nodes[3], "values", ` of the innermost open object; empty for the document's own.
    std::string openPlace() const
    {
        std::string place;
        for (std::size_t i = 0; i + 1 < _open.size(); ++i) {
            const ZRKJson& outer = *_open[i].value;
            const bool isArrayNext = _open[i + 1].value->is_array();
            if (outer.is_array()) {
                place += fmt::format("[{}]", outer.size() - 1);
            } else {
                const std::string& key = outer.get_ref<const ZRKJson::object_t&>().back().first;
                place += isArrayNext ? key : shown(key);
            }
            place += isArrayNext ? "" : ", ";
        }
        return place;
    }
};

} // namespace

zrk::Result<ZRKJson> parseDocumentJson(const std::string& text, const std::string& name)
{
    if (const std::size_t depth = nesting(text); depth > zrk::kMaxDocumentNesting) {
        return zrk::refused({name + ", JSON", fmt::format("values nested {} deep", depth),
                             fmt::format("at most {}", zrk::kMaxDocumentNesting),
                             "flatten the document; a graph needs no such depth"});
    }
    // The library takes one for the text's end, and doesn't look at what stands behind it.
    if (const std::size_t zero = text.find('\0'); zero != std::string::npos) {
        return zrk::refused({name + ", " + linePlace(text, zero + 1), "broken JSON (a byte of 0)",
                             "one whole JSON object in UTF-8",
                             "save the text as UTF-8, and remove what stands at that place"});
    }
    return zrk::attempt(name, [&]() -> zrk::Result<ZRKJson> {
        Builder builder(text, name);
        const char* const begin = text.data();
        ZRKJson::sax_parse(StoppableText(begin), StoppableText(begin + text.size()), &builder);
        if (!builder.root().is_object()) {
            return zrk::refused({name + ", top level", shown(builder.root()), "an object",
                                 "a graph document begins with {\"zrkGraph\": 1, ...}"});
        }
        return std::move(builder.root());
    });
}

std::string plainReason(const ZRKJson::exception& error)
{
    const std::string what = error.what();
    const std::size_t bracket = what.find("] ");
    std::string text = bracket == std::string::npos ? what : what.substr(bracket + 2);
    const std::size_t colon = text.find(": ");
    if (text.starts_with("parse error at") && colon != std::string::npos) {
        text = text.substr(colon + 2);
    }
    return text;
}

} // namespace zrkmodel
