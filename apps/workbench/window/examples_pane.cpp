#include "apps/workbench/window/examples_pane.h"

#include "apps/workbench/window/data_folder.h"
#include "apps/workbench/window/parts.h"
#include "inspectors/css_style.h"

#include <QAbstractListModel>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using ExampleRole = ZRKCSSStyle::Role;

namespace {

constexpr int kPathRole = Qt::UserRole;
constexpr int kCardWidth = 128;
constexpr int kPictureHeight = 96;

} // namespace

class ExamplesPane::Model final : public QAbstractListModel {
public:
    explicit Model(QObject* parent) : QAbstractListModel(parent), _timer(new QTimer(this))
    {
        connect(_timer, &QTimer::timeout, this, [this] { readNext(); });
    }

    void fill()
    {
        if (_isFilled) {
            return;
        }
        _isFilled = true;
        beginResetModel();
        _examples = examples();
        _pictures.resize(_examples.size());
        endResetModel();
        _timer->start(0);
    }
    bool isComplete() const { return _isFilled && _read == _examples.size(); }
    const Example& at(int row) const { return _examples.at(static_cast<std::size_t>(row)); }
    const QImage& pictureOf(int row) const { return _pictures.at(static_cast<std::size_t>(row)); }
    int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(_examples.size());
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        const Example& example = at(index.row());
        return role == Qt::DisplayRole || role == Qt::AccessibleTextRole ? QVariant(example.name)
               : role == Qt::ToolTipRole                                 ? QVariant(example.caption)
               : role == kPathRole                                       ? QVariant(example.path)
                                                                         : QVariant();
    }

private:
    std::vector<Example> _examples;
    std::vector<QImage> _pictures;
    std::size_t _read = 0;
    bool _isFilled = false;
    QTimer* _timer;

    void readNext()
    {
        if (_read >= _examples.size()) {
            _timer->stop();
            return;
        }
        QImageReader reader(_examples[_read].picture);
        QSize size = reader.size();
        size.scale(2 * kCardWidth, 2 * kPictureHeight, Qt::KeepAspectRatioByExpanding);
        reader.setScaledSize(size);
        _pictures[_read] = reader.read();
        const QModelIndex changed = index(static_cast<int>(_read));
        ++_read;
        Q_EMIT dataChanged(changed, changed);
    }
};

class ExamplesPane::Cards final : public QStyledItemDelegate {
public:
    explicit Cards(ExamplesPane& pane) : QStyledItemDelegate(&pane), _pane(pane) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        return {scaled(_pane, kCardWidth + 12), scaled(_pane, kPictureHeight + 32)};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        painter->save();
        painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        const QRectF card = QRectF(option.rect).adjusted(scaled(_pane, 4), 2, -scaled(_pane, 4), -2);
        if (option.state & (QStyle::State_MouseOver | QStyle::State_Selected)) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(option.state & QStyle::State_Selected ? style.color(ExampleRole::accentFill)
                                                                    : style.hoveredRow());
            painter->drawRoundedRect(card, scaled(_pane, 6), scaled(_pane, 6));
        }
        const QRectF room(card.left() + scaled(_pane, 4), card.top() + scaled(_pane, 4),
                          card.width() - scaled(_pane, 8), scaled(_pane, kPictureHeight));
        const QImage& picture = _pane._model->pictureOf(index.row());
        if (!picture.isNull()) {
            QPainterPath clip;
            clip.addRoundedRect(room, scaled(_pane, 4), scaled(_pane, 4));
            painter->setClipPath(clip);
            QSizeF part = room.size().scaled(picture.size(), Qt::KeepAspectRatio);
            painter->drawImage(
                room, picture,
                QRectF(QPointF((picture.width() - part.width()) / 2, (picture.height() - part.height()) / 2),
                       part));
            painter->setClipping(false);
        }
        painter->setPen(QPen(style.color(ExampleRole::paneLine), 1));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(room, scaled(_pane, 4), scaled(_pane, 4));
        painter->setPen(style.color(ExampleRole::text));
        const QRectF text(room.left(), room.bottom() + 2, room.width(), card.bottom() - room.bottom() - 4);
        painter->drawText(text, Qt::AlignVCenter,
                          option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight,
                                                        static_cast<int>(text.width())));
        painter->restore();
    }

private:
    ExamplesPane& _pane;
};

ExamplesPane::ExamplesPane(QWidget* parent) : QWidget(parent), _model(new Model(this)), _list(new QListView)
{
    setObjectName("ExamplesPane");
    setAttribute(Qt::WA_StyledBackground);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, scaled(*this, 4));
    column->setSpacing(0);
    auto* hint = new QLabel("Enter or a double click opens one; saving asks for a new name");
    hint->setProperty("zrkRole", "hint");
    column->addLayout(paneHeader(
        "Examples", hint, "close the examples",
        [this] {
            if (_closed) {
                _closed();
            }
        },
        this));
    _list->setModel(_model);
    _list->setItemDelegate(new Cards(*this));
    _list->setFlow(QListView::LeftToRight);
    _list->setWrapping(true);
    _list->setResizeMode(QListView::Adjust);
    _list->setMouseTracking(true);
    _list->setUniformItemSizes(true);
    _list->setFrameShape(QFrame::NoFrame);
    _list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    _list->setAccessibleName("examples");
    _list->setToolTip("examples with their pictures");
    connect(_list, &QListView::activated, this, [this](const QModelIndex& index) {
        if (_chosen) {
            _chosen(index.data(kPathRole).toString());
        }
    });
    column->addWidget(_list, 1);
    setMinimumHeight(scaled(*this, 36 + kPictureHeight + 40));
}

bool ExamplesPane::isComplete() const { return _model->isComplete(); }

void ExamplesPane::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    _model->fill();
}

} // namespace zrkworkbench
