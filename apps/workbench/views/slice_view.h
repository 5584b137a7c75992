#pragma once

#include "apps/workbench/views/preview_service.h"
#include "apps/workbench/views/view_source.h"

#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;

namespace zrkui {
class NumberField;
}

namespace zrkworkbench {

class AxisButtons;
class PlaceSlider;
class SliceCanvas;

/// A slice with what one chooses about it: the axis, the place, and the level of the line.
class SliceView : public QWidget {
public:
    explicit SliceView(QWidget* parent = nullptr);

    /// Shows the controls as a source wants them. The view of its document is taken over where it differs
    /// from the one that was taken over last.
    void setSource(const ViewSource& source);
    /// The slice to be drawn now, but for its field.
    SliceRequest request() const;
    void display(const SlicePreview& preview);
    void say(const QString& message);
    void showReadout(const Readout& readout);

    int axis() const;
    /// Where along the axis, 0 to 1, and in model units.
    double at() const { return _at; }
    double coordinate() const;
    /// The value at the line; nothing where none is drawn.
    std::optional<double> level() const;
    void setAxis(int axis);
    void setAt(double at);
    /// Moves the cut by so many hundredths of the bounds.
    void step(double hundredths) { setAt(_at + hundredths / 100); }
    SliceCanvas& canvas() { return *_canvas; }

    /// The listener is called when another picture is wanted.
    void onWanted(std::function<void()> listener);
    /// The listener is told of the position under the pointer; nothing when it left.
    void onPointed(std::function<void(std::optional<zrk::Tensor<3, double>>)> listener);

private:
    SliceCanvas* _canvas;
    AxisButtons* _axes;
    PlaceSlider* _slider;
    zrkui::NumberField* _place;
    QCheckBox* _hasLine;
    zrkui::NumberField* _level;
    std::optional<ViewSource> _source;
    double _at = 0.5;
    bool _isShowing = false; ///< controls follow, and their signals aren't wishes
    std::function<void()> _wanted;

    void takeView(const ViewSource& source);
    void showPlace();
    void want();
};

} // namespace zrkworkbench
