#include "apps/workbench/window/inspector.h"

#include "apps/workbench/look/icons.h"
#include "apps/workbench/window/document_panel.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/parts.h"
#include "apps/workbench/window/watchdog.h"
#include "host/document_values.h"
#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/described.h"
#include "inspectors/field.h"
#include "inspectors/number_field.h"
#include "inspectors/number_text.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/pins.h"

#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace zrkworkbench {

using zrkmodel::EditEvent;
using zrkmodel::EditSession;
using zrkmodel::Tag;
using zrkmodel::ZRKJson;
using zrkui::scaled;
using zrkui::ZRKCSSStyle;
using InspectorRole = ZRKCSSStyle::Role;

namespace {

constexpr int kResetColumn = 28; ///< right of the panel
constexpr int kLeastPanelWidth = 404;
constexpr int kLongestSource = 150; ///< the name of what sets an input

/// The ancestor of a widget, or itself, that is of a class.
template <class Widget>
Widget* ancestorOf(QObject* object)
{
    for (QObject* at = object; at; at = at->parent()) {
        if (auto* found = dynamic_cast<Widget*>(at)) {
            return found;
        }
    }
    return nullptr;
}

/// What the manual page says of a value.
QString tipOf(const zrkmodel::ManualMember& value)
{
    const auto text = [](std::string_view part) {
        return QString::fromUtf8(part.data(), static_cast<int>(part.size())).toHtmlEscaped();
    };
    QStringList more;
    if (!value.unit.empty()) {
        more << (value.unit == "mu" ? "model units" : text(value.unit));
    }
    if (!value.defaultValue.empty()) {
        more << text(value.defaultValue) + " in a new node";
    }
    QString tip = text(value.meaning.empty() ? std::string_view(value.key) : value.meaning);
    if (!more.isEmpty()) {
        tip += "<br>" + more.join("; ");
    }
    return "<p>" + tip + "</p>"; // rich text is broken into lines
}

/// What the manual page says of what a control shows; null for nothing.
const zrkmodel::ManualMember* manualOf(const QWidget& control, const zrkmodel::Manual& manual)
{
    const auto find = [](const auto& values, const std::string& key) -> decltype(values.data()) {
        const auto found =
            std::find_if(values.begin(), values.end(), [&](const auto& each) { return each.key == key; });
        return found == values.end() ? nullptr : &*found;
    };
    if (const std::string key = zrkui::shownProperty(control).toStdString(); !key.empty()) {
        return find(manual.properties, key);
    }
    const QStringList keys = zrkui::manualKey(control).split('.');
    const zrkmodel::ManualValue* value = find(manual.storedKeys, keys.front().toStdString());
    return value && keys.size() > 1 ? find(value->members, keys.back().toStdString()) : value;
}

/// The items of a list of choices say what they mean.
void explainChoices(QComboBox& combo, const zrkmodel::ManualMember& value)
{
    for (const zrkmodel::ManualChoice& choice : value.choices) {
        const auto text = [](std::string_view part) {
            return QString::fromUtf8(part.data(), static_cast<int>(part.size()));
        };
        for (const QString& name : {text(choice.name), text(choice.value).remove('"')}) {
            if (const int row = combo.findText(name, Qt::MatchFixedString); row >= 0) {
                combo.setItemData(row, text(choice.meaning), Qt::ToolTipRole);
            }
        }
    }
}

QFont weighted(QFont font, QFont::Weight weight, int morePixels)
{
    font.setWeight(weight);
    font.setPixelSize(QFontInfo(font).pixelSize() + morePixels);
    return font;
}

} // namespace

