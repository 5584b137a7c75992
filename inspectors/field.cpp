#include "inspectors/field.h"

#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/images.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QResizeEvent>
#include <QVariant>

#include <algorithm>

namespace zrkui {

namespace {

/// Captions of a form are as wide, and fields begin right of them.
constexpr double kCaptionWidth = 120;

/// A button that is as wide as its text.
bool isPushButton(const QWidget& control)
{
    return qobject_cast<const QPushButton*>(&control) &&
           control.sizePolicy().horizontalPolicy() != QSizePolicy::Expanding;
}

/// Tells those who can't see the caption what a control and its parts are.
void nameFor(QWidget& control, const QString& caption)
{
    for (QWidget* named : {&control, control.focusProxy()}) {
        if (named && named->accessibleName().isEmpty()) {
            named->setAccessibleName(caption);
        }
    }
    for (auto* part : control.findChildren<QAbstractSpinBox*>(QString(), Qt::FindDirectChildrenOnly)) {
        part->setAccessibleName(caption + " " + part->accessibleName());
    }
}

QWidget* captionWidget(const UIContent& caption)
{
    if (const auto* widget = std::get_if<QWidget*>(&caption)) {
        return *widget;
    }
    if (const auto* text = std::get_if<std::string>(&caption)) {
        auto* label = new QLabel(QString::fromStdString(*text));
        label->setProperty("zrkRole", "caption");
        return label;
    }
    if (const auto* image = std::get_if<UIImage>(&caption)) {
        auto* label = new QLabel;
        label->setPixmap(QPixmap::fromImage(toImage(*image)));
        return label;
    }
    return nullptr;
}

} // namespace

UIField::UIField(QWidget* control, const UIContent& caption, Arrangement arrangement, QWidget* parent)
    : QWidget(parent), _control(control)
{
    if (const auto* text = std::get_if<std::string>(&caption)) {
        _caption = *text;
        nameFor(*control, QString::fromStdString(*text));
    }
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(scaled(*this, 2));
    QWidget* label = captionWidget(caption);
    const bool isButton = qobject_cast<QAbstractButton*>(control) != nullptr;
    if (arrangement == Arrangement::row && (label || isButton)) {
        auto* row = new QHBoxLayout;
        row->setSpacing(0);
        _indent = scaled(*this, kCaptionWidth);
        if (label) {
            label->setMinimumWidth(_indent);
            row->addWidget(label);
        } else {
            row->addSpacing(_indent);
        }
        row->addWidget(control, isButton ? 0 : 1);
        if (isButton) {
            row->addStretch(1);
        }
        column->addLayout(row);
    } else {
        if (label) {
            column->addWidget(label);
            _hasCaptionAbove = true;
        }
        column->addWidget(control, 1, isPushButton(*control) ? Qt::AlignLeft : Qt::Alignment());
    }
    const QSizePolicy::Policy up = control->sizePolicy().verticalPolicy();
    setSizePolicy(QSizePolicy::Preferred, up == QSizePolicy::Expanding ? up : QSizePolicy::Maximum);
}

void UIField::reserveCaption()
{
    if (!_hasCaptionAbove) {
        layout()->setContentsMargins(0, QLabel("x").sizeHint().height() + layout()->spacing(), 0, 0);
    }
}

void UIField::say(const std::string& message)
{
    if (!_message) {
        if (message.empty()) {
            return;
        }
        _message = new QLabel(this);
        _message->setProperty("zrkRole", "problem");
        _message->setWordWrap(true);
        _message->setIndent(_indent);
        layout()->addWidget(_message);
    }
    _message->setText(QString::fromStdString(message));
    _message->setVisible(!message.empty());
    _control->setAccessibleDescription(_message->text());
    ZRKApp::ui().tellFieldMessage(*this);
}

QSize UIField::sizeHint() const
{
    QSize size = QWidget::sizeHint();
    if (!message().empty()) { // it has as many lines as the width asks for
        size.setHeight(std::max(size.height(), heightForWidth(width())));
    }
    return size;
}

void UIField::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (!message().empty() && event->oldSize().width() != width()) {
        updateGeometry();
    }
}

std::string UIField::message() const { return _message ? _message->text().toStdString() : std::string(); }

UIField* UIField::of(const QWidget* control)
{
    for (QWidget* parent = control->parentWidget(); parent; parent = parent->parentWidget()) {
        if (auto* field = dynamic_cast<UIField*>(parent)) {
            return field;
        }
    }
    return nullptr;
}

void UIField::say(QWidget* control, const std::string& message)
{
    if (UIField* field = of(control)) {
        field->say(message);
    }
}

std::string UIField::sayIfShown(QWidget* control, const std::string& message)
{
    if (!control) {
        return message;
    }
    say(control, message);
    return {};
}

} // namespace zrkui
