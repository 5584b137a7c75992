#include "apps/workbench/window/quick_search.h"

#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QKeyEvent>
#include <QListView>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>
#include <optional>
#include <utility>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using SearchRole = ZRKCSSStyle::Role;

namespace {

constexpr std::size_t kMostFindings = 12;

/// How well a text fits, the smaller the better; nothing where it doesn't.
std::optional<int> rankOf(const Finding& finding, const QStringList& words)
{
    int rank = 0;
    for (const QString& word : words) {
        if (finding.title.startsWith(word, Qt::CaseInsensitive)) {
            continue;
        }
        if (finding.title.contains(" " + word, Qt::CaseInsensitive)) {
            rank += 1;
        } else if (finding.title.contains(word, Qt::CaseInsensitive)) {
            rank += 2;
        } else if (finding.words.contains(word, Qt::CaseInsensitive)) {
            rank += 10;
        } else {
            return std::nullopt;
        }
    }
    return rank;
}

} // namespace

std::vector<Finding> bestFindings(const std::vector<Finding>& all, const QString& text, std::size_t most)
{
    QStringList words = text.simplified().split(' ');
    words.removeAll(QString());
    std::vector<std::pair<int, const Finding*>> ranked;
    for (const Finding& finding : all) {
        if (const auto rank = rankOf(finding, words)) {
            ranked.emplace_back(*rank, &finding);
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Finding> best;
    for (const auto& entry : ranked) {
        if (best.size() < most) {
            best.push_back(*entry.second);
        }
    }
    return best;
}

class QuickSearch::Model final : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    void show(std::vector<Finding> findings)
    {
        beginResetModel();
        _findings = std::move(findings);
        endResetModel();
    }
    const Finding& at(const QModelIndex& index) const
    {
        return _findings.at(static_cast<std::size_t>(index.row()));
    }
    int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(_findings.size());
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        const Finding& finding = at(index);
        return role == Qt::DisplayRole                         ? QVariant(finding.title)
               : role == Qt::AccessibleTextRole && finding.run ? QVariant(finding.kind + ": " + finding.title)
               : role == Qt::AccessibleTextRole                ? QVariant(finding.title)
                                                               : QVariant();
    }

private:
    std::vector<Finding> _findings;
};

class QuickSearch::Rows final : public QStyledItemDelegate {
public:
    explicit Rows(QuickSearch& search) : QStyledItemDelegate(&search), _search(search) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        return {scaled(_search, 100), scaled(_search, 30)};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const Finding& finding = _search._model->at(index);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect row = option.rect.adjusted(scaled(_search, 4), 0, -scaled(_search, 4), 0);
        if (option.state & (QStyle::State_Selected | QStyle::State_MouseOver)) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(option.state & QStyle::State_Selected ? style.color(SearchRole::accentFill)
                                                                    : style.hoveredRow());
            painter->drawRoundedRect(row, 4, 4);
        }
        const double side = scaled(_search, 16);
        if (!finding.icon.isEmpty()) {
            paintIcon(*painter, finding.icon,
                      QRectF(row.left() + scaled(_search, 8), row.center().y() + 0.5 - side / 2, side, side),
                      finding.color.isValid() ? finding.color : style.color(SearchRole::secondText));
        }
        const QString right = finding.keys.isEmpty() ? finding.kind : finding.keys;
        const QRect text = row.adjusted(scaled(_search, 32), 0, -scaled(_search, 8), 0);
        painter->setPen(style.color(SearchRole::secondText));
        painter->drawText(text, Qt::AlignRight | Qt::AlignVCenter, right);
        painter->setPen(style.color(SearchRole::text));
        const int room = text.width() - option.fontMetrics.horizontalAdvance(right) - scaled(_search, 8);
        painter->drawText(text, Qt::AlignVCenter,
                          option.fontMetrics.elidedText(finding.title, Qt::ElideRight, room));
        painter->restore();
    }

private:
    QuickSearch& _search;
};

