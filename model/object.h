#pragma once

#include "core/values/export.h"
#include "model/event.h"
#include "model/signal.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zrkmodel {

class ZRKDynamicPropertyPack;
class ZRKPropertyBase;

/// Something with properties that tells listeners about changes.
///
/// Properties enter themselves in the object's list when they are constructed, in order of
/// declaration; cloning, documents, panels and listings all walk this list. A copy has a
/// list of its own and no listeners; assignment leaves both as they are.
/// Listeners may be added from any thread; everything else needs locking from outside.
class ZRK_API ZRKObject : public std::enable_shared_from_this<ZRKObject> {
public:
    ZRKObject() = default;
    ZRKObject(const ZRKObject& other) : enable_shared_from_this(other) {}
    ZRKObject& operator=(const ZRKObject&) { return *this; }

    /// A new object of the same class with equal property values: onClone, then _copyTo.
    /// Null where the class can't be cloned.
    std::shared_ptr<ZRKObject> clone() const;

    /// A new object of the same class, whose properties have their defaults. The base answers null.
    virtual std::shared_ptr<ZRKObject> onClone() const;
    /// Assigns each property of `target` from the one with the same name here, telling no one.
    virtual void _copyTo(ZRKObject* target) const;

    virtual ~ZRKObject();

    /// Adds a descriptor for each property that a panel can show without help.
    virtual void getProperties(ZRKDynamicPropertyPack& pack);
    /// While silent, assigning a property stores but tells no one. Returns the former state.
    virtual bool setSilent(bool silent);
    /// Called after a property was assigned, before the property's own listeners.
    /// The base passes the event on to the listeners.
    virtual void _onPropertyChanged(const ZRKEvent& event);

    bool isSilent() const { return _silent; }
    /// The properties in order of declaration.
    const std::vector<ZRKPropertyBase*>& properties() const { return _properties; }
    /// Null when there is none of this name.
    ZRKPropertyBase* findProperty(std::string_view name) const;

    /// The listener is called with each change, on the thread that makes it, until it is disconnected.
    nod::connection addListener(const std::function<void(const ZRKEvent&)>& listener);
    /// Calls the listeners, even while the object is silent: silence holds for assigned properties only.
    void emitChange(const ZRKEvent& event) const;
    /// emitChange for the named property of this object.
    void emitPropertyChange(const std::string& name) const;

private:
    friend class ZRKPropertyBase;
    std::vector<ZRKPropertyBase*> _properties; // members of the derived class; not owned
    nod::signal<void(const ZRKEvent&)> _changed;
    bool _silent = false;
};

} // namespace zrkmodel
