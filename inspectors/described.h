#pragma once

#include "core/values/export.h"
#include "model/json.h"

#include <QString>
#include <QVariant>
#include <QWidget>

namespace zrkui {

/// A control that can tell what it holds now; see describePanels for the members.
class ZRK_API UIDescribed {
public:
    virtual ~UIDescribed() = default;
    virtual void describe(zrkmodel::ZRKJson& out) const = 0;
};

/// The name of the property that a control shows; empty for none.
inline QString shownProperty(const QWidget& control) { return control.property("zrkProperty").toString(); }
inline void setShownProperty(QWidget& control, const std::string& name)
{
    control.setProperty("zrkProperty", QString::fromStdString(name));
    if (control.accessibleName().isEmpty()) {
        control.setAccessibleName(QString::fromStdString(name));
    }
}

/// Where the manual page tells of what a control shows that is no property: the key that documents store,
/// such as "op_name" or, within the items of a list, "waves.fx". Empty for none.
inline QString manualKey(const QWidget& control) { return control.property("zrkManualKey").toString(); }
inline void setManualKey(QWidget& control, const char* key) { control.setProperty("zrkManualKey", key); }

/// What a control does that the manual page has no value for, such as a button; empty for none. It is no tool
/// tip of the control's own: whoever shows the panel may make it one.
inline QString hintOf(const QWidget& control) { return control.property("zrkHint").toString(); }
inline void setHint(QWidget& control, const char* text) { control.setProperty("zrkHint", text); }

} // namespace zrkui
