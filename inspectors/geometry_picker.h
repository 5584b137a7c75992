#pragma once

#include "core/values/export.h"
#include "inspectors/described.h"
#include "model/document.h"
#include "model/signal.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class QLabel;
class QPushButton;

namespace zrkui {

/// Picks geometries of the open document: a thumbnail and a button whose menu lists what there is.
class ZRK_API ZRKGeometryPicker : public QWidget, public UIDescribed {
public:
    using Selection = std::vector<std::shared_ptr<zrkmodel::ZRKGeometry>>;
    static constexpr int kNoLimit = 0;
    static constexpr int kThumbnail = 128; ///< pixels

    /// @param filter   kinds of geometry, added up (zrkmodel::kPointGeometry ...).
    /// @param limit    how many may be selected.
    /// @param initial  selected at first; null entries are left out.
    ZRKGeometryPicker(unsigned filter, int limit, const Selection& initial, QWidget* parent = nullptr);

    const Selection& selectedObjects() const { return _selection; }
    /// The listener is called when the user has selected otherwise.
    void onSelectionChanged(std::function<void()> listener) { _changed.connect(std::move(listener)); }
    /// Shows another selection without calling the listeners.
    void display(const Selection& selection);
    /// What a choice in the menu does: adds or removes one, or with a limit of 1 takes its place; null
    /// selects nothing.
    void choose(const std::shared_ptr<zrkmodel::ZRKGeometry>& geometry);

    void setThumbnail(const Selection& objects, int size = kThumbnail);
    void unsetThumbnail();
    bool hasThumbnail() const;

    void describe(zrkmodel::ZRKJson& out) const override;

private:
    unsigned _filter;
    int _limit;
    Selection _selection;
    QLabel* _thumbnail;
    QPushButton* _button;
    nod::signal<void()> _changed;

    void fillMenu();
    void showName();
};

} // namespace zrkui