/// The icon of the type on a tile of its family's colour.
class Inspector::Tile final : public QWidget {
public:
    explicit Tile(QWidget* parent) : QWidget(parent) { setFixedSize(scaled(*this, 36), scaled(*this, 36)); }
    void show(const zrkmodel::ZRKGraphObjectRegistration* type)
    {
        _type = type;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        if (!_type) {
            return;
        }
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ZRKCSSStyle::current().header(familyOf(*_type).role));
        painter.drawRoundedRect(rect(), scaled(*this, 6), scaled(*this, 6));
        const double side = scaled(*this, 18);
        paintTypeIcon(painter, *_type, QRectF((width() - side) / 2, (height() - side) / 2, side, side));
    }

private:
    const zrkmodel::ZRKGraphObjectRegistration* _type = nullptr;
};

/// The sign of a pin by its tag: a circle, a diamond, a square, a ring.
class Inspector::PinSign final : public QWidget {
public:
    PinSign(Tag tag, QWidget* parent) : QWidget(parent), _tag(tag)
    {
        setFixedSize(scaled(*this, 14), scaled(*this, 24));
        setToolTip(nameOf(tag));
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        paintPinSign(painter, _tag, QPointF(width() / 2.0, height() / 2.0), scaled(*this, 10) / 2.0);
    }

private:
    Tag _tag;
};

Inspector::Inspector(QWidget* parent)
    : QWidget(parent),
      _name(new QLineEdit),
      _subtitle(new QLabel),
      _header(new QWidget),
      _document(new DocumentPanel),
      _empty(new QLabel),
      _area(new QScrollArea),
      _refresh(new QTimer(this)),
      _pinRefresh(new QTimer(this))
{
    setObjectName("Inspector");
    setAttribute(Qt::WA_StyledBackground);
    auto* column = new QVBoxLayout(this);
    const int margin = scaled(*this, 12);
    column->setContentsMargins(margin, scaled(*this, 8), 0, 0);
    column->setSpacing(scaled(*this, 8));

    auto* header = new QHBoxLayout(_header);
    header->setContentsMargins(0, 0, scaled(*this, 8), 0);
    header->setSpacing(scaled(*this, 8));
    _tile = new Tile(_header);
    header->addWidget(_tile);
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    _name->setObjectName("NodeName");
    _name->setFont(weighted(_name->font(), QFont::DemiBold, 2));
    _name->setAccessibleName("name of the node");
    _name->setToolTip("the node's name in this document; empty for that of its type");
    _subtitle->setProperty("zrkRole", "second");
    names->addWidget(_name);
    names->addWidget(_subtitle);
    header->addLayout(names, 1);
    auto* manual = new QToolButton(_header);
    manual->setObjectName("Link");
    manual->setText("Manual");
    manual->setIcon(icon("external"));
    manual->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    manual->setLayoutDirection(Qt::RightToLeft);
    manual->setAutoRaise(true);
    manual->setAccessibleName("manual page of the type");
    manual->setToolTip("opens the manual page of this type (F1)");
    header->addWidget(manual);
    _reset = toolButton("reset", "reset all values to those of a new node", _header);
    header->addWidget(_reset);
    _more = toolButton("more", "more about this node", _header);
    header->addWidget(_more);
    column->addWidget(_header);

    _area->setWidgetResizable(true);
    _area->setFocusPolicy(Qt::NoFocus);
    _area->setFrameShape(QFrame::NoFrame);
    _area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    column->addWidget(_area, 1);
    column->addWidget(_document);
    _empty->setProperty("zrkRole", "hint");
    _empty->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    _empty->setWordWrap(true);
    _empty->setContentsMargins(0, scaled(*this, 24), margin, 0);
    column->addWidget(_empty, 1);

    connect(manual, &QToolButton::clicked, this, [this] {
        const auto* type = _session && _shown ? typeOf(*_session, *_shown) : nullptr;
        if (type && _manual) {
            _manual(type->className);
        }
    });
    connect(_reset, &QToolButton::clicked, this, [this] { resetAll(); });
    connect(_more, &QToolButton::clicked, this, [this] { showMore(); });
    connect(_name, &QLineEdit::editingFinished, this, [this] { takeName(); });
    _refresh->setSingleShot(true);
    connect(_refresh, &QTimer::timeout, this, [this] { placeResets(); });
    _pinRefresh->setSingleShot(true);
    connect(_pinRefresh, &QTimer::timeout, this, [this] { showPins(); });
    _messages = zrkui::ZRKApp::ui().onFieldMessage([this](const zrkui::UIField& field) {
        if (_panel && _panel->isAncestorOf(&field)) {
            tellEntries();
        }
    });
    qApp->installEventFilter(this);
    show(std::nullopt);
}

