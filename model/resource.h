#pragma once

#include "core/values/image_channel.h"
#include "model/property.h"
#include "model/serializable.h"
#include "model/uuid.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zrkmodel {

/// A resource of a document: its uuid and, once loaded, its object. Used on one thread.
class ZRKResourceEntry {
public:
    explicit ZRKResourceEntry(ZRKuuid uuid) : _uuid(std::move(uuid)) {}

    const ZRKuuid& uuid() const { return _uuid; }
    const std::shared_ptr<ZRKSerializableObject>& object() const { return _object; }
    /// Supplies the loaded object and tells everyone who waits for it, on this thread.
    void resolve(std::shared_ptr<ZRKSerializableObject> object);
    nod::connection addListener(std::function<void()> listener)
    {
        return _resolved.connect(std::move(listener));
    }

private:
    ZRKuuid _uuid;
    std::shared_ptr<ZRKSerializableObject> _object;
    nod::signal<void()> _resolved;
};

/// A reference to a resource: nil, pending or ready. A pending one becomes ready when its
/// entry is resolved. Copies refer to the same resource.
class ZRKResourceHandle {
public:
    ZRKResourceHandle() = default;
    /// Ready, unless the object is null, which makes the handle nil.
    ZRKResourceHandle(const std::shared_ptr<ZRKSerializableObject>& object) { _reset(object); }
    explicit ZRKResourceHandle(std::shared_ptr<ZRKResourceEntry> entry) : _entry(std::move(entry)) {}

    bool isNil() const { return !_entry || (!_entry->object() && _entry->uuid().isNil()); }
    bool ready() const { return _entry && _entry->object(); }
    /// Of the resource, loaded or not; nil for a nil handle.
    const ZRKuuid& uuid() const;
    /// The listener is called when a pending resource arrives. Not connected for a nil handle.
    nod::connection addListener(std::function<void()> listener) const;

protected:
    /// Points this handle, not its copies, to another object.
    void _reset(const std::shared_ptr<ZRKSerializableObject>& object);
    /// The object; null while pending or nil.
    std::shared_ptr<ZRKSerializableObject> _resolve() const { return _entry ? _entry->object() : nullptr; }

private:
    std::shared_ptr<ZRKResourceEntry> _entry;
};

/// A handle whose object is asked for as an R.
template <class R>
class ZRKResourceHandleOf : public ZRKResourceHandle {
public:
    ZRKResourceHandleOf() = default;
    ZRKResourceHandleOf(const ZRKResourceHandle& handle) : ZRKResourceHandle(handle) {}
    ZRKResourceHandleOf(const std::shared_ptr<R>& object) : ZRKResourceHandle(object) {}

    /// Null when the handle isn't ready or the resource is of another class.
    std::shared_ptr<R> object() const { return std::dynamic_pointer_cast<R>(_resolve()); }
    void reset(const std::shared_ptr<R>& object) { _reset(object); }
};

/// Finds the resources of a document.
class ZRKResourceLibrary {
public:
    virtual ~ZRKResourceLibrary() = default;
    /// A handle, ready or pending; nil for a uuid that the library doesn't know.
    virtual ZRKResourceHandle find(const ZRKuuid& uuid) = 0;
};

/// The uuid as a string; an empty string stands for nil, and null is read as nil too.
/// A uuid unknown to the library is reported and gives a handle that never gets ready but
/// keeps the uuid, so that saving loses nothing.
template <>
struct ZRKValueSerializer<ZRKResourceHandle> {
    static void write(ZRKSerialization& s, const ZRKResourceHandle& value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, ZRKResourceHandle& value, const ZRKSerializationPos& pos);
};

/// An image that comes in, of pixels (D = 2) or voxels (D = 3): an ordered list of channels, which may differ
/// in their type of number. Immutable once handed out, thus safe to read from many threads.
template <int D>
class ZRKImage : public ZRKSerializableObject {
public:
    using Channel = zrk::ImageChannel<D>;

    ZRKImage() = default;
    explicit ZRKImage(std::vector<Channel> channels) : _channels(std::move(channels)) {}

    std::size_t channelCount() const { return _channels.size(); }
    const Channel& channel(std::size_t i) const { return _channels.at(i); }

private:
    std::vector<Channel> _channels;
};

class ZRKImage2d : public ZRKImage<2> {
public:
    using ZRKImage::ZRKImage;
};

class ZRKImage3d : public ZRKImage<3> {
public:
    using ZRKImage::ZRKImage;
};

// clang-format off
class ZRKGeometry;
template <> struct ZRKValueName<std::shared_ptr<ZRKGeometry>> { static constexpr const char* text = "geometry"; };
template <> struct ZRKValueName<std::shared_ptr<ZRKImage2d>> { static constexpr const char* text = "image2d"; };
template <> struct ZRKValueName<std::shared_ptr<ZRKImage3d>> { static constexpr const char* text = "image3d"; };
// clang-format on

/// A property that holds a resource, and waits for one that is still being loaded.
///
/// Reading: a nil reference keeps the value and counts as failed. A ready one is stored
/// without notification; null, if the resource is of another class. A pending one keeps
/// the value for now; when the resource arrives it is assigned with notification. Reading
/// again gives up waiting for the former.
///
/// Writing: the reference waited for, else the value's uuid, else a reference of the wrong
/// class that was read, so that saving a document loses none.
template <class R>
class ZRKPropertyBinder<std::shared_ptr<R>> {
public:
    virtual ~ZRKPropertyBinder() = default;

    bool isWaiting() const { return _waiting; }
    const ZRKResourceHandle& handle() const { return _handle; }

protected:
    using Value = std::shared_ptr<R>;
    using Assign = std::function<void(const Value&)>;

    void writeValue(ZRKSerialization& s, const ZRKSerializationPos& pos) const
    {
        const bool byHandle = _waiting || !_value;
        ZRKValueSerializer<ZRKResourceHandle>::write(s, byHandle ? _handle : ZRKResourceHandle(_value), pos);
    }

    bool readValue(const ZRKDeserialization& d, const ZRKSerializationPos& pos, const Assign& assign)
    {
        ZRKResourceHandle stored;
        _waiting = false;
        ZRKValueSerializer<ZRKResourceHandle>::read(d, stored, pos);
        if (stored.isNil()) {
            return false;
        }
        if (!stored.ready()) {
            waitFor(stored, assign);
            return true;
        }
        _value = ZRKResourceHandleOf<R>(stored).object();
        _handle = _value ? ZRKResourceHandle() : stored;
        if (!_value) {
            d.refuse(pos, "a resource of another kind", ZRKValueName<Value>::text);
        }
        return true;
    }

    void store(Value value)
    {
        _value = std::move(value);
        if (_value && !_waiting) {
            _handle = {};
        }
    }

    void takeReference(const ZRKPropertyBinder& other, const Assign& assign)
    {
        if (other._waiting) {
            waitFor(other._handle, assign);
        } else if (!_waiting) {
            _handle = other._handle;
        }
    }

    nod::scoped_connection _arrival;
    ZRKResourceHandle _handle;
    bool _waiting = false;
    nod::signal<void(const Value&)> _changed;
    std::function<Value(const Value&)> _filter;
    Value _value;

private:
    void waitFor(const ZRKResourceHandle& handle, const Assign& assign)
    {
        _handle = handle;
        _waiting = true;
        _arrival = _handle.addListener([this, assign] {
            if (_waiting && _handle.ready()) {
                _waiting = false;
                assign(ZRKResourceHandleOf<R>(_handle).object());
            }
        });
    }
};

} // namespace zrkmodel
