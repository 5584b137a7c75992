#include "apps/workbench/window/problems.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/window/parts.h"
#include "inspectors/css_style.h"

#include <QAbstractListModel>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QMouseEvent>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace zrkworkbench {

using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using Role = ZRKCSSStyle::Role;

void ProblemList::set(Source source, std::vector<Problem> problems)
{
    const auto found = std::find_if(_bySource.begin(), _bySource.end(),
                                    [&](const auto& entry) { return entry.first == source; });
    if (found == _bySource.end()) {
        if (problems.empty()) {
            return;
        }
        _bySource.emplace_back(source, std::move(problems));
        std::stable_sort(_bySource.begin(), _bySource.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    } else {
        if (problems.empty() && found->second.empty()) {
            return;
        }
        found->second = std::move(problems);
    }
    if (_changed) {
        _changed();
    }
}

void ProblemList::clear()
{
    _bySource.clear();
    if (_changed) {
        _changed();
    }
}

std::vector<Problem> ProblemList::of(Source source) const
{
    for (const auto& [from, problems] : _bySource) {
        if (from == source) {
            return problems;
        }
    }
    return {};
}

std::vector<Problem> ProblemList::all() const
{
    std::vector<Problem> all;
    for (const auto& entry : _bySource) {
        all.insert(all.end(), entry.second.begin(), entry.second.end());
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const Problem& a, const Problem& b) { return a.kind > b.kind; });
    return all;
}

int ProblemList::count(Problem::Kind kind) const
{
    const std::vector<Problem> problems = all();
    return static_cast<int>(std::count_if(problems.begin(), problems.end(),
                                          [&](const Problem& problem) { return problem.kind == kind; }));
}

Problem problemOf(const zrk::Fault& fault, Problem::Kind kind)
{
    Problem problem;
    problem.kind = kind;
    problem.place = QString::fromStdString(zrk::printable(fault.place));
    problem.finding =
        QString::fromStdString(zrk::printable("found " + fault.found + ", expected " + fault.expected));
    problem.remedy = QString::fromStdString(zrk::printable(fault.remedy));
    return problem;
}

class ProblemsPane::Model final : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    void show(const std::vector<Problem>& problems)
    {
        beginResetModel();
        _problems = problems;
        endResetModel();
    }
    const Problem& at(const QModelIndex& index) const
    {
        return _problems.at(static_cast<std::size_t>(index.row()));
    }
    int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(_problems.size());
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        const Problem& problem = at(index);
        switch (role) {
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole:
            return (problem.kind == Problem::Kind::Error ? "error, " : "warning, ") + problem.place + ": " +
                   problem.finding + (problem.remedy.isEmpty() ? QString() : "; " + problem.remedy);
        case Qt::ToolTipRole:
            return problem.place + "\n" + problem.finding +
                   (problem.remedy.isEmpty() ? QString() : "\n" + problem.remedy);
        default:
            return {};
        }
    }

private:
    std::vector<Problem> _problems;
};

