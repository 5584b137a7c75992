#pragma once

#include "core/values/export.h"
#include "inspectors/ui_rect.h"

#include <QWidget>

#include <string>

class QLabel;

namespace zrkui {

/// A control with its caption and, beneath it, room for a short message.
class ZRK_API UIField : public QWidget {
public:
    /// How caption and control stand: in one row of a form, or one above the other.
    enum class Arrangement { row, column };

    UIField(QWidget* control, const UIContent& caption, Arrangement arrangement, QWidget* parent = nullptr);

    QWidget* control() const { return _control; }
    const std::string& caption() const { return _caption; }
    /// Whether the caption stands above the control.
    bool hasCaptionAbove() const { return _hasCaptionAbove; }
    /// Leaves room for a caption above, so that the control stands in line with neighbours that have one.
    void reserveCaption();
    /// Shows a short message; an empty one takes it away.
    void say(const std::string& message);
    std::string message() const;

    QSize sizeHint() const override;

    /// Says it at the field that holds the control; does nothing for a control outside of one.
    static void say(QWidget* control, const std::string& message);
    /// The same where the control may be gone, and null: the message is returned then, to be told elsewhere.
    static std::string sayIfShown(QWidget* control, const std::string& message);
    /// The field that holds a control; null for none.
    static UIField* of(const QWidget* control);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* _control;
    std::string _caption;
    QLabel* _message = nullptr;
    int _indent = 0;
    bool _hasCaptionAbove = false;
};

/// A text as a caption; an empty one is no caption.
inline UIContent captionOf(const std::string& text) { return text.empty() ? UIContent() : UIContent(text); }

} // namespace zrkui
