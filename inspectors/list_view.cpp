#include "inspectors/list_view.h"

#include <QApplication>
#include <QScrollBar>
#include <QSpacerItem>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace zrkui {

namespace {

constexpr int kSpacing = 1;
constexpr double kUsualHeight = 60;     ///< of a row, pixels at scale 1, until one is built
constexpr std::size_t kBeside = 2;      ///< rows that are built above and below those in sight
constexpr std::size_t kKept = 16;       ///< rows that stay built beyond these
constexpr std::size_t kDestroyed = 200; ///< in one turn of the event loop

/// The last widget in a row that Tab reaches; the row itself where there is none.
QWidget* lastIn(QWidget& row)
{
    QWidget* last = &row;
    for (QWidget* inner : row.findChildren<QWidget*>()) {
        last = (inner->focusPolicy() & Qt::TabFocus) != 0 ? inner : last;
    }
    return last;
}

/// Has Tab lead from a widget through those of a row.
void reachAfter(QWidget* before, QWidget& row)
{
    for (QWidget* inner : row.findChildren<QWidget*>()) {
        if ((inner->focusPolicy() & Qt::TabFocus) != 0) {
            QWidget::setTabOrder(before, inner);
            before = inner;
        }
    }
}

/// Owns widgets that nobody sees any more.
class Graveyard final : public QObject {
public:
    explicit Graveyard(QObject* parent) : QObject(parent)
    {
        connect(&_timer, &QTimer::timeout, this, [this] {
            for (std::size_t i = 0; i < kDestroyed && !_widgets.empty(); ++i) {
                delete _widgets.back();
                _widgets.pop_back();
            }
            if (_widgets.empty()) {
                _timer.stop();
            }
        });
    }
    ~Graveyard() override
    {
        for (const auto& widget : _widgets) {
            delete widget;
        }
    }

    void take(const std::vector<QWidget*>& widgets)
    {
        _widgets.insert(_widgets.end(), widgets.begin(), widgets.end());
        _timer.start(0);
    }

private:
    QTimer _timer;
    std::vector<QWidget*> _widgets;
};

} // namespace

void destroyLater(std::vector<QWidget*> widgets)
{
    static QPointer<Graveyard> graveyard;
    if (!graveyard) {
        graveyard = new Graveyard(qApp);
    }
    graveyard->take(widgets);
}

LazyRows::LazyRows(QWidget* parent)
    : QScrollArea(parent),
      _above(new QSpacerItem(0, 0)),
      _below(new QSpacerItem(0, 0)),
      _timer(new QTimer(this))
{
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    auto* container = new QWidget;
    _rows = new QVBoxLayout(container);
    _rows->setSpacing(kSpacing);
    _rows->setContentsMargins(0, 0, 0, 0);
    _rows->setAlignment(Qt::AlignTop);
    _rows->addItem(_above);
    _rows->addItem(_below);
    setWidget(container);
    _usual = scaled(*this, kUsualHeight);
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, [this] { fill(); });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { want(); });
}

void LazyRows::reset(std::size_t count)
{
    while (!_built.empty()) {
        dropLast();
    }
    _heights.assign(count, 0);
    _first = std::min(_first, count);
    fill();
}

void LazyRows::append()
{
    _heights.push_back(0);
    if (end() + 1 == _heights.size()) {
        buildAfter();
    }
    makeRoom();
}

void LazyRows::erase(std::size_t index)
{
    _heights.erase(_heights.begin() + static_cast<std::ptrdiff_t>(index));
    if (index < _first) {
        --_first;
    } else if (index < end()) {
        const auto row = _built.begin() + static_cast<std::ptrdiff_t>(index - _first);
        _rows->removeWidget(*row);
        _built.erase(row);
    }
    makeRoom();
    want();
}

