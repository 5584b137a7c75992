#include "apps/workbench/window/notice_bar.h"

#include "inspectors/css_style.h"

#include <QBoxLayout>
#include <QEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStringList>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;

namespace {

constexpr int kLongestWord = 32;
constexpr int kLeastWidth = 160;
constexpr int kLeastText = 200; ///< beside buttons

/// A name that is too long to stand in a line, such as that of a file, without its middle.
QString withoutLongWords(const QString& text)
{
    QStringList words = text.split(' ');
    for (QString& word : words) {
        if (word.size() > kLongestWord) {
            word = word.left(kLongestWord / 2) + QChar(0x2026) + word.right(kLongestWord / 2 - 1);
        }
    }
    return words.join(' ');
}

} // namespace

/// A text, with its buttons beside it or, where there is little room, beneath.
class NoticeBar::Notice final : public QFrame {
public:
    explicit Notice(QWidget* parent)
        : QFrame(parent),
          _row(new QBoxLayout(QBoxLayout::LeftToRight, this)),
          _buttonRow(new QBoxLayout(QBoxLayout::LeftToRight)),
          _label(new QLabel),
          _progress(new QProgressBar)
    {
        setObjectName("Notice");
        _row->setContentsMargins(scaled(*this, 12), scaled(*this, 5), scaled(*this, 8), scaled(*this, 5));
        _row->setSpacing(scaled(*this, 8));
        _label->setWordWrap(true);
        _label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        _row->addWidget(_label, 1);
        _progress->setRange(0, 1000);
        _progress->setTextVisible(false);
        _progress->setFixedWidth(scaled(*this, 160));
        _progress->hide();
        _row->addWidget(_progress);
        _buttonRow->setSpacing(scaled(*this, 8));
        _row->addLayout(_buttonRow);
    }

    QString text() const { return _text; }
    void setText(const QString& text)
    {
        if (text != _text) {
            _text = text;
            _label->setText(withoutLongWords(text));
            _label->setToolTip(_label->text() == text ? QString() : text);
            setAccessibleName(text);
        }
    }
    void setProgress(double fraction)
    {
        _progress->show();
        _progress->setAccessibleName(text());
        _progress->setToolTip("how far it has come");
        _progress->setValue(std::isfinite(fraction) ? static_cast<int>(1000 * std::clamp(fraction, 0.0, 1.0))
                                                    : 0);
    }
    bool hasButtons() const { return !_buttons.empty(); }
    void addButton(const QString& text, std::function<void()> run)
    {
        auto* button = new QPushButton(text, this);
        button->setAccessibleName(text + ": " + this->text());
        button->setToolTip(text);
        connect(button, &QPushButton::clicked, button, std::move(run));
        _buttons.push_back(button);
        _buttonRow->addWidget(button);
        arrange();
    }
    void removeButtons()
    {
        for (QPushButton* button : _buttons) {
            button->hide();
            button->deleteLater();
        }
        _buttons.clear();
    }

    /// Text and buttons never widen the window.
    QSize minimumSizeHint() const override
    {
        return {scaled(*this, kLeastWidth), QFrame::minimumSizeHint().height()};
    }

protected:
    bool event(QEvent* event) override
    {
        const bool isTaken = QFrame::event(event);
        if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest) {
            arrange();
        }
        return isTaken;
    }

private:
    QBoxLayout* _row;
    QBoxLayout* _buttonRow;
    QString _text;
    QLabel* _label;
    QProgressBar* _progress;
    std::vector<QPushButton*> _buttons;

    void arrange()
    {
        int buttons = 0;
        for (const QPushButton* button : _buttons) {
            buttons += button->sizeHint().width() + _buttonRow->spacing();
        }
        const QMargins margins = _row->contentsMargins();
        const int room = width() - margins.left() - margins.right();
        const int beside = buttons + (_progress->isHidden() ? 0 : _progress->width() + _row->spacing());
        const bool isBeneath = room < beside + scaled(*this, kLeastText);
        const auto direction = isBeneath ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight;
        if (direction != _row->direction()) {
            _row->setDirection(direction);
            _row->setAlignment(_buttonRow, isBeneath ? Qt::AlignLeft : Qt::Alignment()); // asks for a layout
        }
        _buttonRow->setDirection(buttons - _buttonRow->spacing() > room ? QBoxLayout::TopToBottom
                                                                        : QBoxLayout::LeftToRight);
    }
};

NoticeBar::NoticeBar(QWidget* parent) : QWidget(parent), _column(new QVBoxLayout(this))
{
    _column->setContentsMargins(0, 0, 0, 0);
    _column->setSpacing(0);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    hide();
}

NoticeBar::Notice* NoticeBar::find(const QString& key) const
{
    const auto found =
        std::find_if(_notices.begin(), _notices.end(), [&](const auto& entry) { return entry.first == key; });
    return found == _notices.end() ? nullptr : found->second;
}

NoticeBar::Notice* NoticeBar::add(const QString& key)
{
    if (Notice* former = find(key)) {
        return former;
    }
    auto* notice = new Notice(this);
    _notices.emplace_back(key, notice);
    _column->addWidget(notice);
    QWidget::show();
    return notice;
}

void NoticeBar::show(const QString& key, const QString& text, std::vector<NoticeAction> actions)
{
    Notice* notice = add(key);
    notice->setText(text);
    notice->removeButtons();
    for (NoticeAction& action : actions) {
        notice->addButton(action.text, [this, key, run = std::move(action.run)] {
            const auto work = run; // the button goes with its notice
            remove(key);
            if (work) {
                work();
            }
        });
    }
}

void NoticeBar::showProgress(const QString& key, const QString& text, double fraction,
                             std::function<void()> stop)
{
    Notice* notice = add(key);
    notice->setText(text);
    notice->setProgress(fraction);
    if (!notice->hasButtons()) {
        notice->addButton("Stop", std::move(stop));
    }
}

void NoticeBar::remove(const QString& key)
{
    Notice* notice = find(key);
    if (!notice) {
        return;
    }
    std::erase_if(_notices, [&](const auto& entry) { return entry.second == notice; });
    notice->hide();
    notice->deleteLater();
    setVisible(!_notices.empty());
}

bool NoticeBar::has(const QString& key) const { return find(key) != nullptr; }

QString NoticeBar::textOf(const QString& key) const
{
    const Notice* notice = find(key);
    return notice ? notice->text() : QString();
}

} // namespace zrkworkbench
