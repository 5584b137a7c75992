#include "apps/workbench/views/view_pane.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/views/figures.h"
#include "apps/workbench/views/pane_parts.h"
#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/solid_view.h"
#include "inspectors/css_style.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

namespace {

constexpr double kZoomOfAKey = 1.25;
constexpr double kDegreesOfAKey = 15;

} // namespace

/// The eye, the name of what is seen, and a menu of what else can be.
class ViewPane::SourceButton final : public QAbstractButton {
public:
    SourceButton(QMenu& menu, QWidget* parent) : QAbstractButton(parent), _menu(menu)
    {
        setFocusPolicy(Qt::TabFocus);
        setToolTip("Choose the output that is shown");
        setAccessibleName("output that is shown");
        setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
        connect(this, &QAbstractButton::clicked, this,
                [this] { _menu.popup(mapToGlobal(QPoint(0, height() + 2))); });
    }
    void display(const QString& name)
    {
        setText(name);
        setAccessibleName("output that is shown: " + name);
        updateGeometry();
        update();
    }
    QSize sizeHint() const override
    {
        return {fontMetrics().horizontalAdvance(text()) + scaled(*this, 16 + 5 + 4 + 16 + 12 + 2),
                scaled(*this, 28)};
    }
    QSize minimumSizeHint() const override { return {scaled(*this, 72), scaled(*this, 28)}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF box(rect());
        if (underMouse() || isDown()) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(ZRKCSSStyle::current().hoveredRow());
            painter.drawRoundedRect(box, 5, 5);
        }
        if (hasFocus()) {
            paintFocusRing(painter, box, 5);
        }
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const double side = scaled(*this, 16);
        const double top = (height() - side) / 2;
        const double pad = scaled(*this, 6);
        paintIcon(painter, "eye", {pad, top, side, side}, style.color(Role::secondText));
        const double x = pad + side + scaled(*this, 5);
        const double right = width() - pad - side;
        painter.setPen(style.color(Role::text));
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, static_cast<int>(right - x));
        painter.drawText(QRectF(x, 0, right - x, height()), Qt::AlignVCenter | Qt::AlignLeft, shown);
        paintChevron(painter, {right, top, side, side}, style.color(Role::secondText));
    }

private:
    QMenu& _menu;
};

QString FieldNote::text() const
{
    return QString("a level set, not a distance: |%1| %2 ... %3")
        .arg(QChar(0x2207))
        .arg(figure(slopes.least, 1), figure(slopes.greatest, 1));
}

QString FieldNote::remedy() const
{
    return "offsets, shells and blends aren't of the width that they tell there: apply them before what "
           "scales "
           "or bends the distance, or take smaller values";
}

ViewPane::ViewPane(QWidget* parent)
    : QWidget(parent),
      _tabs{new TabButton("Slice", this), new TabButton("Solid", this)},
      _menu(new QMenu(this)),
      _stack(new QStackedWidget(this)),
      _slice(new SliceView),
      _solid(new SolidView),
      _refresh(new QTimer(this)),
      _previews(std::make_unique<PreviewService>(*this))
{
    _chooser = new SourceButton(*_menu, this);
    _full = new IconButton("fit", "fill the window with the view", "", this);
    _full->setCheckable(true);
    auto* head = new QHBoxLayout;
    const int margin = scaled(*this, 12);
    head->setContentsMargins(margin, 0, scaled(*this, 6), 1);
    head->setSpacing(scaled(*this, 18));
    for (TabButton* tab : _tabs) {
        tab->setAutoExclusive(true);
        head->addWidget(tab);
    }
    _tabs[0]->setChecked(true);
    _tabs[0]->setAccessibleName("slice view");
    _tabs[0]->setToolTip("A cut through the field (1)");
    _tabs[1]->setAccessibleName("solid view");
    _tabs[1]->setToolTip("The solid of the field (2)");
    head->addStretch(1);
    head->addWidget(_chooser);
    head->setSpacing(scaled(*this, 12));
    head->addWidget(_full);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* bar = new QWidget(this);
    bar->setFixedHeight(scaled(*this, 36));
    bar->setLayout(head);
    column->addWidget(bar);
    _stack->addWidget(_slice);
    _stack->addWidget(_solid);
    column->addWidget(_stack, 1);

    connect(_tabs[0], &QAbstractButton::clicked, this, [this] { setTab(Tab::Slice); });
    connect(_tabs[1], &QAbstractButton::clicked, this, [this] { setTab(Tab::Solid); });
    _refresh->setSingleShot(true);
    connect(_refresh, &QTimer::timeout, this, [this] { request(); });
    _slice->onWanted([this] { want(); });
    _solid->onWanted([this] {
        if (_tab == Tab::Solid) {
            want();
        }
    });
    _slice->onPointed([this](std::optional<zrk::Tensor<3, double>> position) { point(position); });
    _previews->onSlice([this](const SlicePreview& preview, bool isNewest) { show(preview, isNewest); });
    _previews->onSolid([this](const SolidPreview& preview, bool isNewest) { show(preview, isNewest); });
    _previews->onReadout([this](const Readout& readout) {
        if (_pointed) {
            _slice->showReadout(readout);
            if (_readout) {
                _readout(readout);
            }
        }
    });
    _chooser->display("nothing");
    setFocusPolicy(Qt::ClickFocus);
}

