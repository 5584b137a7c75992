#include "apps/workbench/canvas/search_popup.h"

#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QApplication>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace zrkworkbench {

using zrkui::scaled;
using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

namespace {

constexpr int kWidth = 408;
constexpr int kBox = 44;
constexpr int kResultRow = 44;
constexpr int kFoot = 36;
constexpr int kMostRows = 6;

QFont fontOf(const QWidget& widget, double pixels, int weight = QFont::Normal)
{
    QFont font = widget.font();
    font.setPixelSize(scaled(widget, pixels));
    font.setWeight(static_cast<QFont::Weight>(weight));
    return font;
}

/// A key as it is printed on a keyboard.
void paintKey(QPainter& painter, const QRectF& rect, const QString& text, const QFont& font)
{
    const Style& style = Style::current();
    painter.setPen(QPen(style.color(Role::edge), 1));
    painter.setBrush(style.color(Role::panel));
    painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    painter.setFont(font);
    painter.setPen(style.color(Role::secondText));
    painter.drawText(rect, Qt::AlignCenter, text);
}

/// Draws a row: icon, name with what matched, sentence, family or why it matched.
class RowDelegate : public QStyledItemDelegate {
public:
    explicit RowDelegate(const SearchPopup& popup) : _popup(&popup) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        return {10, scaled(*_popup, kResultRow)};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const auto row = static_cast<std::size_t>(index.row());
        if (row >= _popup->hits().size()) {
            return;
        }
        const SearchHit& hit = _popup->hits()[row];
        const Style& style = Style::current();
        const bool isChosen = (option.state & QStyle::State_Selected) != 0;
        const auto px = [&](double pixels) { return scaled(*_popup, pixels); };
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect rect = option.rect.adjusted(px(6), 0, -px(6), 0);
        if (isChosen || (option.state & QStyle::State_MouseOver) != 0) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(isChosen ? style.color(Role::accentFill) : style.hoveredRow());
            painter->drawRoundedRect(rect, px(5), px(5));
        }
        const Family& family = familyOf(*hit.type);
        const QRectF tile(rect.left() + px(8), rect.top() + px(8), px(28), px(28));
        painter->setPen(Qt::NoPen);
        painter->setBrush(style.header(family.role));
        painter->drawRoundedRect(tile, px(5), px(5));
        paintIcon(*painter, iconNameOf(hit.type), tile.adjusted(px(6), px(6), -px(6), -px(6)),
                  style.color(family.role));

        const int left = rect.left() + px(46);
        const QFont keyFont = fontOf(*_popup, 11);
        const QFont nameFont = fontOf(*_popup, 13, QFont::Medium);
        const QString why = hit.why.isEmpty() ? QString(family.title) : hit.why;
        const int whyWidth = std::min(QFontMetrics(keyFont).horizontalAdvance(why), px(170));
        const QRect upper(left, rect.top() + px(3), rect.right() - left - px(10), px(20));
        painter->setFont(keyFont);
        painter->setPen(style.color(Role::secondText));
        painter->drawText(upper, Qt::AlignRight | Qt::AlignVCenter,
                          QFontMetrics(keyFont).elidedText(why, Qt::ElideRight, whyWidth));

        const QString name = hit.type->strings.title;
        const QFontMetrics nameMetrics(nameFont);
        painter->setFont(nameFont);
        painter->setPen(style.color(Role::text));
        painter->drawText(upper, Qt::AlignLeft | Qt::AlignVCenter,
                          nameMetrics.elidedText(name, Qt::ElideRight, upper.width() - whyWidth - px(8)));
        if (hit.matchLength > 0) {
            const int from = left + nameMetrics.horizontalAdvance(name.left(hit.matchStart));
            const int width = nameMetrics.horizontalAdvance(name.mid(hit.matchStart, hit.matchLength));
            const int base = upper.center().y() + nameMetrics.ascent() / 2 + px(2);
            painter->fillRect(QRect(from, base, width, std::max(1, px(1.5))), style.color(Role::text));
        }
        const int keyWidth = isChosen ? px(40) : 0;
        const QRect below(left, rect.top() + px(22), rect.right() - left - px(10), px(18));
        const QFont sentenceFont = fontOf(*_popup, 12);
        painter->setFont(sentenceFont);
        painter->setPen(style.color(Role::secondText));
        painter->drawText(below, Qt::AlignLeft | Qt::AlignVCenter,
                          QFontMetrics(sentenceFont)
                              .elidedText(QString::fromUtf8(hit.type->strings.description), Qt::ElideRight,
                                          below.width() - (keyWidth ? keyWidth + px(8) : 0)));
        if (isChosen) {
            paintKey(*painter, QRectF(below.right() + 1 - keyWidth, below.top(), keyWidth, px(18)), "Enter",
                     fontOf(*_popup, 10.5));
        }
        painter->restore();
    }

private:
    const SearchPopup* _popup;
};

