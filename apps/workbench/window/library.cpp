#include "apps/workbench/window/library.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/parts.h"
#include "inspectors/css_style.h"
#include "model/graph_object.h"
#include "model/manual.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <QVBoxLayout>

#include <algorithm>

namespace zrkworkbench {

using zrkmodel::ZRKGraphObjectRegistration;
using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using LibraryRole = ZRKCSSStyle::Role;

namespace {

constexpr int kClassRole = Qt::UserRole;      ///< empty for a heading
constexpr int kWordsRole = Qt::UserRole + 1;  ///< what the filter looks through
constexpr int kFamilyRole = Qt::UserRole + 2; ///< folder of a heading

QColor colorOf(const QString& familyKey)
{
    for (const Family& family : families()) {
        if (familyKey == family.key) {
            return ZRKCSSStyle::current().color(family.role);
        }
    }
    return {};
}

const ZRKGraphObjectRegistration* typeAt(const QModelIndex& index)
{
    return zrkmodel::ZRKGraphObject::registry().findByClass(index.data(kClassRole).toString().toStdString());
}

QString textOf(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

} // namespace

class Library::Model final : public QStandardItemModel {
public:
    explicit Model(QObject* parent) : QStandardItemModel(parent)
    {
        for (const Family& family : families()) {
            auto* heading = new QStandardItem(family.title);
            heading->setEditable(false);
            heading->setDragEnabled(false);
            heading->setData(QString(family.key), kFamilyRole);
            for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
                if (&familyOf(type) == &family) {
                    heading->appendRow(rowOf(type));
                }
            }
            if (heading->rowCount() > 0) {
                heading->setData(QString("%1, %2 types").arg(family.title).arg(heading->rowCount()),
                                 Qt::AccessibleTextRole);
                appendRow(heading);
            }
        }
    }
    QStringList mimeTypes() const override { return {kTypeMime}; }
    QMimeData* mimeData(const QModelIndexList& rows) const override
    {
        auto* data = new QMimeData;
        for (const QModelIndex& row : rows) {
            data->setData(kTypeMime, row.data(kClassRole).toString().toUtf8());
        }
        return data;
    }

private:
    static QStandardItem* rowOf(const ZRKGraphObjectRegistration& type)
    {
        auto* row = new QStandardItem(QString(type.strings.title));
        row->setEditable(false);
        row->setData(QString::fromStdString(type.className), kClassRole);
        const auto& manual = zrkmodel::manualOf(type);
        row->setData(QString("%1 %2 %3 %4")
                         .arg(type.strings.title, QString::fromStdString(type.className),
                              QString::fromStdString(type.info.name), textOf(manual.summary)),
                     kWordsRole);
        row->setToolTip(QString("%1\n%2").arg(type.strings.description,
                                              QString::fromUtf8("Enter adds it; drag it onto the canvas")));
        return row;
    }
};

/// Shows the types that have all words of the filter, and the headings of those.
class Library::Filter final : public QSortFilterProxyModel {
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    void setWords(const QString& text)
    {
        _words = text.simplified().split(' ');
        _words.removeAll(QString());
        invalidateFilter();
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        const QModelIndex index = sourceModel()->index(row, 0, parent);
        if (index.data(kClassRole).toString().isEmpty()) {
            for (int i = 0; i < sourceModel()->rowCount(index); ++i) {
                if (filterAcceptsRow(i, index)) {
                    return true;
                }
            }
            return false;
        }
        const QString words = index.data(kWordsRole).toString();
        return std::all_of(_words.begin(), _words.end(),
                           [&](const QString& word) { return words.contains(word, Qt::CaseInsensitive); });
    }

private:
    QStringList _words;
};

class Library::Rows final : public QStyledItemDelegate {
public:
    explicit Rows(Library& library) : QStyledItemDelegate(&library), _library(library) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override
    {
        const bool isHeading = index.data(kClassRole).toString().isEmpty();
        return {scaled(_library, 100), scaled(_library, isHeading && index.row() > 0 ? 28 : 24)};
    }

