#pragma once

#include "core/values/export.h"
#include "inspectors/described.h"
#include "inspectors/number_field.h"
#include "inspectors/wrappers.h"
#include "model/fall_off_function.h"
#include "model/signal.h"

#include <QWidget>

#include <functional>

namespace zrkui {

/// Edits a copy of a fall-off: where it starts and ends, its curve, and how it looks.
class ZRK_API FallOffEditor : public QWidget, public UIDescribed {
public:
    using Function = zrkmodel::ZRKFallOffFunction;

    explicit FallOffEditor(const Function& function, QWidget* parent = nullptr);

    const Function& function() const { return _function; }
    void connectToListener(std::function<void(const Function&)> listener)
    {
        _changed.connect(std::move(listener));
    }
    /// Shows another function without calling the listeners.
    void display(const Function& function);
    QDoubleSpinBoxWrapper& start() const { return *_start; }
    QDoubleSpinBoxWrapper& end() const { return *_end; }
    QComboBoxWrapper& curve() const { return *_curve; }

    void describe(zrkmodel::ZRKJson& out) const override;

private:
    Function _function;
    QWidget* _plot;
    QDoubleSpinBoxWrapper* _start;
    QDoubleSpinBoxWrapper* _end;
    QComboBoxWrapper* _curve;
    nod::signal<void(const Function&)> _changed;

    void edited();
};

} // namespace zrkui