/// The line that tells which keys do what.
class Foot : public QWidget {
public:
    explicit Foot(QWidget* parent) : QWidget(parent) {}
    bool isFiltered = false;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const Style& style = Style::current();
        painter.fillRect(QRect(0, 0, width(), 1), style.color(Role::paneLine));
        const auto px = [&](double pixels) { return scaled(*this, pixels); };
        struct Entry {
            const char* key;
            const char* text;
        };
        std::vector<Entry> entries = {{"↑↓", "choose"}, {"Enter", isFiltered ? "connect" : "add"}};
        if (isFiltered) {
            entries.push_back({"Tab", "all types"});
        }
        entries.push_back({"Esc", isFiltered ? "drop" : "close"});
        const QFont font = fontOf(*this, 11);
        const QFontMetrics metrics(font);
        int x = px(12);
        for (const Entry& entry : entries) {
            const QString key = QString::fromUtf8(entry.key);
            const int keyWidth = metrics.horizontalAdvance(key) + px(10);
            paintKey(painter, QRectF(x, (height() - px(18)) / 2.0, keyWidth, px(18)), key, font);
            x += keyWidth + px(6);
            painter.setFont(font);
            painter.setPen(style.color(Role::secondText));
            const QString text = entry.text;
            painter.drawText(QRect(x, 0, width(), height()), Qt::AlignVCenter, text);
            x += metrics.horizontalAdvance(text) + px(14);
        }
    }
};

/// The tag that the search is filtered by, with a cross to take it away.
class FilterChip : public QToolButton {
public:
    explicit FilterChip(QWidget* parent) : QToolButton(parent) { setCursor(Qt::ArrowCursor); }
    Role role = Role::tagScalar;

    QSize sizeHint() const override
    {
        return {QFontMetrics(fontOf(*this, 12, QFont::Medium)).horizontalAdvance(text()) + scaled(*this, 46),
                scaled(*this, 24)};
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const Style& style = Style::current();
        const auto px = [&](double pixels) { return scaled(*this, pixels); };
        painter.setPen(hasFocus() ? QPen(style.color(Role::accent), 1.5) : QPen(Qt::NoPen));
        painter.setBrush(Style::mixed(style.color(Role::popup), style.color(role), 0.16));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), height() / 2.0 - 1,
                                height() / 2.0 - 1);
        painter.setPen(Qt::NoPen);
        painter.setBrush(style.color(role));
        painter.drawEllipse(QPointF(px(13), height() / 2.0), px(4), px(4));
        painter.setFont(fontOf(*this, 12, QFont::Medium));
        painter.setPen(style.color(Role::text));
        painter.drawText(rect().adjusted(px(23), 0, 0, 0), Qt::AlignVCenter, text());
        paintIcon(painter, "close", QRectF(width() - px(20), (height() - px(12)) / 2.0, px(12), px(12)),
                  style.color(Role::secondText));
    }
};

} // namespace

SearchPopup::SearchPopup(QWidget* parent)
    : QFrame(parent),
      _box(new QLineEdit(this)),
      _filterChip(new FilterChip(this)),
      _list(new QListWidget(this)),
      _foot(new Foot(this))
{
    hide();
    setAccessibleName("search for a type");
    setAutoFillBackground(false);
    _box->setPlaceholderText("Find a type by name, family or what it does");
    _box->setAccessibleName("search");
    _box->setToolTip("Name, class, family, words of the manual page or a former name");
    _filterChip->setAccessibleName("filter");
    _filterChip->setToolTip("Only types that the wire fits. Tab or a click shows all");
    _filterChip->setFocusPolicy(Qt::NoFocus);
    _list->setAccessibleName("types found");
    _list->setToolTip("Types that were found; Enter adds the chosen one");
    _list->setFocusPolicy(Qt::NoFocus);
    _list->setMouseTracking(true);
    _list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _list->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    _list->setItemDelegate(new RowDelegate(*this)); // owned by nobody else; see below
    _list->itemDelegate()->setParent(_list);
    _list->setUniformItemSizes(true);

    auto* row = new QHBoxLayout;
    row->setContentsMargins(scaled(*this, 40), 0, scaled(*this, 10), 0);
    row->addWidget(_box, 1);
    row->addWidget(_filterChip);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    column->addLayout(row);
    column->addWidget(_list, 1);
    column->addWidget(_foot);
    _foot->setFixedHeight(scaled(*this, kFoot));

    connect(_box, &QLineEdit::textChanged, this, [this] { search(); });
    connect(_filterChip, &QToolButton::clicked, this, [this] { showAll(); });
    connect(_list, &QListWidget::itemClicked, this, [this] { accept(); });
    _box->installEventFilter(this);
}

void SearchPopup::open(const QPoint& at, const std::optional<SearchFilter>& filter, const QStringList& recent,
                       const std::optional<QPoint>& spared)
{
    const QString bare =
        "QLineEdit, QLineEdit:focus, QLineEdit:hover { border: none; background: transparent;"
        " padding: 0; min-height: %1px; max-height: %1px; font-size: %2px; }";
    _box->setStyleSheet(bare.arg(scaled(*this, kBox - 2)).arg(scaled(*this, 14)));
    _list->setStyleSheet(Style::filled(
        "QListWidget { background: {popup}; border: none; border-top: 1px solid {paneLine}; padding: 4u 0; }"
        "QListWidget::item { border: none; padding: 0; }",
        zrkui::uiScale(*this)));
    _filter = filter;
    _recent = recent;
    _at = at;
    _spared = spared;
    _filterChip->setVisible(filter.has_value());
    static_cast<Foot*>(_foot)->isFiltered = filter.has_value();
    if (filter) {
        _filterChip->setText(filter->text());
        static_cast<FilterChip*>(_filterChip)->role = roleOf(filter->tag);
    }
    _box->clear();
    search();
    show();
    raise();
    _box->setFocus(Qt::PopupFocusReason);
}