    /// The place of the + sign in a row.
    QRect addPlace(const QRect& row) const
    {
        const int side = scaled(_library, 24);
        return {row.right() - scaled(_library, 4) - side, row.center().y() - side / 2, side, side};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect row(scaled(_library, 8), option.rect.top(),
                        _library._tree->viewport()->width() - scaled(_library, 16), option.rect.height());
        const bool isHovered = (option.state & QStyle::State_MouseOver) != 0;
        const bool isChosen = (option.state & QStyle::State_Selected) != 0;
        if (isChosen || isHovered) {
            QColor ground = style.color(isChosen ? LibraryRole::accentFill : LibraryRole::text);
            if (!isChosen) {
                ground.setAlphaF(0.07F);
            }
            painter->setPen(Qt::NoPen);
            painter->setBrush(ground);
            painter->drawRoundedRect(row, scaled(_library, 4), scaled(_library, 4));
        }
        if (index.data(kClassRole).toString().isEmpty()) {
            paintHeading(*painter, option, row, index);
        } else {
            paintType(*painter, option, row, index, isHovered || isChosen);
        }
        painter->restore();
    }

private:
    Library& _library;

    void paintHeading(QPainter& painter, const QStyleOptionViewItem& option, QRect row,
                      const QModelIndex& index) const
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        if (index.row() > 0) {
            row.setTop(row.bottom() - scaled(_library, 24));
        }
        const int side = scaled(_library, 12);
        const double middle = row.center().y() + 0.5;
        const bool isOpen = _library._tree->isExpanded(index);
        paintIcon(painter, isOpen ? "chevron-down" : "chevron-right",
                  QRectF(row.left() + scaled(_library, 2), middle - side / 2.0, side, side),
                  style.color(LibraryRole::secondText));
        const double square = scaled(_library, 8);
        painter.setPen(Qt::NoPen);
        painter.setBrush(colorOf(index.data(kFamilyRole).toString()));
        painter.drawRoundedRect(
            QRectF(row.left() + scaled(_library, 22), middle - square / 2, square, square), 2, 2);
        const QString count = QString::number(index.model()->rowCount(index));
        QRect text = row.adjusted(scaled(_library, 36), 0, -scaled(_library, 8), 0);
        painter.setFont(option.font);
        painter.setPen(style.color(LibraryRole::hint));
        painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter, count);
        text.setRight(text.right() - option.fontMetrics.horizontalAdvance(count) - scaled(_library, 6));
        QFont font = option.font;
        font.setWeight(QFont::DemiBold);
        painter.setFont(font);
        painter.setPen(style.color(LibraryRole::text));
        painter.drawText(text, Qt::AlignVCenter,
                         QFontMetrics(font).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight,
                                                       text.width()));
    }

    void paintType(QPainter& painter, const QStyleOptionViewItem& option, const QRect& row,
                   const QModelIndex& index, bool showsAdd) const
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const double side = scaled(_library, 16);
        const double middle = row.center().y() + 0.5;
        if (const auto* type = typeAt(index)) {
            paintTypeIcon(painter, *type,
                          QRectF(row.left() + scaled(_library, 18), middle - side / 2, side, side));
        }
        QRect text = row.adjusted(scaled(_library, 43), 0, -scaled(_library, 4), 0);
        if (showsAdd) {
            const QRect plus = addPlace(row);
            paintIcon(
                painter, "add",
                QRectF(plus.center().x() + 0.5 - side / 2, plus.center().y() + 0.5 - side / 2, side, side),
                style.color(LibraryRole::secondText));
            text.setRight(plus.left());
        }
        painter.setFont(option.font);
        painter.setPen(style.color(LibraryRole::text));
        painter.drawText(text, Qt::AlignVCenter,
                         option.fontMetrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight,
                                                       text.width()));
    }
};

