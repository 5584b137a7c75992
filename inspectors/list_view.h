#pragma once

#include "inspectors/css_style.h"
#include "inspectors/describe.h"
#include "inspectors/described.h"
#include "inspectors/follow.h"
#include "inspectors/property_view.h"
#include "inspectors/wrappers.h"
#include "model/signal.h"
#include "model/value_list.h"

#include <QEvent>
#include <QFrame>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zrkui {

/// A list of values, each with an editor of its own, above a row of buttons. The items hold copies of the
/// values; the list signal tells when they changed. Interface thread only.
template <class T, class Editor>
class ZRKQListView : public QWidget, public UIDescribed {
public:
    /// Holds one value and its editor.
    class Item : public QFrame {
    public:
        nod::signal<void()> clicked; ///< a mouse press on it, or the focus coming into it
        nod::signal<void()> changed; ///< emitted by the editor

        explicit Item(T value) : value(std::move(value))
        {
            auto* layout = new QVBoxLayout(this);
            const int margin = scaled(*this, 6);
            layout->setContentsMargins(margin, margin, margin, margin);
            setObjectName("Item");
            setFocusPolicy(Qt::ClickFocus);
        }

        T value;

        Editor* editor() const { return _editor; }
        /// Takes an editor over in place of the former one.
        void setEditor(Editor* editor)
        {
            delete _editor;
            _editor = editor;
            layout()->addWidget(editor);
            for (QWidget* inner : editor->template findChildren<QWidget*>()) {
                inner->installEventFilter(this);
            }
        }
        void setSelected(bool selected)
        {
            setObjectName(selected ? "SelectedItem" : "Item");
            style()->unpolish(this);
            style()->polish(this);
        }

    protected:
        void mousePressEvent(QMouseEvent* event) override
        {
            QFrame::mousePressEvent(event);
            clicked();
        }
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            if (event->type() == QEvent::FocusIn || event->type() == QEvent::MouseButtonPress) {
                clicked();
            }
            return QFrame::eventFilter(watched, event);
        }

