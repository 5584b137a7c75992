#pragma once

#include "apps/workbench/views/solid_work.h"
#include "apps/workbench/views/view_source.h"

#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;

namespace zrkworkbench {

/// A solid that is turned by dragging, moved by dragging with Shift or the middle button and zoomed by the
/// wheel.
class SolidView : public QWidget {
public:
    explicit SolidView(QWidget* parent = nullptr);

    /// Other bounds or another document are framed anew; edits aren't, so that one sees what they do.
    void setSource(const ViewSource& source);
    /// The solid to be drawn now, but for its field. BadInput for an output that has no surface.
    /// @param slice  by which the solid is cut.
    /// @param iso    value at the surface; without it the usual one.
    zrk::Result<SolidRequest> request(const SolidRequest::Cut& slice, std::optional<double> iso) const;
    /// Who looks at the solid.
    SolidEye eye() const { return {from(), _zoom, _shift}; }
    /// What is turned about, once a picture was shown.
    const std::optional<SolidFrame>& frame() const { return _frame; }
    QSize devicePixels() const;
    void display(const SolidPreview& preview);
    void say(const QString& message);

    void turn(double aroundDegrees, double upDegrees);
    void zoomBy(double factor);
    /// The first view of the whole.
    void goHome();
    bool isCut() const;
    void setCut(bool isCut);

    /// The listener is called when another picture is wanted.
    void onWanted(std::function<void()> listener) { _wanted = std::move(listener); }

private:
    class Picture;
    Picture* _picture;
    QCheckBox* _cut;
    std::optional<ViewSource> _source;
    double _around; ///< degrees around the z axis, 0 in front
    double _up;     ///< degrees above the horizon
    double _zoom = 1;
    QPointF _shift{};
    std::optional<SolidFrame> _frame;
    int _firstSize = 128;
    std::function<void()> _wanted;

    zrk::Vector3 from() const;
    void want();
    void move(const QPointF& pixels);
};

} // namespace zrkworkbench
