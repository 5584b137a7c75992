#pragma once

#include "core/values/export.h"
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
class ZRK_API ZRKResourceEntry {
public:
    explicit ZRKResourceEntry(ZRKuuid uuid) : _uuid(std::move(uuid)) {}

    const ZRKuuid& uuid() const { return _uuid; }
    const std::shared_ptr<ZRKSerializableObject>& object() const { return _object; }
    /// Supplies the loaded object, which may be null, and tells everyone who waits for it, on this thread.
    void resolve(std::shared_ptr<ZRKSerializableObject> object);
    /// The listener is called whenever the entry is resolved.
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
class ZRK_API ZRKResourceHandle {
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

/// A handle of a resource that is asked for as an R.
template <class R>
class ZRKResourceHandleOf : public ZRKResourceHandle {
public:
    ZRKResourceHandleOf() = default;
    ZRKResourceHandleOf(const ZRKResourceHandle& handle) : ZRKResourceHandle(handle) {}
    ZRKResourceHandleOf(const std::shared_ptr<R>& object) : ZRKResourceHandle(object) {}

    /// Null when the handle isn't ready or the resource is of another class.
    std::shared_ptr<R> object() const { return std::dynamic_pointer_cast<R>(_resolve()); }
    /// Points this handle, not its copies, to another object; null makes it nil.
    void reset(const std::shared_ptr<R>& object) { _reset(object); }
};

/// Finds the resources of a document.
class ZRK_API ZRKResourceLibrary {
public:
    virtual ~ZRKResourceLibrary() = default;
    /// A handle, ready or pending; nil for a uuid that the library doesn't know.
    virtual ZRKResourceHandle find(const ZRKuuid& uuid) = 0;
};

/// The uuid as a string; an empty string stands for nil, and null is read as nil too. A value of another
/// kind is refused. A uuid unknown to the library is reported and gives a handle that never gets ready but
/// keeps the uuid, so that saving loses nothing.
template <>
struct ZRK_API ZRKValueSerializer<ZRKResourceHandle> {
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
    /// Throws std::out_of_range unless i is less than channelCount.
    const Channel& channel(std::size_t i) const { return _channels.at(i); }

private:
    std::vector<Channel> _channels;
};

class ZRK_API ZRKImage2d : public ZRKImage<2> {
public:
    using ZRKImage::ZRKImage;
};

class ZRK_API ZRKImage3d : public ZRKImage<3> {
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
/// again, a nil reference too, gives up waiting for the former.
///
/// Assigning, null too, gives up what was read before: a resource that arrives later changes
/// nothing. Assignment from another property takes over what that one waits for.
///
/// Writing: the reference waited for; else the value's uuid; else, where the value is null, the
/// reference that was read last, so that saving a document loses none.
///
/// Reading and assigning belong to the thread on which resources arrive.
template <class R>
class ZRKPropertyBinder<std::shared_ptr<R>> {
public:
    virtual ~ZRKPropertyBinder() = default;

    /// Whether a resource that was read hasn't arrived yet.
    bool isWaiting() const { return _wait != nullptr; }

protected:
    using Value = std::shared_ptr<R>;
    using Assign = std::function<void(const Value&)>;

    void writeValue(ZRKSerialization& s, const ZRKSerializationPos& pos) const
    {
        const bool byHandle = isWaiting() || !_value;
        ZRKValueSerializer<ZRKResourceHandle>::write(s, byHandle ? _handle : ZRKResourceHandle(_value), pos);
    }

    bool readValue(const ZRKDeserialization& d, const ZRKSerializationPos& pos, const Assign& assign)
    {
        ZRKResourceHandle stored;
        giveUpWaiting();
        ZRKValueSerializer<ZRKResourceHandle>::read(d, stored, pos);
        if (stored.isNil()) {
            return false;
        }
        if (!stored.ready()) {
            waitFor(stored, assign);
            return true;
        }
        _value = ZRKResourceHandleOf<R>(stored).object();
        _handle = stored;
        if (!_value) {
            d.refuse(pos, "a resource of another kind", ZRKValueName<Value>::text,
                     "it is kept and stands for no resource");
        }
        return true;
    }

    void forgetReference()
    {
        giveUpWaiting();
        _handle = {};
    }

    void takeReference(const ZRKPropertyBinder& other, const Assign& assign)
    {
        giveUpWaiting();
        _handle = other._handle;
        if (other.isWaiting() && _handle.ready()) {
            // It is arriving now, and the other's turn to take it comes later: no arrival is left to wait
            // for.
            const Value arrived = ZRKResourceHandleOf<R>(_handle).object();
            _value = _filter ? _filter(arrived) : arrived;
        } else if (other.isWaiting()) {
            waitFor(_handle, assign);
        }
    }

    nod::scoped_connection _arrival;
    ZRKResourceHandle _handle; ///< as it was read last; nil after an assignment
    struct Wait {};
    /// Null unless a resource is waited for. What listens holds it weakly: an emission that is under
    /// way reaches neither a later wait nor a property that is gone.
    std::shared_ptr<const Wait> _wait;
    nod::signal<void(const Value&)> _changed;
    std::function<Value(const Value&)> _filter;
    Value _value;

private:
    void giveUpWaiting()
    {
        _wait.reset();
        _arrival.disconnect();
    }

    void waitFor(const ZRKResourceHandle& handle, const Assign& assign)
    {
        _handle = handle;
        _wait = std::make_shared<const Wait>();
        _arrival = _handle.addListener([this, assign, wait = std::weak_ptr(_wait)] {
            if (!wait.expired() && _handle.ready()) {
                _wait.reset();
                assign(ZRKResourceHandleOf<R>(_handle).object());
            }
        });
    }
};

} // namespace zrkmodel