Library::Library(QWidget* parent)
    : QWidget(parent),
      _filter(new SearchLine(
          QString("Filter %1 types").arg(zrkmodel::ZRKGraphObject::registry().entries().size()))),
      _tree(new QTreeView),
      _model(new Model(this)),
      _shown(new Filter(this))
{
    setObjectName("Library");
    setAttribute(Qt::WA_StyledBackground);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, scaled(*this, 8), 0, 0);
    column->setSpacing(scaled(*this, 8));
    auto* top = new QHBoxLayout;
    top->setContentsMargins(scaled(*this, 12), 0, scaled(*this, 12), 0);
    _filter->setClearButtonEnabled(true);
    _filter->setAccessibleName("filter the types");
    _filter->setToolTip("shows the types whose name or manual page has these words; Enter adds the first");
    _filter->installEventFilter(this);
    top->addWidget(_filter);
    column->addLayout(top);

    _shown->setSourceModel(_model);
    _tree->setModel(_shown);
    _tree->setItemDelegate(new Rows(*this));
    _tree->setHeaderHidden(true);
    _tree->setRootIsDecorated(false);
    _tree->setIndentation(0);
    _tree->setFrameShape(QFrame::NoFrame);
    _tree->setMouseTracking(true);
    _tree->setDragEnabled(true);
    _tree->setDragDropMode(QAbstractItemView::DragOnly);
    _tree->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _tree->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    _tree->setExpandsOnDoubleClick(false);
    _tree->setAccessibleName("types of components");
    _tree->setToolTip("types by family; drag one onto the canvas, Enter adds it");
    _tree->installEventFilter(this);
    _tree->viewport()->installEventFilter(this);
    column->addWidget(_tree, 1);

    connect(_filter, &QLineEdit::textChanged, this, [this](const QString& text) {
        _shown->setWords(text);
        if (!text.isEmpty()) {
            _tree->expandAll();
        }
    });
    connect(_tree, &QTreeView::clicked, this, [this](const QModelIndex& row) {
        if (row.data(kClassRole).toString().isEmpty()) {
            _tree->setExpanded(row, !_tree->isExpanded(row));
        }
    });
    connect(_tree, &QTreeView::doubleClicked, this, [this](const QModelIndex& row) { add(row); });
    for (int i = 0; i < _shown->rowCount(); ++i) {
        const QString folder = _shown->index(i, 0).data(kFamilyRole).toString();
        _tree->setExpanded(_shown->index(i, 0),
                           folder == "primitives" || folder == "patterns" || folder == "operators");
    }
}

void Library::focusFilter()
{
    _filter->setFocus(Qt::ShortcutFocusReason);
    _filter->selectAll();
}

void Library::add(const QModelIndex& row)
{
    const QString name = row.data(kClassRole).toString();
    if (!name.isEmpty() && _add) {
        _add(name.toStdString());
    }
}

bool Library::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto& key = static_cast<QKeyEvent&>(*event);
        const bool isEnter = key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter;
        if (watched == _filter && (isEnter || key.key() == Qt::Key_Down)) {
            const QModelIndex first = _shown->index(0, 0, _shown->index(0, 0));
            if (isEnter) {
                add(first);
            } else {
                _tree->setCurrentIndex(first);
                _tree->setFocus(Qt::TabFocusReason);
            }
            return true;
        }
        if (watched == _tree && isEnter) {
            const QModelIndex row = _tree->currentIndex();
            if (row.data(kClassRole).toString().isEmpty()) {
                _tree->setExpanded(row, !_tree->isExpanded(row));
            } else {
                add(row);
            }
            return true;
        }
    }
    if (watched == _tree->viewport() && event->type() == QEvent::MouseButtonPress) {
        const auto& press = static_cast<QMouseEvent&>(*event);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        const QPoint place = press.position().toPoint();
#else
        const QPoint place = press.pos();
#endif
        const QModelIndex index = _tree->indexAt(place);
        if (press.button() == Qt::LeftButton && !index.data(kClassRole).toString().isEmpty()) {
            const QRect visual = _tree->visualRect(index);
            const QRect row(scaled(*this, 8), visual.top(), _tree->viewport()->width() - scaled(*this, 16),
                            visual.height());
            if (static_cast<Rows*>(_tree->itemDelegate())->addPlace(row).contains(place)) {
                add(index);
                return true;
            }
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace zrkworkbench