ViewPane::~ViewPane() = default;

void ViewPane::onFullPane(std::function<void(bool)> listener)
{
    _full->disconnect(this);
    connect(_full, &QAbstractButton::toggled, this, std::move(listener));
}

void ViewPane::setFullPane(bool isFull) { _full->setChecked(isFull); }

int ViewPane::axis() const { return _slice->axis(); }

zrk::Tensor<3, double> ViewPane::probe() const
{
    if (_probe || !_source) {
        return _probe.value_or(zrk::Tensor<3, double>{});
    }
    zrk::Tensor<3, double> middle{};
    for (std::size_t i = 0; i < 3; ++i) {
        middle[i] = 0.5 * (_source->bounds.min[i] + _source->bounds.max[i]);
    }
    middle[static_cast<std::size_t>(axis())] = _slice->coordinate();
    return middle;
}

void ViewPane::show(const ViewSource& source)
{
    const bool isOther = !_source || _source->document != source.document;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!std::isnormal(source.bounds.size[axis])) {
            say(QString("The bounds have no extent along %1.\nWrite \"modelBounds\": [[x0, y0, z0], [x1, y1, "
                        "z1]] "
                        "with room between the corners.")
                    .arg(QString("xyz").mid(static_cast<int>(axis), 1)),
                source.name);
            return;
        }
    }
    try {
        _previews->letGo(std::exchange(_field, PreviewService::prepare(source.output)));
    } catch (const std::exception& error) {
        say(error.what(), source.name);
        return;
    }
    if (isOther) {
        _probe.reset();
    }
    _source = source;
    _source->output.field = {}; // the prepared field is what is shown, whatever is edited
    _chooser->display(source.name);
    _slice->setSource(*_source);
    _solid->setSource(*_source);
    want();
}

void ViewPane::refresh()
{
    if (_source) {
        want();
    }
}

void ViewPane::say(const QString& text, const QString& name)
{
    _chooser->display(name);
    _previews->cancelView();
    _previews->cancelReadout();
    _refresh->stop();
    _source.reset();
    _field = {};
    _hasPicture = false;
    _isSettled = true;
    _slice->say(text);
    _solid->say(text);
    if (_readout) {
        _readout({});
    }
}

void ViewPane::setTab(Tab tab)
{
    _tabs[static_cast<int>(tab)]->setChecked(true);
    if (_tab != tab) {
        _tab = tab;
        _stack->setCurrentIndex(static_cast<int>(tab));
        point(std::nullopt);
        want();
    }
}

void ViewPane::want()
{
    if (_source) {
        _isSettled = false;
        _refresh->start(0);
    }
}

void ViewPane::request()
{
    if (!isVisible()) {
        _isSettled = true; // it is made up for when it is shown
        return;
    }
    _hasPicture = false;
    _timing = {};
    _timing.isSolid = _tab == Tab::Solid;
    if (_tab == Tab::Slice) {
        SliceRequest request = _slice->request();
        request.field = _field;
        _timing.wanted = request.pixels;
        _previews->requestSlice(request);
        return;
    }
    zrk::Result<SolidRequest> request =
        _solid->request({static_cast<std::size_t>(_slice->axis()), _slice->coordinate()}, _slice->level());
    if (!request) {
        _previews->cancelView();
        const zrk::Fault& fault = request.error();
        _solid->say(QString::fromStdString(inSentences("no solid of " + fault.found, fault.remedy)));
        _isSettled = true;
        return;
    }
    request->field = _field;
    _timing.wanted = request->pixels;
    _previews->requestSolid(*request);
}

