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

} // namespace zrkui
