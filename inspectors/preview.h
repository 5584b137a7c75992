#pragma once

#include "inspectors/described.h"

#include <QImage>
#include <QLabel>

namespace zrkui {

/// Shows a picture as large as there is room for, in its own proportions.
class UIPreview : public QLabel, public UIDescribed {
public:
    explicit UIPreview(QWidget* parent = nullptr);

    /// A null picture clears it.
    void display(const QImage& picture);
    const QImage& picture() const { return _picture; }
    void describe(zrkmodel::ZRKJson& out) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage _picture;
};

} // namespace zrkui
