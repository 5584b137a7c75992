#pragma once

#include "host/editing/edit_session.h"

#include <QWidget>

#include <functional>

namespace zrkui {
class QComboBoxWrapper;
template <int N>
class VectorWidget;
} // namespace zrkui

namespace zrkworkbench {

/// The values of a document as a whole: the bounds that views show and exports write, and its unit.
class DocumentPanel : public QWidget {
public:
    explicit DocumentPanel(QWidget* parent = nullptr);

    /// Null for none. The session must outlive its use here.
    void setSession(zrkmodel::EditSession* session);
    /// Shows what the document has now.
    void display();
    void onSaid(std::function<void(const zrk::Fault&)> listener) { _said = std::move(listener); }

private:
    zrkmodel::EditSession* _session = nullptr;
    zrkui::VectorWidget<3>* _lower;
    zrkui::VectorWidget<3>* _upper;
    zrkui::QComboBoxWrapper* _unit;
    std::function<void(const zrk::Fault&)> _said;

    void takeBounds(zrkui::VectorWidget<3>& edited);
    void takeUnit(int index);
    void set(const char* key, std::optional<zrkmodel::ZRKJson> value);
};

} // namespace zrkworkbench
