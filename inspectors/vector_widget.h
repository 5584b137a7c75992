#pragma once

#include "core/values/tensor.h"
#include "inspectors/number_field.h"
#include "model/signal.h"

#include <QHBoxLayout>
#include <QWidget>

#include <array>
#include <cstddef>
#include <functional>
#include <optional>

namespace zrkui {

/// N numbers side by side, from -5000000 to 5000000 unless they are given other limits.
template <int N>
class VectorWidget : public QWidget, public UIDescribed {
public:
    using Vector = zrk::Tensor<N, double>;
    static constexpr double kLimit = 5000000;

    explicit VectorWidget(const Vector& value, QWidget* parent = nullptr) : QWidget(parent)
    {
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(4);
        for (std::size_t i = 0; i < N; ++i) {
            _fields[i] = new QDoubleSpinBoxWrapper(this);
            _fields[i]->setLimits(-kLimit, kLimit);
            const QString axis = QString("xyzw").mid(static_cast<int>(i), 1);
            _fields[i]->setMark(axis);
            _fields[i]->setAccessibleName(axis);
            _fields[i]->onEdited([this](double) { _edited(this->value()); });
            row->addWidget(_fields[i]);
        }
        setFocusProxy(_fields[0]);
        QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        policy.setHorizontalStretch(2); // beside a single number
        setSizePolicy(policy);
        display(value);
    }

    Vector value() const
    {
        Vector value;
        for (std::size_t i = 0; i < N; ++i) {
            value[i] = _fields[i]->exact();
        }
        return value;
    }
    QDoubleSpinBoxWrapper& field(std::size_t i) const { return *_fields[i]; }
    /// Without an end, numbers are free there.
    void setLimits(const std::optional<Vector>& min, const std::optional<Vector>& max)
    {
        const auto at = [](const std::optional<Vector>& limit, std::size_t i) {
            return limit ? std::optional((*limit)[i]) : std::nullopt;
        };
        for (std::size_t i = 0; i < N; ++i) {
            _fields[i]->setLimits(at(min, i), at(max, i));
        }
    }

    /// Refreshes the fields whose number differs, without calling the listeners; NaN always differs.
    void display(const Vector& value)
    {
        for (std::size_t i = 0; i < N; ++i) {
            if (!(_fields[i]->exact() == value[i])) {
                _fields[i]->display(value[i]);
            }
        }
    }
    /// The listener is called with the whole vector when the user enters one of its numbers.
    void connectToListener(std::function<void(const Vector&)> listener)
    {
        _edited.connect(std::move(listener));
    }
    void hideMarks()
    {
        for (QDoubleSpinBoxWrapper* field : _fields) {
            field->setMark("");
        }
    }

    void describe(zrkmodel::ZRKJson& out) const override
    {
        _fields[0]->describe(out);
        out["widget"] = "vector";
        out["size"] = N;
        out["value"] = zrkmodel::ZRKJson::array();
        for (const QDoubleSpinBoxWrapper* field : _fields) {
            zrkmodel::ZRKJson one;
            field->describe(one);
            out["value"].push_back(one["value"]);
        }
    }

private:
    std::array<QDoubleSpinBoxWrapper*, N> _fields{};
    nod::signal<void(const Vector&)> _edited;
};

} // namespace zrkui
