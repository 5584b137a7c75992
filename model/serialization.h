#pragma once

#include "core/values/export.h"
#include "model/json.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

class ZRKResourceLibrary;

/// A place to write or read: a member's key, an index, or the back of an array.
class ZRK_API ZRKSerializationPos {
public:
    ZRKSerializationPos() = default; ///< the back
    ZRKSerializationPos(const char* key) : _kind(Kind::Key), _key(key) {}
    ZRKSerializationPos(const std::string& key) : _kind(Kind::Key), _key(key) {}
    ZRKSerializationPos(int index) : _kind(Kind::Index), _index(index) {}

    bool isString() const { return _kind == Kind::Key; }
    bool isBack() const { return _kind == Kind::Back; }
    bool isIndex() const { return _kind == Kind::Index; }
    const std::string& string() const { return _key; }
    int index() const { return _index; }

    /// For messages: the key, the index, or "back".
    std::string text() const;

private:
    enum class Kind { Back, Key, Index };
    Kind _kind = Kind::Back;
    std::string _key;
    int _index = -1;
};

/// Builds a JSON value step by step, starting with an empty object as the current value.
///
/// NaN and infinities are kept as they are in the value; JSON's text has no form for them,
/// so that nlohmann's dump() prints null, which a number's reader then refuses.
class ZRK_API ZRKSerialization {
public:
    ZRKSerialization() { _open.push_back(&_root); }
    ZRKSerialization(const ZRKSerialization&) = delete;
    ZRKSerialization& operator=(const ZRKSerialization&) = delete;

    /// The value being written.
    ZRKJson& current() { return *_open.back(); }
    /// The whole value.
    const ZRKJson& root() const { return _root; }

    /// Puts a value in its place: a key replaces that member of the current object, the
    /// back appends to the current array, an index writes nothing. A key in an array, or the back of an
    /// object, throws nlohmann's type_error.
    void write(ZRKJson value, const ZRKSerializationPos& pos);

    /// Creates an empty child at pos and makes it current. At an index, where nothing is
    /// written, the child takes what follows and is dropped. Each needs its end().
    void beginObject(const ZRKSerializationPos& pos) { begin(ZRKJson::object(), pos); }
    void beginArray(const ZRKSerializationPos& pos) { begin(ZRKJson::array(), pos); }
    /// Returns to the parent; at the root it does nothing.
    void end();

private:
    void begin(ZRKJson child, const ZRKSerializationPos& pos);

    ZRKJson _root = ZRKJson::object();
    std::deque<ZRKJson> _dropped; // children begun at an index
    std::vector<ZRKJson*> _open;  // from the root to the current value
};

/// A stored value that a reader refused.
struct ZRKReadIssue {
    std::string place;    ///< keys and indices from the root, e.g. "poles/1/strength"
    std::string found;    ///< e.g. "string", "array of 2"
    std::string expected; ///< e.g. "number", "array of 3 numbers"
    std::string outcome;  ///< what becomes of it, e.g. "the value is left out of account"
};

using ZRKReadDiagnostics = std::function<void(const ZRKReadIssue&)>;

/// Walks a JSON value, which must outlive it. Never throws for a missing key.
/// Const, although it remembers its place: one thread at a time.
class ZRK_API ZRKDeserialization {
public:
    /// @param root         usually an object; not copied.
    /// @param library      finds resources by uuid; without one every resource stays pending.
    /// @param diagnostics  is told of each value that is present and refused; may be empty.
    explicit ZRKDeserialization(const ZRKJson& root, std::shared_ptr<ZRKResourceLibrary> library = nullptr,
                                ZRKReadDiagnostics diagnostics = nullptr);
    ZRKDeserialization(const ZRKDeserialization&) = delete;
    ZRKDeserialization& operator=(const ZRKDeserialization&) = delete;

    /// The value at pos in the current one; null if there is none, and always at the back.
    const ZRKJson* at(const ZRKSerializationPos& pos) const;
    /// @{ Enter a child and answer whether it exists with that kind; of another kind it is refused. Only a
    /// child that was entered needs its end().
    bool beginObject(const ZRKSerializationPos& pos) const;
    bool beginArray(const ZRKSerializationPos& pos) const;
    /// @}
    /// Number of members or elements of the current value.
    std::size_t currentSize() const { return _open.back().value->size(); }
    /// Returns to the parent; at the root it does nothing.
    void end() const;

    /// Brings a deserialization back, when it goes out of scope, to the value that was the current one
    /// when it was made: what an exception has left open is closed.
    class Scope {
    public:
        explicit Scope(const ZRKDeserialization& d) : _deserialization(d), _depth(d._open.size()) {}
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        const ZRKDeserialization& _deserialization;
        std::size_t _depth;
    };

    /// Null without one.
    ZRKResourceLibrary* library() const { return _library.get(); }

    /// Is told of what a component computes while it is read, and may stop it; null for none.
    zrk::ProgressMonitor* monitor() const { return _monitor; }
    /// The monitor isn't owned.
    void setMonitor(zrk::ProgressMonitor* monitor) { _monitor = monitor; }

    /// Reports the value at pos, which the caller leaves out of account. Silent where nothing is there.
    void refuse(const ZRKSerializationPos& pos, const std::string& expected) const;
    /// The same, with texts of the caller's own for what was found and for what becomes of it.
    void refuse(const ZRKSerializationPos& pos, const std::string& found, const std::string& expected,
                const std::string& outcome = "the value is left out of account") const;

    /// Places of members that nobody has asked for so far, in the order of the JSON value.
    /// A value taken whole counts as asked for with all that is in it.
    std::vector<std::string> unreadPlaces() const;

private:
    struct Level {
        const ZRKJson* value;
        std::string name;
    };

    const ZRKJson* find(const ZRKSerializationPos& pos) const;
    bool enter(const ZRKSerializationPos& pos, ZRKJson::value_t kind) const;
    void collectUnread(const ZRKJson& value, const std::string& place,
                       std::vector<std::string>& places) const;

    std::shared_ptr<ZRKResourceLibrary> _library;
    ZRKReadDiagnostics _diagnostics;
    zrk::ProgressMonitor* _monitor = nullptr;
    mutable std::vector<Level> _open; // from the root to the current value
    mutable std::unordered_set<const ZRKJson*> _asked;
    mutable std::unordered_set<const ZRKJson*> _entered;
};

/// "number", "string", "array of 2" ...: a JSON value's kind in words.
ZRK_API std::string describeKind(const ZRKJson& value);

} // namespace zrkmodel