QuickSearch::QuickSearch(QWidget* parent)
    : SearchLine("Find a node, a command", parent), _model(new Model(this))
{
    setAccessibleName("find a node, a command, a page");
    setToolTip("finds nodes of the document, types, commands and manual pages (Ctrl+K)");
    connect(this, &QLineEdit::textEdited, this, [this] { refresh(); });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* former, QWidget* now) {
        if (now == this && former != this) {
            _former = former;
        }
    });
}

void QuickSearch::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason) {
        refresh();
    }
}

void QuickSearch::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (event->reason() != Qt::PopupFocusReason) {
        close();
    }
}

void QuickSearch::refresh()
{
    if (_all.empty() && _gather) {
        _all = _gather();
    }
    if (!_list) {
        _list = new QListView(window());
        _list->setObjectName("SearchList");
        _list->setModel(_model);
        _list->setItemDelegate(new Rows(*this));
        _list->setFocusPolicy(Qt::NoFocus);
        _list->setMouseTracking(true);
        _list->setUniformItemSizes(true);
        _list->setAccessibleName("what is found");
        _list->setToolTip("Enter takes the chosen one");
        connect(_list, &QListView::clicked, this, [this](const QModelIndex& index) { run(index); });
    }
    std::vector<Finding> best = bestFindings(_all, text(), kMostFindings);
    if (best.empty()) {
        Finding none;
        none.title = "Nothing is called that";
        best.push_back(none);
    }
    _model->show(std::move(best));
    const int rows = _model->rowCount();
    if (rows == 0 || !hasFocus()) {
        _list->hide();
        return;
    }
    const QPoint place = mapTo(window(), QPoint(0, height() + scaled(*this, 4)));
    const int frame = scaled(*this, 10);
    _list->setGeometry(place.x(), place.y(), width(), rows * scaled(*this, 30) + frame);
    _list->setCurrentIndex(_model->index(0));
    _list->show();
    _list->raise();
}

void QuickSearch::close()
{
    if (_list) {
        _list->hide();
    }
    _all.clear();
    clear();
}

/// Gives the focus back, so that one can go on with the keyboard.
void QuickSearch::leave()
{
    if (_former && _former->isVisible()) {
        _former->setFocus();
    }
    clearFocus();
}

void QuickSearch::run(const QModelIndex& index)
{
    const auto work = index.isValid() ? _model->at(index).run : std::function<void()>();
    if (work) {
        leave();
        close();
        work();
    }
}

void QuickSearch::keyPressEvent(QKeyEvent* event)
{
    const int rows = _model->rowCount();
    switch (event->key()) {
    case Qt::Key_Down:
    case Qt::Key_Up:
        if (_list && rows > 0) {
            const int step = event->key() == Qt::Key_Down ? 1 : rows - 1;
            _list->setCurrentIndex(_model->index((_list->currentIndex().row() + step) % rows));
        }
        event->accept();
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (_list && _list->isVisible()) {
            run(_list->currentIndex());
        }
        event->accept();
        return;
    case Qt::Key_Escape:
        leave();
        event->accept();
        return;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

void QuickSearch::paintEvent(QPaintEvent* event)
{
    SearchLine::paintEvent(event);
    if (hasFocus() || !text().isEmpty()) {
        return;
    }
    // The shortcut on a key, as one reads it on the keyboard.
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = this->font();
    font.setPixelSize(scaled(*this, 11));
    painter.setFont(font);
    const QString keys = "Ctrl K";
    const double width = QFontMetricsF(font).horizontalAdvance(keys) + scaled(*this, 10);
    const QRectF key(this->width() - width - scaled(*this, 6), scaled(*this, 5), width,
                     height() - 2 * scaled(*this, 5));
    painter.setPen(style.color(SearchRole::edge));
    painter.setBrush(style.color(SearchRole::bar));
    painter.drawRoundedRect(key.adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    painter.setPen(style.color(SearchRole::hint));
    painter.drawText(key, Qt::AlignCenter, keys);
}

} // namespace zrkworkbench
