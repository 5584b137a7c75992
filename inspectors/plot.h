#pragma once

#include <QRectF>
#include <QWidget>

#include <functional>

class QPainter;

namespace zrkui {

/// A frame with a curve in it, drawn from a function.
class UIPlot : public QWidget {
public:
    using Curve = std::function<double(double)>;

    explicit UIPlot(QWidget* parent = nullptr);

    /// @param window  keys from left to right, values from bottom() (the lower) to top().
    void setCurve(Curve curve, const QRectF& window);
    QPointF toPixels(const QPointF& point) const;
    QPointF fromPixels(const QPointF& pixels) const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    /// Draws above the curve.
    virtual void paintMore(QPainter&) {}
    QRectF inside() const;

private:
    Curve _curve;
    QRectF _window{0, 0, 1, 1};
};

} // namespace zrkui