Inspector::~Inspector()
{
    qApp->removeEventFilter(this);
    closePanel();
}

void Inspector::setSession(EditSession* session)
{
    _edits.disconnect();
    show(std::nullopt);
    _session = session;
    _document->setSession(session);
    if (session) {
        _edits = session->addListener([this](const EditEvent& event) { follow(event); });
    }
    followSelection();
}

void Inspector::follow(const EditEvent& event)
{
    using Kind = EditEvent::Kind;
    const bool isMine = _shown && event.node == *_shown;
    switch (event.kind) {
    case Kind::Document:
        _document->display();
        break;
    case Kind::Replaced:
        _document->display();
        show(std::nullopt);
        followSelection();
        break;
    case Kind::Selection:
        followSelection();
        break;
    case Kind::NodeRemoved:
        if (isMine) {
            show(std::nullopt);
            followSelection();
        } else {
            _pinRefresh->start(0);
        }
        break;
    case Kind::LinkAdded:
    case Kind::LinkRemoved:
        _pinRefresh->start(0); // a paste makes hundreds
        break;
    case Kind::MemberChanged:
        if (isMine) {
            showHeader();
        }
        if (event.key == "label") {
            _pinRefresh->start(0);
        }
        break;
    case Kind::ValueChanged:
        if (isMine) {
            _areValuesNew = true;
            _refresh->start(0);
        }
        break;
    default:
        break;
    }
}

/// The last of several selected nodes is shown.
void Inspector::followSelection()
{
    const auto& selection = _session ? _session->selection() : std::vector<std::uint16_t>();
    std::optional<std::uint16_t> node;
    if (!selection.empty() && _session->document().graph()->getNodePtr(selection.back())) {
        node = selection.back();
    }
    if (node != _shown || !node) {
        show(node);
    }
}

void Inspector::closePanel()
{
    endGesture();
    _resets.clear();
    _outputs.clear();
    _pins = nullptr;
    _pinColumn = nullptr;
    _speed = nullptr;
    if (_panel && _object) {
        _object->onInspectionEnd(_panel);
    }
    _panel = nullptr;
    _object.reset();
    _fresh.reset();
    if (QWidget* holder = _area->takeWidget()) {
        if (holder->isAncestorOf(QApplication::focusWidget())) {
            setFocus(Qt::OtherFocusReason); // else the next widget has it: a search box, which opens its list
        }
        // A control of it may be what called us.
        holder->hide();
        holder->setParent(nullptr);
        holder->deleteLater();
    }
    if (_shown && _entries) {
        _entries({});
    }
    _shown.reset();
}

void Inspector::show(std::optional<std::uint16_t> id)
{
    closePanel();
    const auto node = id && _session ? _session->document().graph()->node(*id) : zrkmodel::ZRKGraph::Node();
    const bool isShown = node.isAlive();
    _header->setVisible(isShown);
    _area->setVisible(isShown);
    _document->setVisible(!isShown && _session);
    _empty->setVisible(!isShown);
    if (!isShown) {
        _empty->setText(_session ? QString("Select a node to see its values.") : QString());
        return;
    }
    const Doing doing("opening a panel");
    _shown = id;
    _object = node.object();
    _fresh = zrkmodel::freshTwin(*_object);
    auto* holder = new QWidget;
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, 0, scaled(*this, 12));
    column->setSpacing(scaled(*this, 8));
    auto* row = new QHBoxLayout;
    row->setContentsMargins(0, 0, scaled(*this, kResetColumn), 0);
    _panel = new zrkui::ZRKPropertyView(holder);
    _panel->setMargins(0);
    row->addWidget(_panel);
    column->addLayout(row);
    _pins = new QWidget(holder);
    _pinColumn = new QVBoxLayout(_pins);
    _pinColumn->setContentsMargins(0, 0, scaled(*this, 12), 0);
    _pinColumn->setSpacing(scaled(*this, 2));
    column->addWidget(_pins);
    column->addStretch(1);
    inspect(node);
    _holder = holder;
    _area->setWidget(holder);
    showHeader();
    showPins();
    fitWidth();
    _areValuesNew = true;
    _refresh->start(0);
}

