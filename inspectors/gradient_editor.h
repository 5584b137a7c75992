#pragma once

#include "core/curves/point_interpolator.h"
#include "core/values/export.h"
#include "core/values/interval.h"
#include "inspectors/described.h"
#include "inspectors/plot.h"
#include "inspectors/wrappers.h"
#include "model/signal.h"

#include <QWidget>

#include <functional>
#include <optional>

namespace zrkui {

class NumberField;

/// Edits a copy of a curve through key points. The plot draws it; points are dragged, added by a double
/// click and removed by Delete; the row below has the same for the keyboard: the selected point's key, value
/// and kind, and buttons to add and remove.
class ZRK_API ZRKScalarGradientEditor : public QWidget, public UIDescribed {
public:
    using Curve = zrkmodel::ScalarCurve;

    /// @param keys  points are kept within.
    ZRKScalarGradientEditor(const Curve& curve, const zrk::Interval<double>& keys, QWidget* parent = nullptr);

    const Curve& curve() const { return _curve; }
    /// The listener is called with the curve after each edit.
    void onGradientChanged(std::function<void(const Curve&)> listener)
    {
        _changed.connect(std::move(listener));
    }
    /// Shows another curve without calling the listeners.
    void display(const Curve& curve);

    int selected() const { return _selected; } ///< -1 for none
    void select(int index);
    void movePoint(int index, double key, double value);
    void addPoint(double key, double value);
    void removePoint(int index);
    void setKind(int index, int kind);

    UIPlot& plot() const;
    void describe(zrkmodel::ZRKJson& out) const override;

private:
    class Plot;
    Curve _curve;
    zrk::Interval<double> _keys;
    int _selected = -1;
    Plot* _plot;
    NumberField* _key;
    NumberField* _value;
    QComboBoxWrapper* _kind;
    QPushButton* _remove;
    nod::signal<void(const Curve&)> _changed;

    void changed();
    void showCurve();
    void showSelected();
    bool hasPoint(int index) const;
    int pointAt(const QPointF& pixels) const;
};

} // namespace zrkui
