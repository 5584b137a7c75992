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
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class QSpacerItem;

namespace zrkui {

/// Rows of which few are seen at a time, such as the items of a list: those in sight, and some beside them,
/// are built and shown; in place of the others there is room. At most kBuiltAtOnce are built in one turn of
/// the event loop, the first ones at once. Interface thread only.
class ZRK_API LazyRows : public QScrollArea {
public:
    static constexpr std::size_t kBuiltAtOnce = 2;

    /// What a list does with its rows, by index.
    struct Source {
        std::function<QWidget*(std::size_t)> build; ///< the row, ready to be shown
        std::function<void(std::size_t)> drop;      ///< what was built goes; the row's widget may stay
    };

    explicit LazyRows(QWidget* parent = nullptr);

    void setSource(Source source) { _source = std::move(source); }
    /// So many rows from now on, of which none is built; the place that is scrolled to stays.
    void reset(std::size_t count);
    /// A row more, at the end. It is built at once.
    void append();
    /// A row less. Its widget is gone.
    void erase(std::size_t index);
    /// Builds rows again whose values are others now, those that are built.
    void rebuild(const std::vector<std::size_t>& changed);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    Source _source;
    QVBoxLayout* _rows;
    QSpacerItem* _above; ///< room for the rows before those that are built
    QSpacerItem* _below;
    QTimer* _timer;
    std::size_t _first = 0; ///< of the rows that are built
    std::vector<QWidget*> _built;
    std::vector<int> _heights; ///< with the line between two; 0 for a row that wasn't built yet
    int _usual = 0;            ///< height of such a row: that of the one that was built last