/// Fills the panel. Looking at a node mustn't take away what it was given: a component that lets go of an
/// import then gets it back.
void Inspector::inspect(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node)
{
    auto* holder = dynamic_cast<zrkmodel::ZRKDataHolder*>(_object.get());
    const zrkmodel::ZRKJson* entry = _session->entry(node.id());
    if (!holder || !entry || !entry->contains("import")) {
        _object->onInspection(_panel, node);
        return;
    }
    const zrkmodel::ZRKHeldData held = holder->held();
    _object->onInspection(_panel, node);
    if (!(holder->held() == held)) {
        holder->hold(held);
    }
}

/// Gives a control of the panel a tool tip where it has none of its own.
void Inspector::explain(QWidget& control)
{
    const auto* type = typeOf(*_session, *_shown);
    const auto* value = type ? manualOf(control, zrkmodel::manualOf(*type)) : nullptr;
    if (auto* combo = qobject_cast<QComboBox*>(&control); combo && value) {
        explainChoices(*combo, *value);
    }
    if (!control.toolTip().isEmpty()) {
        return;
    }
    if (value) {
        control.setToolTip(tipOf(*value));
    } else if (const QString hint = zrkui::hintOf(control); !hint.isEmpty()) {
        control.setToolTip(hint);
    }
}

/// No panel is cut at its right.
void Inspector::fitWidth()
{
    const int wanted = _area->widget()->minimumSizeHint().width() + scaled(*this, 12);
    _area->setMinimumWidth(std::max(scaled(*this, kLeastPanelWidth), wanted));
}

void Inspector::showHeader()
{
    const auto* type = typeOf(*_session, *_shown);
    _tile->show(type);
    if (!_name->hasFocus() || !_name->isModified()) {
        _name->setText(nameOf(*_session, *_shown));
        _name->setCursorPosition(0);
    }
    _name->setPlaceholderText(type ? type->strings.title : "");
    _subtitle->setText(type
                           ? QString::fromUtf8("%1  ·  %2")
                                 .arg(QString::fromStdString(type->info.name), QString(familyOf(*type).title))
                           : QString());
}

void Inspector::takeName()
{
    if (!_session || !_shown || !_name->isModified()) {
        return;
    }
    _name->setModified(false);
    const auto* type = typeOf(*_session, *_shown);
    QString text = _name->text().simplified();
    if (type && text == type->strings.title) {
        text.clear();
    }
    tell(_session->setLabel(*_shown, text.toStdString()));
    if (_shown) {
        showHeader();
    }
}

QWidget* Inspector::headingOf(const QString& title, QLabel** second)
{
    auto* heading = new QWidget(_pins);
    auto* column = new QVBoxLayout(heading);
    column->setContentsMargins(0, scaled(*this, 8), 0, scaled(*this, 2));
    column->setSpacing(scaled(*this, 8));
    auto* line = new QFrame(heading);
    line->setObjectName("Line");
    line->setFixedHeight(1);
    column->addWidget(line);
    auto* row = new QHBoxLayout;
    auto* label = new QLabel(title, heading);
    label->setProperty("zrkRole", "title");
    *second = new QLabel(heading);
    (*second)->setProperty("zrkRole", "hint");
    row->addWidget(label);
    row->addStretch(1);
    row->addWidget(*second);
    column->addLayout(row);
    return heading;
}