    private:
        QPointer<Editor> _editor;
    };

    using Items = std::vector<Item*>;
    using ItemBuilder = std::function<void(Item&)>;

    nod::signal<void(Item*, int)> selectionChanged;
    /// The items, and the index of the changed one; another index when it isn't about one of them.
    nod::signal<void(const Items&, int)> listChanged;

    explicit ZRKQListView(QWidget* parent = nullptr) : QWidget(parent)
    {
        auto* column = new QVBoxLayout(this);
        column->setSpacing(1);
        column->setContentsMargins(0, 0, 0, 0);
        _area = new QScrollArea(this);
        _area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        _area->setWidgetResizable(true);
        _area->setFocusPolicy(Qt::NoFocus);
        _area->setObjectName("Items");
        auto* container = new QWidget;
        _rows = new QVBoxLayout(container);
        _rows->setSpacing(1);
        _rows->setContentsMargins(0, 0, 0, 0);
        _rows->setAlignment(Qt::AlignTop);
        _area->setWidget(container);
        column->addWidget(_area, 100);
        _buttons = new QHBoxLayout;
        _buttons->setSpacing(scaled(*this, 4));
        _buttons->setContentsMargins(0, scaled(*this, 4), 0, 0);
        _buttons->addStretch(1);
        column->addLayout(_buttons);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        setMinimumHeight(scaled(*this, 180));
    }
    ~ZRKQListView() override { qDeleteAll(_items); } // while the signals that they are connected to are there

    const Items& items() const { return _items; }
    int selected() const { return _selected; } ///< -1 for none
    std::vector<T> values() const
    {
        std::vector<T> values;
        for (const Item* item : _items) {
            values.push_back(item->value);
        }
        return values;
    }

    void setItemBuilder(ItemBuilder builder) { _builder = std::move(builder); }

    Item* addItem(const T& value, bool notify)
    {
        auto* item = new Item(value);
        _items.push_back(item);
        if (_builder) {
            _builder(*item);
        }
        _rows->addWidget(item);
        item->clicked.connect([this, item] { select(indexOf(item)); });
        item->changed.connect([this, item] { listChanged(_items, indexOf(item)); });
        if (notify) {
            listChanged(_items, static_cast<int>(_items.size()) - 1);
        }
        return item;
    }

    QPushButton* addButton(const std::string& label, std::function<void()> action)
    {
        auto* button = new QPushButtonWrapper(label, this);
        button->connectToListener(std::move(action));
        _buttons->insertWidget(_buttons->count() - (_menu ? 2 : 1), button);
        return button;
    }

    /// An action of the menu at the row's end, or a heading when the action is empty.
    void addMenuEntry(const std::string& label, std::function<void()> action)
    {
        if (!_menu) {
            _menu = new ZRKOptionsButton(this);
            _buttons->addWidget(_menu);
        }
        _menu->addEntry(label, std::move(action));
    }

    void clear(bool notify)
    {
        _selected = -1;
        qDeleteAll(std::exchange(_items, {}));
        if (notify) {
            listChanged(_items, -1);
        }
    }

    /// Deletes the selected item and emits the list signal with -1; does nothing without a selection.
    void removeSelected()
    {
        if (_selected < 0) {
            return;
        }
        Item* item = _items[static_cast<std::size_t>(_selected)];
        _items.erase(_items.begin() + std::exchange(_selected, -1));
        delete item;
        listChanged(_items, -1);
    }

    void select(int index)
    {
        if (index < 0 || index >= static_cast<int>(_items.size()) || index == _selected) {
            return;
        }
        if (_selected >= 0) {
            _items[static_cast<std::size_t>(_selected)]->setSelected(false);
        }
        _selected = index;
        Item* item = _items[static_cast<std::size_t>(index)];
        item->setSelected(true);
        selectionChanged(item, index);
    }

    /// Shows other values without emitting; where the number stays, so does the selection.
    void display(const std::vector<T>& values)
    {
        const int selected = values.size() == _items.size() ? _selected : -1;
        clear(false);
        for (const T& value : values) {
            addItem(value, false);
        }
        select(selected);
    }

    void describe(zrkmodel::ZRKJson& out) const override
    {
        out["widget"] = "list";
        out["buttons"] = zrkmodel::ZRKJson::array();
        for (int i = 0; i < _buttons->count(); ++i) {
            if (const QWidget* button = _buttons->itemAt(i)->widget()) {
                out["buttons"].push_back(describeControl(*button));
            }
        }
        Item sample{T()};
        if (_builder) {
            _builder(sample);
            out["item"] = sample.editor() ? describeView(*sample.editor()) : zrkmodel::ZRKJson();
        }
    }

private:
    ItemBuilder _builder;
    Items _items;
    int _selected = -1;
    QScrollArea* _area;
    QVBoxLayout* _rows;
    QHBoxLayout* _buttons;
    ZRKOptionsButton* _menu = nullptr;

    int indexOf(const Item* item) const
    {
        const auto found = std::find(_items.begin(), _items.end(), item);
        return found == _items.end() ? -1 : static_cast<int>(found - _items.begin());
    }
};

/// Fills a list from the values that a component holds, hands edits on to them, and shows what becomes of
/// them elsewhere.
template <class List, class T>
void showList(List& list, zrkmodel::ZRKObject& owner, zrkmodel::ZRKValueList<T>& values,
              const std::string& name)
{
    auto isEditing = std::make_shared<bool>(false); // the change is the list's own
    list.listChanged.connect([&list, &values, isEditing](const auto&, int index) {
        *isEditing = true;
        values.edit(list.values(), index);
        *isEditing = false;
    });
    list.setAccessibleName(QString::fromStdString(name));
    list.display(values.values());
    followEvent(list, owner, name, [&list, &values, isEditing] {
        if (!*isEditing) {
            list.display(values.values());
        }
    });
}

} // namespace zrkui