void SearchPopup::showAll()
{
    _filter.reset();
    _filterChip->hide();
    static_cast<Foot*>(_foot)->isFiltered = false;
    _foot->update();
    search();
    _box->setFocus();
}

void SearchPopup::search()
{
    _hits = searchTypes(_box->text(), _filter, _recent);
    _list->clear();
    for (const SearchHit& hit : _hits) {
        auto* item = new QListWidgetItem(QString(hit.type->strings.title), _list);
        item->setToolTip(QString::fromUtf8(hit.type->strings.description));
    }
    if (_hits.empty()) {
        auto* item = new QListWidgetItem("Nothing is called that, or says so on its page", _list);
        item->setFlags(Qt::NoItemFlags);
    }
    _list->setCurrentRow(0);
    place();
}

void SearchPopup::place()
{
    const int rows = std::clamp(static_cast<int>(_hits.size()), 1, kMostRows);
    QSize size(scaled(*this, kWidth), scaled(*this, kBox) + rows * scaled(*this, kResultRow) +
                                          2 * scaled(*this, 4) + scaled(*this, kFoot) + 3);
    const QRect room = parentWidget()->rect().adjusted(4, 4, -4, -4);
    size = size.boundedTo(room.size());
    const QPoint at(std::clamp(_at.x(), room.left(), std::max(room.left(), room.right() - size.width())),
                    std::clamp(_at.y(), room.top(), std::max(room.top(), room.bottom() - size.height())));
    QRect rect(at, size);
    const int gap = scaled(*this, 14);
    if (_spared && rect.adjusted(-gap, -gap, gap, gap).contains(*_spared)) {
        const int toRight = _spared->x() + gap;
        const int toLeft = _spared->x() - gap - size.width();
        if (toRight + size.width() <= room.right()) {
            rect.moveLeft(toRight);
        } else if (toLeft >= room.left()) {
            rect.moveLeft(toLeft);
        } else { // no room beside it: above or below, with as many rows as fit
            const int above = _spared->y() - gap - room.top();
            const int below = room.bottom() - _spared->y() - gap;
            rect.setHeight(std::min(rect.height(), std::max(above, below)));
            rect.moveTop(below >= above ? _spared->y() + gap : _spared->y() - gap - rect.height());
        }
    }
    setGeometry(rect);
}

int SearchPopup::chosen() const
{
    const int row = _list->currentRow();
    return row >= 0 && row < static_cast<int>(_hits.size()) ? row : -1;
}

void SearchPopup::accept()
{
    const int row = chosen();
    if (row < 0) {
        return;
    }
    const auto* type = _hits[static_cast<std::size_t>(row)].type;
    hide();
    if (_chosen) {
        _chosen(*type);
    }
}

void SearchPopup::drop()
{
    if (!isVisible()) {
        return;
    }
    hide();
    if (_dropped) {
        _dropped();
    }
}

bool SearchPopup::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != _box) {
        return QFrame::eventFilter(watched, event);
    }
    if (event->type() == QEvent::FocusOut &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::ActiveWindowFocusReason &&
        static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason) {
        QTimer::singleShot(0, this, [this] {
            if (!_box->hasFocus()) {
                drop();
            }
        });
    }
    if (event->type() == QEvent::KeyPress) {
        const int count = static_cast<int>(_hits.size());
        const auto go = [&](int by) {
            if (count > 0) {
                _list->setCurrentRow((_list->currentRow() + by + count) % count);
            }
            return true;
        };
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Down:
            return go(1);
        case Qt::Key_Up:
            return go(-1);
        case Qt::Key_PageDown:
            _list->setCurrentRow(std::min(count - 1, _list->currentRow() + kMostRows));
            return true;
        case Qt::Key_PageUp:
            _list->setCurrentRow(std::max(0, _list->currentRow() - kMostRows));
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            accept();
            return true;
        case Qt::Key_Escape:
            drop();
            return true;
        case Qt::Key_Tab:
            showAll();
            return true;
        default:
            break;
        }
    }
    return QFrame::eventFilter(watched, event);
}

void SearchPopup::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Style& style = Style::current();
    painter.setPen(QPen(style.color(Role::edge), 1));
    painter.setBrush(style.color(Role::popup));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), scaled(*this, 8),
                            scaled(*this, 8));
    const double side = scaled(*this, 16);
    paintIcon(painter, "search", QRectF(scaled(*this, 14), (scaled(*this, kBox) - side) / 2, side, side),
              style.color(Role::secondText));
}

} // namespace zrkworkbench