void Inspector::showPins()
{
    if (!_pins || !_shown) {
        return;
    }
    const auto record = _session->document().graph()->getNodePtr(*_shown);
    if (!record) {
        return;
    }
    _outputs.clear();
    while (QLayoutItem* item = _pinColumn->takeAt(0)) {
        if (QWidget* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
    if (!record->inputs.empty()) {
        QLabel* second = nullptr;
        _pinColumn->addWidget(headingOf(record->inputs.size() == 1 ? "Input" : "Inputs", &second));
        for (const zrkmodel::ZRKGraphPin& pin : record->inputs) {
            addInput(pin);
        }
    }
    if (!record->outputs.empty()) {
        _pinColumn->addWidget(headingOf(record->outputs.size() == 1 ? "Output" : "Outputs", &_speed));
        for (const zrkmodel::ZRKGraphPin& pin : record->outputs) {
            addOutput(pin);
        }
    }
    if (_rangesWanted) {
        _rangesWanted(*_shown);
    }
}

void Inspector::addInput(const zrkmodel::ZRKGraphPin& pin)
{
    auto* line = new QWidget(_pins);
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(scaled(*this, 6));
    const auto& graph = _session->document().graph();
    row->addWidget(new PinSign(zrkmodel::effectiveTag(graph->pin_ref(pin.handle)), line));
    auto* name = new QLabel(QString::fromStdString(pin.name), line);
    name->setFixedWidth(scaled(*this, 96));
    row->addWidget(name);
    const QString value = pin.defaultValue.isEmpty() || pin.tag != Tag::Scalar
                              ? QString()
                              : zrkui::textOfNumber(pin.defaultValue.components[0], 4);
    if (!pin.connections.empty()) {
        if (!value.isEmpty()) {
            auto* field = new QLabel(value, line);
            field->setObjectName("OverriddenValue");
            field->setProperty("zrkRole", "hint");
            field->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            field->setFixedSize(scaled(*this, 64), scaled(*this, 24));
            field->setAccessibleName(name->text() + ", value while nothing is linked");
            field->setToolTip("a link takes the place of this value");
            row->addWidget(field);
        }
        const zrkmodel::Pin_handle from = pin.connections.front();
        auto* link = new QToolButton(line);
        link->setObjectName("Link");
        link->setAutoRaise(true);
        link->setIcon(icon("lock"));
        link->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        const QString source = nameOf(*_session, {from.node(), from.index()});
        link->setText(" set by " +
                      link->fontMetrics().elidedText(source, Qt::ElideMiddle, scaled(*this, kLongestSource)));
        link->setAccessibleName(name->text() + " is set by " + source);
        link->setToolTip("selects " + source);
        connect(link, &QToolButton::clicked, this, [this, node = from.node()] {
            if (_nodeWanted) {
                _nodeWanted(node);
            }
        });
        row->addWidget(link);
    } else {
        // The value is the type's own: no document can have another one.
        auto* text = new QLabel(pin.allowsPassthrough() ? "reads the position"
                                : value.isEmpty()       ? "nothing arrives: reads 0 with weight 0"
                                                  : QString("reads %1 while nothing is linked").arg(value),
                                line);
        text->setObjectName("UnlinkedInput");
        text->setProperty("zrkRole", "hint");
        row->addWidget(text);
    }
    row->addStretch(1);
    _pinColumn->addWidget(line);
}

void Inspector::addOutput(const zrkmodel::ZRKGraphPin& pin)
{
    const auto node = _session->document().graph()->node(*_shown);
    const Tag tag = node.object()->queryEffectiveOutputPinTag(zrkmodel::Pin_ref<1>{node, pin.handle});
    auto* line = new QWidget(_pins);
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(scaled(*this, 6));
    row->addWidget(new PinSign(tag, line));
    auto* name = new QLabel(QString::fromStdString(pin.name), line);
    name->setFixedWidth(scaled(*this, 96));
    row->addWidget(name);
    auto* kind =
        new QLabel(tag == Tag::None || tag == Tag::Any ? "no type yet: link an input" : nameOf(tag), line);
    kind->setProperty("zrkRole", "second");
    row->addWidget(kind);
    row->addStretch(1);
    auto* range = new QLabel(line);
    range->setAccessibleName("range of " + name->text());
    range->setToolTip("the least and the greatest value in the document's bounds");
    row->addWidget(range);
    _outputs.push_back(range);
    _pinColumn->addWidget(line);
}

void Inspector::showOutput(std::uint8_t output, const QString& text)
{
    if (output < _outputs.size()) {
        _outputs[output]->setText(text);
    }
}

void Inspector::showSpeed(const QString& text)
{
    if (_speed && _pins) {
        _speed->setText(text);
    }
}

/// Beside each field whose value isn't that of a new node stands a button that makes it so.
void Inspector::placeResets()
{
    const Doing doing("comparing values with those of a new node");
    if (!_panel || !_shown || !_holder) {
        return;
    }
    std::map<QWidget*, QToolButton*> resets;
    for (auto* control : _panel->findChildren<QWidget*>()) {
        const QString key = zrkui::shownProperty(*control);
        const zrkmodel::ZRKPropertyBase* property = _object->findProperty(key.toStdString());
        const zrkmodel::ZRKPropertyBase* fresh = _fresh ? _fresh->findProperty(key.toStdString()) : nullptr;
        if (key.isEmpty() || !property || !fresh || !control->isVisibleTo(_panel) ||
            property->valueJson() == fresh->valueJson()) {
            continue;
        }
        const QPoint place = control->mapTo(_holder.data(), QPoint(0, control->height() / 2));
        auto known = _resets.find(control);
        QToolButton* button = known == _resets.end() ? nullptr : known->second;
        if (!button) {
            button = toolButton("reset",
                                "reset " + key + " to " + QString::fromStdString(fresh->valueJson().dump()),
                                _holder);
            button->setFixedSize(scaled(*this, 24), scaled(*this, 24));
            connect(button, &QToolButton::clicked, this, [this, key] { resetValue(key.toStdString()); });
        } else {
            _resets.erase(known);
        }
        button->move(_panel->geometry().right() + scaled(*this, 3), place.y() - button->height() / 2);
        button->show();
        resets.emplace(control, button);
    }
    for (const auto& gone : _resets) {
        gone.second->hide();
        gone.second->deleteLater();
    }
    _resets = std::move(resets);
    if (std::exchange(_areValuesNew, false)) {
        _reset->setEnabled(!hasFreshValues());
    }
}

/// Whether all values are those of a new node.
bool Inspector::hasFreshValues() const
{
    const auto isFresh = [&](const zrkmodel::ZRKPropertyBase* property) {
        const zrkmodel::ZRKPropertyBase* fresh = _fresh->findProperty(property->name());
        return fresh && property->valueJson() == fresh->valueJson();
    };
    // What is stored besides, such as a list, may be long.
    return _fresh && std::all_of(_object->properties().begin(), _object->properties().end(), isFresh) &&
           zrkmodel::storedForm(*_object) == zrkmodel::storedForm(*_fresh);
}

void Inspector::resetValue(const std::string& key)
{
    const zrkmodel::ZRKPropertyBase* fresh = _fresh ? _fresh->findProperty(key) : nullptr;
    if (_session && _shown && fresh) {
        const ZRKJson value = fresh->valueJson();
        tell(_session->setValue(*_shown, key, value.is_null() ? ZRKJson("") : value));
    }
}

void Inspector::resetAll()
{
    if (!_session || !_shown || !_fresh) {
        return;
    }
    const ZRKJson now = zrkmodel::storedForm(*_object);
    const ZRKJson defaults = zrkmodel::storedForm(*_fresh);
    const std::uint16_t node = *_shown;
    const std::string name = "Reset " + nameOf(*_session, node).toStdString();
    tell(_session->macro(name, [&]() -> zrk::Result<void> {
        for (const std::string& key : zrkmodel::keysOf(defaults)) {
            if (now.contains(key) && now[key] == defaults[key]) {
                continue;
            }
            const ZRKJson& value = defaults[key];
            if (auto done = _session->setValue(node, key, value.is_null() ? ZRKJson("") : value); !done) {
                return done;
            }
        }
        return {};
    }));
}

void Inspector::showMore()
{
    QMenu menu(this);
    menu.addActions(_actions);
    if (_session && _shown) {
        if (!_actions.isEmpty()) {
            menu.addSeparator();
        }
        menu.addAction("Name it after its type", this, [this] { tell(_session->setLabel(*_shown, "")); })
            ->setEnabled(_session->entry(*_shown)->contains("label"));
        menu.addAction(QString("Node %1").arg(*_shown))->setEnabled(false);
    }
    menu.exec(_more->mapToGlobal(QPoint(0, _more->height())));
}

void Inspector::tellEntries()
{
    std::vector<Problem> problems;
    for (const auto* widget : _panel->findChildren<QWidget*>()) {
        const auto* field = dynamic_cast<const zrkui::UIField*>(widget);
        if (!field || field->message().empty()) {
            continue;
        }
        Problem problem;
        problem.kind = Problem::Kind::Error;
        problem.node = _shown;
        problem.place =
            nameOf(*_session, *_shown) + QString::fromUtf8(" · ") + QString::fromStdString(field->caption());
        problem.finding = QString::fromStdString(field->message());
        problem.actionText = "Edit";
        problem.action = [control = QPointer<QWidget>(field->control())] {
            if (control) {
                control->setFocus(Qt::OtherFocusReason);
            }
        };
        problems.push_back(std::move(problem));
    }
    if (_entries) {
        _entries(std::move(problems));
    }
}

void Inspector::onSaid(std::function<void(const zrk::Fault&)> listener)
{
    _document->onSaid(listener);
    _said = std::move(listener);
}

void Inspector::tell(const zrk::Result<void>& result)
{
    if (!result && _said) {
        _said(result.error());
    }
}

void Inspector::endGesture()
{
    if (std::exchange(_isGesture, false) && _session) {
        _session->endGesture();
    }
}

bool Inspector::eventFilter(QObject* watched, QEvent* event)
{
    if (!_session) {
        return false;
    }
    const auto isWithin = [&](const QWidget* panel) {
        auto* widget = qobject_cast<QWidget*>(watched);
        return panel && widget && panel->isAncestorOf(widget);
    };
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (!_isGesture && static_cast<QMouseEvent&>(*event).button() == Qt::LeftButton &&
            (isWithin(_panel) || isWithin(_document))) {
            // What is typed elsewhere is a step of its own.
            auto* typed = ancestorOf<zrkui::NumberField>(QApplication::focusWidget());
            if (typed && typed != ancestorOf<zrkui::NumberField>(watched)) {
                typed->takeTyped();
            }
            _isGesture = true;
            _session->beginGesture();
        }
        break;
    case QEvent::MouseButtonRelease:
        if (_isGesture && static_cast<QMouseEvent&>(*event).button() == Qt::LeftButton) {
            // What the release itself does still belongs to it.
            QTimer::singleShot(0, this, [this] { endGesture(); });
        }
        break;
    case QEvent::Polish: // is new, as are the items of a list that come into sight
        if (_shown && isWithin(_panel)) {
            explain(static_cast<QWidget&>(*watched));
        }
        break;
    case QEvent::LayoutRequest:
    case QEvent::Resize:
        if (_panel && (watched == _panel || isWithin(_panel))) {
            _refresh->start(0);
        }
        break;
    default:
        break;
    }
    return false;
}

} // namespace zrkworkbench
