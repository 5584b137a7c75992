#pragma once

#include "model/property.h"
#include "model/signal.h"

#include <QObject>

#include <functional>
#include <memory>

namespace zrkui {

/// Ends a connection with the widget that it serves.
inline void endWith(QObject& widget, nod::connection connection)
{
    auto held = std::make_shared<nod::scoped_connection>(std::move(connection));
    QObject::connect(&widget, &QObject::destroyed, [held] { held->disconnect(); });
}

/// Shows each new value of a property until the widget is gone. `show` must not write the property.
template <class T>
void follow(QObject& widget, zrkmodel::ZRKProperty<T>& property, std::function<void(const T&)> show)
{
    endWith(widget, property.addListener(std::move(show)));
}

/// The same for what an object announces under a name that is no property's.
inline void followEvent(QObject& widget, zrkmodel::ZRKObject& object, std::string name,
                        std::function<void()> show)
{
    endWith(widget, object.addListener([name = std::move(name), show = std::move(show)](const auto& event) {
        if (event.name == name) {
            show();
        }
    }));
}

} // namespace zrkui
