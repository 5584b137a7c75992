#pragma once

#include "apps/workbench/canvas/graph_info.h"
#include "apps/workbench/canvas/node_badge.h"

#include <QGraphicsItem>
#include <QImage>

#include <optional>
#include <vector>

namespace zrkworkbench {

/// How the pins of a node look while a wire is dragged.
struct DragLights {
    std::vector<bool> inputs; ///< which fit
    std::vector<bool> outputs;
    zrkmodel::Tag tag; ///< of the wire
    zrkmodel::Pin_handle start;

    friend bool operator==(const DragLights&, const DragLights&) = default;
};

/// Draws a node. It takes no events: the canvas does.
class NodeItem : public QGraphicsItem {
public:
    enum { Type = UserType + 1 };

    explicit NodeItem(NodeInfo info);

    int type() const override { return Type; }
    const NodeInfo& info() const { return _info; }
    void setInfo(NodeInfo info);
    QSizeF size() const { return _size; }
    QRectF frame() const { return {pos(), _size}; }

    void setSelected(bool isOn);
    bool isSelected() const { return _isSelected; }
    /// How far it looks hovered, 0 to 1.
    void setHover(double hover);
    void setViewed(bool isOn);
    bool isViewed() const { return _isViewed; }
    void setBadge(const NodeBadge& badge);
    const NodeBadge& badge() const { return _badge; }
    void setThumbnail(const QImage& picture);
    const QImage& thumbnail() const { return _thumbnail; }
    bool hasThumbnail() const { return !_thumbnail.isNull(); }
    /// Whether there is room for a thumbnail.
    void setThumbnailShown(bool isOn);
    bool isThumbnailShown() const { return _hasThumbnailRoom; }
    QSizeF thumbnailSize() const;
    /// None while no wire is dragged.
    void setLights(std::optional<DragLights> lights);

    /// Where a pin is, in the scene.
    QPointF pinPosition(zrkmodel::Pin_handle pin) const;
    /// Where the state's badge is drawn, in the scene; empty without one.
    QRectF badgeRect() const;

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    NodeInfo _info;
    QSizeF _size;
    bool _isSelected = false;
    double _hover = 0;
    bool _isViewed = false;
    NodeBadge _badge;
    QImage _thumbnail;
    bool _hasThumbnailRoom = true;
    std::optional<DragLights> _lights;

    void measure();
    QStringList badgeIcons() const;
    QRectF bodyRect() const { return {QPointF(), _size}; }
    bool isFadedWhole() const;
    double rowMiddle(std::size_t row) const;
    void paintBlock(QPainter& painter) const;
    void paintPlate(QPainter& painter, double zoom) const;
    void paintBody(QPainter& painter, double zoom) const;
    void paintHeader(QPainter& painter, double zoom) const;
    void paintRows(QPainter& painter) const;
    void paintThumbnail(QPainter& painter) const;
    void paintPins(QPainter& painter, double zoom) const;
    void paintRing(QPainter& painter, double zoom) const;
    void paintFlag(QPainter& painter, double zoom) const;
};

/// Draws a pin: a circle for scalars, a diamond for vectors, a square for colours, and a ring for a wildcard
/// without a tag.
void paintPin(QPainter& painter, const QPointF& at, zrkmodel::Tag tag, const QColor& color,
              const QColor& ground, double radius);

} // namespace zrkworkbench