void LazyRows::rebuild(const std::vector<std::size_t>& changed)
{
    std::vector<std::size_t> rows;
    std::copy_if(changed.begin(), changed.end(), std::back_inserter(rows),
                 [&](std::size_t index) { return index >= _first && index < end(); });
    if (rows.size() <= kBuiltAtOnce) {
        for (const std::size_t index : rows) {
            QWidget* row = _built[index - _first];
            leave(*row);
            _source.build(index); // in its place
            reachAfter(index == _first ? widget() : lastIn(*_built[index - _first - 1]), *row);
        }
        return;
    }
    const std::size_t last = end();
    while (!_built.empty()) {
        dropLast();
    }
    while (end() < std::min(last, _first + kBuiltAtOnce)) {
        buildAfter();
    }
    makeRoom();
    want();
}

void LazyRows::buildAfter()
{
    QWidget* row = _source.build(end());
    QWidget* before = _built.empty() ? widget() : lastIn(*_built.back());
    _rows->insertWidget(_rows->count() - 1, row);
    _built.push_back(row);
    row->show();
    _usual = row->sizeHint().height() + kSpacing;
    reachAfter(before, *row);
}

void LazyRows::buildBefore()
{
    QWidget* row = _source.build(--_first);
    QWidget* before = _built.front()->previousInFocusChain();
    _rows->insertWidget(1, row);
    _built.insert(_built.begin(), row);
    row->show();
    reachAfter(before, *row);
}

/// What is typed in a row is taken.
void LazyRows::leave(const QWidget& row)
{
    QWidget* focused = QApplication::focusWidget();
    if (focused && row.isAncestorOf(focused)) {
        focused->clearFocus();
    }
}

void LazyRows::release(std::size_t index, QWidget* row)
{
    leave(*row);
    _heights[index] = row->isVisible() ? row->height() + kSpacing : 0;
    _rows->removeWidget(row);
    row->hide();
    row->setParent(nullptr);
    _source.drop(index);
}

void LazyRows::dropFirst()
{
    QWidget* row = _built.front();
    _built.erase(_built.begin());
    release(_first++, row);
}

void LazyRows::dropLast()
{
    QWidget* row = _built.back();
    _built.pop_back();
    release(end(), row);
}

/// Builds what is in sight soon.
void LazyRows::want() { _timer->start(0); }

/// Builds some of the rows in sight, and lets others go.
void LazyRows::fill()
{
    const int top = verticalScrollBar()->value();
    const int bottom = top + viewport()->height();
    std::size_t from = 0;
    int y = 0;
    while (from < _heights.size() && y + heightOf(from) <= top) {
        y += heightOf(from++);
    }
    std::size_t to = from;
    while (to < _heights.size() && y < bottom) {
        y += heightOf(to++);
    }
    from -= std::min(from, kBeside);
    to = std::min(to + kBeside, _heights.size());
    if (end() <= from || _first >= to) { // those that are built are far away
        while (!_built.empty()) {
            dropLast();
        }
        _first = from;
    }
    for (std::size_t built = 0; built < kBuiltAtOnce && (end() < to || _first > from); ++built) {
        if (end() < to) {
            buildAfter();
        } else {
            buildBefore();
        }
    }
    while (_first + kKept < from) {
        dropFirst();
    }
    while (end() > to + kKept) {
        dropLast();
    }
    makeRoom();
    if (end() < to || _first > from) {
        want();
    }
}

/// Keeps the room of the rows that aren't built.
void LazyRows::makeRoom()
{
    const auto place = [&](std::size_t first, std::size_t last) {
        double height = 0;
        for (std::size_t i = first; i < last; ++i) {
            height += heightOf(i);
        }
        return static_cast<int>(std::min<double>(height, QWIDGETSIZE_MAX / 2));
    };
    _above->changeSize(0, place(0, _first), QSizePolicy::Minimum, QSizePolicy::Fixed);
    _below->changeSize(0, place(end(), _heights.size()), QSizePolicy::Minimum, QSizePolicy::Fixed);
    _rows->invalidate();
}

void LazyRows::resizeEvent(QResizeEvent* event)
{
    QScrollArea::resizeEvent(event);
    want();
}

} // namespace zrkui