class ProblemsPane::Rows final : public QStyledItemDelegate {
public:
    explicit Rows(ProblemsPane& pane) : QStyledItemDelegate(&pane), _pane(pane) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override
    {
        return {option.rect.width(), scaled(_pane, 26)};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const ZRKCSSStyle& style = ZRKCSSStyle::current();
        const Problem& problem = _pane._model->at(index);
        if (option.state & (QStyle::State_MouseOver | QStyle::State_Selected)) {
            QColor shade = style.color(Role::text);
            shade.setAlphaF(0.07F);
            painter->fillRect(option.rect, shade);
        }
        const int side = scaled(_pane, 16);
        const int left = option.rect.left() + scaled(_pane, 8);
        const bool isError = problem.kind == Problem::Kind::Error;
        paintIcon(*painter, isError ? "error" : "warning",
                  QRectF(left, option.rect.center().y() - side / 2.0 + 0.5, side, side),
                  style.color(isError ? Role::error : Role::warning));

        QRect text = option.rect.adjusted(scaled(_pane, 33), 0, -scaled(_pane, 12), 0);
        painter->setFont(option.font);
        if (const QRect link = actionRect(option, problem); !link.isEmpty()) {
            painter->setPen(style.color(Role::link));
            painter->drawText(link, Qt::AlignRight | Qt::AlignVCenter, problem.actionText);
            text.setRight(link.left() - scaled(_pane, 12));
        }
        QFont bold = option.font;
        bold.setWeight(QFont::DemiBold);
        const QFontMetrics boldMetrics(bold);
        const int column = std::max(scaled(_pane, 150), boldMetrics.horizontalAdvance(problem.place));
        const int placeWidth = std::min(column, text.width() / 2);
        painter->setFont(bold);
        painter->setPen(style.color(Role::text));
        painter->drawText(QRect(text.left(), text.top(), placeWidth, text.height()), Qt::AlignVCenter,
                          boldMetrics.elidedText(problem.place, Qt::ElideMiddle, placeWidth));
        painter->setFont(option.font);
        painter->setPen(style.color(Role::secondText));
        QString finding = problem.finding;
        if (!problem.remedy.isEmpty()) {
            finding += "; " + problem.remedy;
        }
        text.setLeft(text.left() + placeWidth + scaled(_pane, 12));
        painter->drawText(text, Qt::AlignVCenter,
                          option.fontMetrics.elidedText(finding, Qt::ElideRight, text.width()));
    }

    bool editorEvent(QEvent* event, QAbstractItemModel*, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override
    {
        if (event->type() == QEvent::MouseButtonRelease) {
            const auto& release = static_cast<QMouseEvent&>(*event);
            const Problem problem = _pane._model->at(index);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            const QPoint place = release.position().toPoint();
#else
            const QPoint place = release.pos();
#endif
            if (problem.action && actionRect(option, problem).contains(place)) {
                problem.action();
            } else if (_pane._chosen) {
                _pane._chosen(problem);
            }
            return true;
        }
        return false;
    }

private:
    ProblemsPane& _pane;

    QRect actionRect(const QStyleOptionViewItem& option, const Problem& problem) const
    {
        if (problem.actionText.isEmpty()) {
            return {};
        }
        const int width = option.fontMetrics.horizontalAdvance(problem.actionText) + scaled(_pane, 4);
        return {option.rect.right() - scaled(_pane, 12) - width, option.rect.top(), width,
                option.rect.height()};
    }
};

ProblemsPane::ProblemsPane(QWidget* parent)
    : QWidget(parent), _model(new Model(this)), _list(new QListView), _count(new QLabel)
{
    setObjectName("ProblemsPane");
    setAttribute(Qt::WA_StyledBackground);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, scaled(*this, 6));
    column->setSpacing(0);
    _count->setProperty("zrkRole", "second");
    column->addLayout(paneHeader(
        "Problems", _count, "close the list of problems",
        [this] {
            if (_closed) {
                _closed();
            }
        },
        this));
    _list->setModel(_model);
    _list->setItemDelegate(new Rows(*this));
    _list->setMouseTracking(true);
    _list->setUniformItemSizes(true);
    _list->setFrameShape(QFrame::NoFrame);
    _list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    _list->setAccessibleName("problems of the document");
    _list->setToolTip("what is wrong and what can be done about it; Enter goes to the node");
    connect(_list, &QListView::activated, this, [this](const QModelIndex& index) {
        if (_chosen) {
            _chosen(Problem(_model->at(index)));
        }
    });
    column->addWidget(_list, 1);
    setMinimumHeight(scaled(*this, 36 + 26));
}

void ProblemsPane::show(const std::vector<Problem>& problems)
{
    const int row = _list->currentIndex().row();
    _model->show(problems);
    if (row >= 0 && row < _model->rowCount()) {
        _list->setCurrentIndex(_model->index(row));
    }
    _count->setText(QString::number(problems.size()));
}

} // namespace zrkworkbench
