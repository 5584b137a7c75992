#pragma once

#include "apps/workbench/canvas/canvas_notes.h"

#include <QGraphicsItem>

namespace zrkworkbench {

/// Draws a frame around nodes.
class FrameItem : public QGraphicsItem {
public:
    enum { Type = UserType + 3 };

    FrameItem();

    int type() const override { return Type; }
    const FrameNote& note() const { return _note; }
    void setNote(FrameNote note);
    /// What its nodes take up; the frame is as much larger as it needs.
    void setContents(const QRectF& contents);
    void setSelected(bool isOn);
    bool isSelected() const { return _isSelected; }
    QRectF frame() const { return _rect; }
    QRectF titleRect() const;

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    FrameNote _note;
    QRectF _rect;
    bool _isSelected = false;
};

} // namespace zrkworkbench
