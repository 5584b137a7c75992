#pragma once

#include "core/values/export.h"
#include "core/values/interval.h"
#include "inspectors/described.h"
#include "model/signal.h"

#include <QDoubleSpinBox>

#include <functional>
#include <optional>

class QLabel;

namespace zrkui {

/// A field for one number. It keeps the exact number that it was given, however it shows it, and shows
/// numbers beyond its range, NaN and infinities as they are; only what the user enters is cut to the range.
/// Where room is short it shows fewer digits until it has the focus, never a part of the text.
///
/// Numbers are typed, as expressions too, stepped by arrow keys and wheel (Shift coarser, Ctrl finer), and
/// dragged. Text that isn't a number is told beside the field, and the former number stays.
class ZRK_API NumberField : public QDoubleSpinBox, public UIDescribed {
public:
    enum class Kind { real, whole };

    explicit NumberField(Kind kind = Kind::real, QWidget* parent = nullptr);

    /// Shows a number without calling the listeners.
    void display(double value);
    /// The number, all of its digits.
    double exact() const { return _exact; }
    /// The listener is called with each new number that the user enters.
    void onEdited(std::function<void(double)> listener) { _edited.connect(std::move(listener)); }
    /// Without an end, numbers are free there.
    void setLimits(std::optional<double> min, std::optional<double> max);
    /// A short caption within the field, at its left.
    void setMark(const QString& text);
    /// Shows where the number lies within its limits, and takes the place where it is dragged to.
    void setFilled(bool filled);
    /// Takes what is typed but not yet entered.
    void takeTyped();

    void describe(zrkmodel::ZRKJson& out) const override;
    QString textFromValue(double value) const override;
    double valueFromText(const QString& text) const override;
    QValidator::State validate(QString& text, int& position) const override;
    void stepBy(int steps) override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Kind _kind;
    double _exact = 0;
    double _inner = 0; ///< what the base holds for it, finite and within the range
    std::optional<double> _min, _max;
    std::optional<QString> _typed;
    std::optional<double> _stepFactor;
    QLabel* _mark = nullptr;
    bool _filled = false;
    bool _clickedInto = false; ///< the focus came by the click that is under way
    nod::signal<void(double)> _edited;

    struct Drag {
        int startX;
        double start;
        bool moved = false;
    };
    std::optional<Drag> _drag;

    void enter(double value);
    double withinLimits(double value) const;
    QString fullText(double value) const;
    QString fittingText(double value) const;
    bool isUnchanged(const QString& text) const;
    void showText();
    double step(bool isTowardsZero = false) const;
    static double stepFactorOf(Qt::KeyboardModifiers modifiers);
    void dragTo(int x);
};

/// A field for a real number.
class ZRK_API QDoubleSpinBoxWrapper : public NumberField {
public:
    explicit QDoubleSpinBoxWrapper(QWidget* parent = nullptr) : NumberField(Kind::real, parent) {}
    void connectToListener(std::function<void(const double&)> listener)
    {
        onEdited([listener = std::move(listener)](double value) { listener(value); });
    }
};

/// A field for a whole number. A number with a fraction is shown without it and kept until it is edited.
class ZRK_API QSpinBoxWrapper : public NumberField {
public:
    explicit QSpinBoxWrapper(QWidget* parent = nullptr) : NumberField(Kind::whole, parent) {}
    void connectToListener(std::function<void(const int&)> listener)
    {
        onEdited([listener = std::move(listener)](double value) { listener(static_cast<int>(value)); });
    }
};

/// A number between two limits, dragged along the field or typed.
class ZRK_API SliderFWrapper : public NumberField {
public:
    explicit SliderFWrapper(const zrk::Interval<double>& range, QWidget* parent = nullptr)
        : NumberField(Kind::real, parent)
    {
        setLimits(range.lower, range.upper);
        setFilled(true);
    }
    void connectToListener(std::function<void(const double&)> listener)
    {
        onEdited([listener = std::move(listener)](double value) { listener(value); });
    }
    void describe(zrkmodel::ZRKJson& out) const override
    {
        NumberField::describe(out);
        out["widget"] = "slider";
    }
};

} // namespace zrkui
