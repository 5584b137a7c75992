#pragma once

#include "core/values/export.h"
#include "inspectors/described.h"
#include "inspectors/file_request.h"
#include "inspectors/ui_rect.h"
#include "model/signal.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zrkui {

class ZRKPropertyView;

class ZRK_API QLabelWrapper : public QLabel, public UIDescribed {
public:
    explicit QLabelWrapper(const std::string& text, QWidget* parent = nullptr);
    void describe(zrkmodel::ZRKJson& out) const override;
};

class ZRK_API QPushButtonWrapper : public QPushButton, public UIDescribed {
public:
    explicit QPushButtonWrapper(const std::string& text, QWidget* parent = nullptr);
    /// The listener is called with each click. What it throws is told beside the button.
    void connectToListener(std::function<void()> listener);
    /// What the dialog that the button opens asks for.
    void setDialog(const FileRequest& request) { _dialog = request; }
    void describe(zrkmodel::ZRKJson& out) const override;

private:
    std::optional<FileRequest> _dialog;
};

/// Shows what is picked, cut in its middle where room is short, and opens a menu to pick from.
class ZRK_API UIPickButton : public QPushButton {
public:
    explicit UIPickButton(QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A choice by index. An index outside of the list is shown as no choice.
class ZRK_API QComboBoxWrapper : public QComboBox, public UIDescribed {
public:
    QComboBoxWrapper(const std::vector<std::string>& labels, int index, QWidget* parent = nullptr);
    /// The listener is called with each new choice, of the user or by QComboBox's own operations.
    void connectToListener(std::function<void(const int&)> listener) { _chosen.connect(std::move(listener)); }
    /// Shows another choice without calling the listeners.
    void display(int index);
    void describe(zrkmodel::ZRKJson& out) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    nod::signal<void(const int&)> _chosen;
};

class ZRK_API QCheckBoxWrapper : public QCheckBox, public UIDescribed {
public:
    QCheckBoxWrapper(const std::string& text, bool value, QWidget* parent = nullptr);
    void connectToListener(std::function<void(const bool&)> listener) { _set.connect(std::move(listener)); }
    void display(bool value);
    void describe(zrkmodel::ZRKJson& out) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    nod::signal<void(const bool&)> _set;
};

/// Pages behind tabs, each a view of its own.
class ZRK_API TabHelper : public QTabWidget {
public:
    explicit TabHelper(const std::vector<std::string>& labels, QWidget* parent = nullptr);
    /// The view of the i-th page.
    ZRKPropertyView& page(int i) const;
    /// Called with the index of the page that comes to the front.
    void connectToListener(std::function<void(const int&)> listener);
};

/// A button that opens a menu of actions.
class ZRK_API ZRKOptionsButton : public QPushButton, public UIDescribed {
public:
    explicit ZRKOptionsButton(QWidget* parent = nullptr);
    /// Adds an action, or a heading when the action is empty.
    void addEntry(const std::string& text, std::function<void()> action);
    void describe(zrkmodel::ZRKJson& out) const override;
};

ZRK_API zrkmodel::ZRKJson describeDialog(const FileRequest& request);

} // namespace zrkui
