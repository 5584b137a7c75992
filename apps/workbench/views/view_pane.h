#pragma once

#include "apps/workbench/views/preview_service.h"
#include "apps/workbench/views/view_source.h"

#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class QMenu;
class QStackedWidget;
class QTimer;

namespace zrkworkbench {

class IconButton;
class SliceView;
class SolidView;
class TabButton;

/// What is shown and how long it took, for the status line.
struct ViewTiming {
    bool isSolid = false;
    bool isNewest = true;            ///< else of an edit before the last one
    QSize pixels;                    ///< of the picture that stands
    QSize wanted;                    ///< and of the one that it becomes
    double firstMilliseconds = 0;    ///< until the first picture stood
    double milliseconds = 0;         ///< until this one did
    double nanosecondsPerSample = 0; ///< 0 where that isn't known
    std::size_t workers = 1;
    bool isDone = false; ///< the newest, in full
};

/// What the gradients of an output that is called a distance are like in the slice.
struct FieldNote {
    zrkmodel::PinAddress pin;
    QString name; ///< of the output, for its reader
    SlopeShare slopes;

    bool isRemarkable() const { return slopes.isRemarkable; }
    QString text() const;   ///< "a level set, not a distance: |∇| 0.1 ... 9.4"
    QString remedy() const; ///< what can be done about it
};

/// The views of an output, a slice and a solid, under tabs.
///
/// Keys, where no field has them: 1 and 2 the tabs, x, y and z the axis, the arrows move the slice or turn
/// the solid, + and - zoom, Home shows the whole.
class ViewPane : public QWidget {
public:
    enum class Tab { Slice, Solid };

    explicit ViewPane(QWidget* parent = nullptr);
    ~ViewPane() override;

    /// Shows an output as it is now; the newest wins. Its evaluators are built before this returns.
    void show(const ViewSource& source);
    using QWidget::show;
    /// A message in place of a picture: why there is nothing to show.
    void say(const QString& text, const QString& name = "nothing");
    /// Draws the same again: an import may have changed what it reads.
    void refresh();

    Tab tab() const { return _tab; }
    void setTab(Tab tab);
    /// True once all of what was asked for last is shown.
    bool isSettled() const { return _isSettled; }
    /// The position that wires are probed at: the one the pointer was at last, else the middle of the slice.
    zrk::Tensor<3, double> probe() const;
    int axis() const;

    PreviewService& previews() { return *_previews; }
    SliceView& slice() { return *_slice; }
    SolidView& solid() { return *_solid; }
    /// The menu of the outputs that can be chosen, which the window fills.
    QMenu* sourceMenu() { return _menu; }

    void onReadout(std::function<void(const Readout&)> listener) { _readout = std::move(listener); }
    void onTimed(std::function<void(const ViewTiming&)> listener) { _timed = std::move(listener); }
    /// Told after each slice of an output that is called a distance.
    void onFieldNote(std::function<void(const FieldNote&)> listener) { _fieldNote = std::move(listener); }
    /// The view wants to fill the window, or no longer.
    void onFullPane(std::function<void(bool isFull)> listener);
    void setFullPane(bool isFull);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    class SourceButton;
    TabButton* _tabs[2];
    SourceButton* _chooser;
    IconButton* _full;
    QMenu* _menu;
    QStackedWidget* _stack;
    SliceView* _slice;
    SolidView* _solid;
    QTimer* _refresh; ///< gathers the wishes of one turn of the event loop
    Tab _tab = Tab::Slice;
    bool _isSettled = true;
    bool _hasPicture = false; ///< of the newest request: then what its field puts off is done
    std::optional<ViewSource> _source;
    zrk::PreparedField _field;
    std::optional<zrk::Tensor<3, double>> _pointed;
    std::optional<zrk::Tensor<3, double>> _probe;
    ViewTiming _timing;
    std::function<void(const Readout&)> _readout;
    std::function<void(const ViewTiming&)> _timed;
    std::function<void(const FieldNote&)> _fieldNote;
    std::unique_ptr<PreviewService> _previews;

    void want();
    void request();
    void show(const SlicePreview& preview, bool isNewest);
    void show(const SolidPreview& preview, bool isNewest);
    void tellTiming(QSize pixels, double milliseconds, bool isDone);
    void point(std::optional<zrk::Tensor<3, double>> position);
    void askReadout();
    bool takeKey(const QKeyEvent& event);
    void stepBy(double x, double y, Qt::KeyboardModifiers modifiers);
};

} // namespace zrkworkbench