void ViewPane::tellTiming(QSize pixels, double milliseconds, bool isDone)
{
    if (_timing.isNewest && _timing.firstMilliseconds == 0) {
        _timing.firstMilliseconds = milliseconds;
    }
    _timing.pixels = pixels;
    _timing.milliseconds = milliseconds;
    _timing.isDone = isDone;
    if (_timed) {
        _timed(_timing);
    }
}

void ViewPane::show(const SlicePreview& preview, bool isNewest)
{
    if (_tab != Tab::Slice) {
        return;
    }
    _slice->display(preview);
    if (!preview.picture.isNull()) {
        _timing.isNewest = isNewest;
        _timing.nanosecondsPerSample = preview.nanosecondsPerSample;
        _timing.workers = preview.workers;
        tellTiming(preview.picture.size(), preview.milliseconds, isNewest && preview.isWhole);
    }
    if (!isNewest) {
        return;
    }
    _isSettled = preview.isFinal;
    _hasPicture = preview.problem.empty();
    if (preview.slopes && _fieldNote && _source) {
        _fieldNote({_source->output.address, _source->name, *preview.slopes});
    }
    askReadout();
}

void ViewPane::show(const SolidPreview& preview, bool isNewest)
{
    if (_tab != Tab::Solid) {
        return;
    }
    _solid->display(preview);
    if (!preview.picture.isNull()) {
        _timing.isNewest = isNewest;
        _timing.workers = preview.workers;
        tellTiming(preview.picture.size(), preview.milliseconds, isNewest && preview.isFinal);
    }
    if (isNewest) {
        _isSettled = preview.isFinal;
    }
}

void ViewPane::point(std::optional<zrk::Tensor<3, double>> position)
{
    _pointed = position;
    if (position) {
        _probe = position;
        askReadout();
        return;
    }
    _previews->cancelReadout();
    if (_readout) {
        _readout({});
    }
}

void ViewPane::askReadout()
{
    if (_pointed && _hasPicture && _source) {
        _previews->requestReadout({_field, *_pointed, _source->bounds});
    }
}

void ViewPane::stepBy(double x, double y, Qt::KeyboardModifiers modifiers)
{
    const double factor = modifiers & Qt::ControlModifier ? 10 : modifiers & Qt::ShiftModifier ? 0.1 : 1;
    if (_tab == Tab::Slice) {
        _slice->step((x + y) * factor);
    } else {
        _solid->turn(-kDegreesOfAKey * x * factor, kDegreesOfAKey * y * factor);
    }
}

bool ViewPane::takeKey(const QKeyEvent& event)
{
    const auto zoom = [&](double factor) {
        _tab == Tab::Slice ? _slice->canvas().zoomBy(factor) : _solid->zoomBy(factor);
    };
    switch (event.key()) {
    case Qt::Key_1:
        setTab(Tab::Slice);
        return true;
    case Qt::Key_2:
        setTab(Tab::Solid);
        return true;
    case Qt::Key_X:
    case Qt::Key_Y:
    case Qt::Key_Z:
        if (event.modifiers() & ~Qt::KeypadModifier) {
            return false; // undo is the window's
        }
        _slice->setAxis(event.key() - Qt::Key_X);
        return true;
    case Qt::Key_Left:
        stepBy(-1, 0, event.modifiers());
        return true;
    case Qt::Key_Right:
        stepBy(1, 0, event.modifiers());
        return true;
    case Qt::Key_Up:
        stepBy(0, 1, event.modifiers());
        return true;
    case Qt::Key_Down:
        stepBy(0, -1, event.modifiers());
        return true;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        zoom(kZoomOfAKey);
        return true;
    case Qt::Key_Minus:
        zoom(1 / kZoomOfAKey);
        return true;
    case Qt::Key_Home:
        _tab == Tab::Slice ? _slice->canvas().showWhole() : _solid->goHome();
        return true;
    default:
        return false;
    }
}

void ViewPane::keyPressEvent(QKeyEvent* event)
{
    if (!_source || !takeKey(*event)) {
        QWidget::keyPressEvent(event);
    }
}

void ViewPane::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    want();
}

void ViewPane::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const int y = scaled(*this, 36) - 1;
    painter.fillRect(QRect(0, y, width(), 1), ZRKCSSStyle::current().color(Role::paneLine));
}

} // namespace zrkworkbench