    std::size_t end() const { return _first + _built.size(); }
    void buildBefore();
    void buildAfter();
    void dropFirst();
    void dropLast();
    void release(std::size_t index, QWidget* row);
    static void leave(const QWidget& row);
    int heightOf(std::size_t index) const { return _heights[index] > 0 ? _heights[index] : _usual; }
    void want();
    void fill();
    void makeRoom();
};

/// Has what takes long to destroy destroyed in turns of the event loop, a part at a time.
ZRK_API void destroyLater(std::vector<QWidget*> widgets);

/// A list of values, each with an editor of its own, above a row of buttons. The items hold copies of the
/// values; the list signal tells when they changed. Of long lists only the items in sight have their editors.
/// Interface thread only.
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
            static const QString name("Item");
            setObjectName(name);
            setFocusPolicy(Qt::ClickFocus);
        }

        T value;

        /// Null while the item is out of sight.
        Editor* editor() const { return _editor; }
        /// Takes an editor over in place of the former one.
        void setEditor(Editor* editor)
        {
            delete _editor;
            _editor = editor;
            if (!editor) {
                return;
            }
            if (!layout()) {
                auto* column = new QVBoxLayout(this);
                const int margin = scaled(*this, 6);
                column->setContentsMargins(margin, margin, margin, margin);
            }
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

    static constexpr std::size_t kMadeAtOnce = 250; ///< items without editors, in a turn of the event loop

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
        _rows = new LazyRows(this);
        _rows->setObjectName("Items");
        _rows->setSource({[this](std::size_t index) { return built(index); },
                          [this](std::size_t index) { _items[index]->setEditor(nullptr); }});
        column->addWidget(_rows, 100);
        _making = new QTimer(this);
        connect(_making, &QTimer::timeout, this,
                [this] { makeItems(_items.size() + std::min(_waiting.size(), kMadeAtOnce)); });
        _buttons = new QHBoxLayout;
        _buttons->setSpacing(scaled(*this, 4));
        _buttons->setContentsMargins(0, scaled(*this, 4), 0, 0);
        _buttons->addStretch(1);
        column->addLayout(_buttons);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        setMinimumHeight(scaled(*this, 180));
    }
    ~ZRKQListView() override { clear(false); } // while the signals that they are connected to are there

    const Items& items()
    {
        makeItems(_items.size() + _waiting.size());
        return _items;
    }
    int selected() const { return _selected; } ///< -1 for none
    std::vector<T> values()
    {
        makeItems(_items.size() + _waiting.size());
        std::vector<T> values;
        values.reserve(_items.size());
        for (const Item* item : _items) {
            values.push_back(item->value);
        }
        return values;
    }

    void setItemBuilder(ItemBuilder builder) { _builder = std::move(builder); }
    /// Tells of which values the editors look the same and needn't be built again; of none without it.
    void setIsAlike(std::function<bool(const T&, const T&)> isAlike) { _isAlike = std::move(isAlike); }

    Item* addItem(const T& value, bool notify)
    {
        makeItems(_items.size() + _waiting.size());
        _waiting.push_back(value);
        makeItems(_items.size() + 1);
        Item* item = _items.back();
        _rows->append();
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
            setHint(*_menu, "more that can be done with the list");
            _buttons->addWidget(_menu);
        }
        _menu->addEntry(label, std::move(action));
    }

    void clear(bool notify)
    {
        _selected = -1;
        _waiting.clear();
        _rows->reset(0);
        deleteItems();
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
        makeItems(_items.size() + _waiting.size());
        const auto index = static_cast<std::size_t>(std::exchange(_selected, -1));
        _rows->erase(index);
        delete _items[index];
        _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(index));
        listChanged(_items, -1);
    }

    void select(int index)
    {
        makeItems(_items.size() + _waiting.size());
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
        if (values.size() == _items.size() && _waiting.empty()) {
            std::vector<std::size_t> changed;
            for (std::size_t i = 0; i < values.size(); ++i) {
                if (!_isAlike || !_isAlike(_items[i]->value, values[i])) {
                    _items[i]->value = values[i];
                    changed.push_back(i);
                }
            }
            _rows->rebuild(changed);
            return;
        }
        clear(false);
        _waiting.assign(values.begin(), values.end());
        _making->start(0);
        _rows->reset(values.size());
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
    std::function<bool(const T&, const T&)> _isAlike;
    Items _items;
    std::deque<T> _waiting; ///< values that have no item yet
    QTimer* _making;        ///< makes items of them
    int _selected = -1;
    LazyRows* _rows;
    QHBoxLayout* _buttons;
    ZRKOptionsButton* _menu = nullptr;

    /// Makes the first so many.
    void makeItems(std::size_t count)
    {
        while (_items.size() < count) {
            _items.push_back(new Item(std::move(_waiting.front())));
            _waiting.pop_front();
        }
        if (_waiting.empty()) {
            _making->stop();
        }
    }

    QWidget* built(std::size_t index)
    {
        makeItems(std::max(_items.size(), index + 1));
        Item* item = _items[index];
        if (!item->layout()) { // for the first time
            item->clicked.connect([this, item] { select(indexOf(item)); });
            item->changed.connect([this, item] { listChanged(_items, indexOf(item)); });
        }
        if (_builder) {
            _builder(*item);
        }
        return item;
    }

    void deleteItems()
    {
        for (Item* item : _items) {
            item->setEditor(nullptr); // before what its listeners refer to
        }
        const Items gone = std::exchange(_items, {});
        destroyLater({gone.begin(), gone.end()});
    }

    int indexOf(const Item* item) const
    {
        const auto found = std::find(_items.begin(), _items.end(), item);
        return found == _items.end() ? -1 : static_cast<int>(found - _items.begin());
    }
};

/// A button that removes the item that was clicked last.
template <class List>
void addRemoval(List& list, const char* hint)
{
    QPushButton* button = list.addButton("del", [&list] { list.removeSelected(); });
    button->setObjectName("Warning");
    button->setProperty("zrkRole", "problem");
    setHint(*button, hint);
}

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
    setManualKey(list, name.c_str());
    list.display(values.values());
    followEvent(list, owner, name, [&list, &values, isEditing] {
        if (!*isEditing) {
            list.display(values.values());
        }
    });
}

} // namespace zrkui
