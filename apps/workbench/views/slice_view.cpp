#include "apps/workbench/views/slice_view.h"

#include "apps/workbench/views/pane_parts.h"
#include "apps/workbench/views/slice_canvas.h"
#include "host/field_remarks.h"
#include "inspectors/css_style.h"
#include "inspectors/number_field.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;

namespace {

constexpr double kTurnStep = 1; ///< hundredths of the bounds, of one turn of the wheel

bool isSameView(const zrkmodel::DocumentView& a, const zrkmodel::DocumentView& b)
{
    const auto lower = [](const auto& range) { return range ? std::optional(range->lower) : std::nullopt; };
    const auto upper = [](const auto& range) { return range ? std::optional(range->upper) : std::nullopt; };
    return a.axis == b.axis && a.at == b.at && lower(a.range) == lower(b.range) &&
           upper(a.range) == upper(b.range);
}

} // namespace

SliceView::SliceView(QWidget* parent)
    : QWidget(parent),
      _canvas(new SliceCanvas(this)),
      _axes(new AxisButtons(this)),
      _slider(new PlaceSlider(this)),
      _place(new zrkui::NumberField(zrkui::NumberField::Kind::real, this)),
      _hasLine(new QCheckBox("iso", this)),
      _level(new zrkui::NumberField(zrkui::NumberField::Kind::real, this))
{
    auto* column = new QVBoxLayout(this);
    const int margin = scaled(*this, 12);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(margin);
    column->addWidget(_canvas, 1);
    auto* row = new QHBoxLayout;
    row->setSpacing(scaled(*this, 8));
    row->addWidget(_axes);
    row->addWidget(_slider, 1);
    row->addWidget(_place);
    row->addSpacing(scaled(*this, 4));
    row->addWidget(_hasLine);
    row->addWidget(_level);
    column->addLayout(row);

    _slider->setAccessibleName("place of the slice");
    _slider->setToolTip("Where the axis is cut (Left, Right, wheel; Ctrl coarse, Shift fine)");
    _place->setAccessibleName("coordinate of the slice");
    _place->setToolTip("Where the axis is cut, in model units");
    _place->setFixedWidth(scaled(*this, 64));
    _hasLine->setAccessibleName("line at the iso value");
    _hasLine->setToolTip("Draw the line where the value is the iso value, and colour both sides apart");
    _hasLine->setChecked(true);
    _level->setAccessibleName("iso value");
    _level->setToolTip("The value at the line");
    _level->setFixedWidth(scaled(*this, 44));
    _canvas->setToolTip(QString());

    _axes->onChosen([this](int) {
        showPlace();
        want();
    });
    connect(_slider, &QSlider::valueChanged, this, [this](int value) {
        if (!_isShowing) {
            setAt(static_cast<double>(value) / PlaceSlider::kSteps);
        }
    });
    _place->onEdited([this](double coordinate) {
        if (_source) {
            const auto a = static_cast<std::size_t>(axis());
            const double extent = _source->bounds.size[a];
            setAt(extent > 0 ? (coordinate - _source->bounds.min[a]) / extent : 0.5);
        }
    });
    connect(_hasLine, &QCheckBox::toggled, this, [this](bool isOn) {
        _level->setEnabled(isOn);
        want();
    });
    _level->onEdited([this](double) { want(); });
    _canvas->onScrolled([this](double turns) { step(turns * kTurnStep); });
    setEnabled(false);
}

int SliceView::axis() const { return _axes->axis(); }

double SliceView::coordinate() const
{
    if (!_source) {
        return 0;
    }
    const auto a = static_cast<std::size_t>(axis());
    return _source->bounds.min[a] + (_source->bounds.max[a] - _source->bounds.min[a]) * _at;
}

void SliceView::setSource(const ViewSource& source)
{
    const bool isOther = !_source || _source->document != source.document;
    const bool isOtherPin = isOther || _source->output.address.node != source.output.address.node ||
                            _source->output.address.output != source.output.address.output ||
                            _source->output.isDensity != source.output.isDensity;
    if (isOther || !isSameView(_source->view, source.view)) {
        takeView(source);
    }
    if (isOtherPin) {
        _level->display(styleOf(source.output, {}).contour.value_or(0));
    }
    _source = source;
    const bool isScalar = source.output.tag == zrkmodel::Tag::Scalar;
    _hasLine->setVisible(isScalar);
    _level->setVisible(isScalar);
    setEnabled(true);
    _canvas->setUnit(source.unit);
    showPlace();
}

void SliceView::takeView(const ViewSource& source)
{
    if (source.view.axis) {
        _axes->setAxis(*source.view.axis);
    }
    if (source.view.at) {
        _at = std::clamp(*source.view.at, 0.0, 1.0);
    }
}

void SliceView::showPlace()
{
    if (!_source) {
        return;
    }
    _isShowing = true;
    _slider->setValue(static_cast<int>(std::lround(_at * PlaceSlider::kSteps)));
    const auto a = static_cast<std::size_t>(axis());
    _place->setLimits(_source->bounds.min[a], _source->bounds.max[a]);
    _place->display(coordinate());
    _canvas->setPlane(_source->bounds, axis());
    _isShowing = false;
}

void SliceView::setAxis(int axis)
{
    _axes->setAxis(axis);
    showPlace();
    want();
}

void SliceView::setAt(double at)
{
    const double wanted = std::clamp(at, 0.0, 1.0);
    if (wanted != _at) {
        _at = wanted;
        showPlace();
        want();
    }
}

void SliceView::want()
{
    if (_wanted && _source) {
        _wanted();
    }
}

void SliceView::onWanted(std::function<void()> listener)
{
    _wanted = std::move(listener);
    _canvas->onWanted([this] { want(); });
}

void SliceView::onPointed(std::function<void(std::optional<zrk::Tensor<3, double>>)> listener)
{
    _canvas->onPointed([this, listener = std::move(listener)](std::optional<QPointF> place) {
        if (!place) {
            listener(std::nullopt);
            return;
        }
        const int a = axis();
        zrk::Tensor<3, double> position{};
        position[static_cast<std::size_t>(a)] = coordinate();
        position[a == 0 ? 1 : 0] = place->x();
        position[a == 2 ? 1 : 2] = place->y();
        listener(position);
    });
}

std::optional<double> SliceView::level() const
{
    const bool isScalar = _source && _source->output.tag == zrkmodel::Tag::Scalar;
    return isScalar && _hasLine->isChecked() ? std::optional(_level->exact()) : std::nullopt;
}

SliceRequest SliceView::request() const
{
    SliceRequest request;
    request.bounds = _source->bounds;
    request.axis = axis();
    request.at = _at;
    request.window = _canvas->window();
    request.pixels = _canvas->devicePixels();
    request.style = styleOf(_source->output, _source->view);
    request.style.contour = level();
    request.style.scale = _canvas->devicePixelRatioF();
    request.judgesSlopes = zrkmodel::isNamedDistance(_source->output);
    if (_canvas->isShading()) {
        request.slopeShade = ZRKCSSStyle::dark().color(ZRKCSSStyle::Role::warning);
    }
    return request;
}

void SliceView::display(const SlicePreview& preview) { _canvas->display(preview); }
void SliceView::say(const QString& message) { _canvas->say(message); }
void SliceView::showReadout(const Readout& readout) { _canvas->showReadout(readout); }

} // namespace zrkworkbench
