#pragma once

#include "apps/workbench/window/problems.h"
#include "host/editing/edit_session.h"
#include "model/signal.h"

#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QScrollArea;
class QTimer;
class QToolButton;
class QVBoxLayout;

namespace zrkui {
class UIField;
class ZRKPropertyView;
} // namespace zrkui

namespace zrkworkbench {

class DocumentPanel;

/// The panel of the selected node under a header with its name, its manual page and what can be done with it;
/// beneath, what arrives at its inputs and what its outputs give. While no node is selected, the values of
/// the document.
///
/// All that a button of the mouse does in a panel, from press to release, is one step of the history.
class Inspector : public QWidget {
public:
    explicit Inspector(QWidget* parent = nullptr);
    ~Inspector() override;

    /// Null for none. The session must outlive its use here.
    void setSession(zrkmodel::EditSession* session);
    std::optional<std::uint16_t> shownNode() const { return _shown; }
    /// The panel of the node that is shown; null for none.
    zrkui::ZRKPropertyView* panel() const { return _panel; }

    /// What an output's line tells besides its name and tag: a range, or why there is none.
    void showOutput(std::uint8_t output, const QString& text);
    void showSpeed(const QString& text);

    void onManual(std::function<void(const std::string& className)> listener)
    {
        _manual = std::move(listener);
    }
    void onNodeWanted(std::function<void(std::uint16_t)> listener) { _nodeWanted = std::move(listener); }
    /// Called when lines of outputs are new and their ranges unknown.
    void onRangesWanted(std::function<void(std::uint16_t)> listener) { _rangesWanted = std::move(listener); }
    /// Called with what was entered wrongly in the panel's fields, whenever that changes.
    void onEntryProblems(std::function<void(std::vector<Problem>)> listener)
    {
        _entries = std::move(listener);
    }
    void onSaid(std::function<void(const zrk::Fault&)> listener);
    /// Actions of the "more" menu besides its own.
    void setNodeActions(const QList<QAction*>& actions) { _actions = actions; }

    /// The values of the document, shown or not.
    DocumentPanel& document() { return *_document; }
    /// Gives all values of the shown node those of a new one, in one step.
    void resetAll();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Tile;
    class PinSign;
    zrkmodel::EditSession* _session = nullptr;
    nod::scoped_connection _edits;
    nod::scoped_connection _messages;
    std::optional<std::uint16_t> _shown;
    std::shared_ptr<zrkmodel::ZRKGraphObject> _object; ///< of the shown node, also after it is removed
    std::shared_ptr<zrkmodel::ZRKGraphObject> _fresh;  ///< one with the defaults
    QPointer<QWidget> _holder;
    zrkui::ZRKPropertyView* _panel = nullptr;
    bool _isGesture = false;
    bool _areValuesNew = false; ///< since they were compared with those of a new node

    Tile* _tile;
    QLineEdit* _name;
    QLabel* _subtitle;
    QWidget* _header;
    QToolButton* _reset;
    QToolButton* _more;
    DocumentPanel* _document;
    QLabel* _empty;
    QScrollArea* _area;
    QWidget* _pins = nullptr;
    QVBoxLayout* _pinColumn = nullptr;
    QLabel* _speed = nullptr;
    std::vector<QLabel*> _outputs;
    std::map<QWidget*, QToolButton*> _resets; ///< by the field that they stand beside
    QTimer* _refresh;
    QTimer* _pinRefresh; ///< gathers the links of one turn of the event loop
    QList<QAction*> _actions;

    std::function<void(const std::string&)> _manual;
    std::function<void(std::uint16_t)> _nodeWanted;
    std::function<void(std::uint16_t)> _rangesWanted;
    std::function<void(std::vector<Problem>)> _entries;
    std::function<void(const zrk::Fault&)> _said;

    void follow(const zrkmodel::EditEvent& event);
    void followSelection();
    void show(std::optional<std::uint16_t> node);
    void closePanel();
    void showHeader();
    void showPins();
    QWidget* headingOf(const QString& title, QLabel** second);
    void addInput(const zrkmodel::ZRKGraphPin& pin);
    void addOutput(const zrkmodel::ZRKGraphPin& pin);
    void placeResets();
    bool hasFreshValues() const;
    void resetValue(const std::string& key);
    void takeName();
    void showMore();
    void tellEntries();
    void tell(const zrk::Result<void>& result);
    void inspect(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node);
    void explain(QWidget& control);
    void fitWidth();
    void endGesture();
};

} // namespace zrkworkbench
