#pragma once

#include "apps/workbench/preview_service.h"

#include <QImage>
#include <QWidget>

#include <functional>

class QButtonGroup;
class QLabel;

namespace zrkui {
class SliderFWrapper;
}

namespace zrkworkbench {

/// Shows a slice with its legend, and lets one choose the axis and the place that it is cut at.
class SliceView : public QWidget {
public:
    explicit SliceView(QWidget* parent = nullptr);

    void display(const SlicePreview& preview);
    /// A message in place of a picture.
    void say(const std::string& message);
    /// The listener is called when another axis, place or resolution is wanted.
    void onWanted(std::function<void()> listener) { _wanted = std::move(listener); }

    int axis() const { return _axis; }
    double at() const;
    /// Along the longer side, in pixels of the screen.
    int pixels() const;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    class Canvas;
    Canvas* _canvas;
    QButtonGroup* _axes;
    zrkui::SliderFWrapper* _place;
    QLabel* _coordinate;
    int _axis = 1;
    std::function<void()> _wanted;
};

} // namespace zrkworkbench
