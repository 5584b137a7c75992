#include "inspectors/geometry_picker.h"

#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/images.h"
#include "inspectors/wrappers.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>

#include <algorithm>

namespace zrkui {

using zrkmodel::ZRKGeometry;

namespace {

std::vector<zrkmodel::ZRKNamedResource<ZRKGeometry>> available(unsigned filter)
{
    const zrkmodel::ZRKDocument* document = ZRKApp::ui().document();
    return document ? document->geometries(filter) : std::vector<zrkmodel::ZRKNamedResource<ZRKGeometry>>();
}

} // namespace

ZRKGeometryPicker::ZRKGeometryPicker(unsigned filter, int limit, const Selection& initial, QWidget* parent)
    : QWidget(parent),
      _filter(filter),
      _limit(limit),
      _thumbnail(new QLabel(this)),
      _button(new UIPickButton(this))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(scaled(*this, 8));
    const int side = scaled(*this, 32);
    _thumbnail->setFixedSize(side, side);
    _thumbnail->setAlignment(Qt::AlignCenter);
    _thumbnail->setObjectName("Thumbnail");
    row->addWidget(_thumbnail);
    row->addWidget(_button, 1);
    connect(_button->menu(), &QMenu::aboutToShow, this, [this] { fillMenu(); });
    setFocusProxy(_button);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    display(initial);
}

void ZRKGeometryPicker::display(const Selection& selection)
{
    _selection = selection;
    _selection.erase(std::remove(_selection.begin(), _selection.end(), nullptr), _selection.end());
    if (_selection.empty()) {
        unsetThumbnail();
    } else {
        setThumbnail(_selection);
    }
    showName();
}

void ZRKGeometryPicker::choose(const std::shared_ptr<ZRKGeometry>& geometry)
{
    const auto found = std::find(_selection.begin(), _selection.end(), geometry);
    if (!geometry) {
        _selection.clear();
    } else if (_limit == 1) {
        _selection = {geometry};
    } else if (found != _selection.end()) {
        _selection.erase(found);
    } else if (_limit == kNoLimit || static_cast<int>(_selection.size()) < _limit) {
        _selection.push_back(geometry);
    }
    showName();
    _changed();
}

void ZRKGeometryPicker::setThumbnail(const Selection& objects, int size)
{
    const QImage image = geometryThumbnail(objects, size);
    const double ratio = devicePixelRatioF();
    QPixmap pixmap = QPixmap::fromImage(image);
    if (!pixmap.isNull()) {
        const int side = static_cast<int>((_thumbnail->width() - 4) * ratio);
        pixmap = pixmap.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(ratio);
    }
    _thumbnail->setPixmap(pixmap);
}

void ZRKGeometryPicker::unsetThumbnail() { _thumbnail->clear(); }

bool ZRKGeometryPicker::hasThumbnail() const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return !_thumbnail->pixmap().isNull();
#else
    return !_thumbnail->pixmap(Qt::ReturnByValue).isNull();
#endif
}

void ZRKGeometryPicker::fillMenu()
{
    QMenu& menu = *_button->menu();
    menu.clear();
    connect(menu.addAction("none"), &QAction::triggered, this, [this] { choose(nullptr); });
    const auto entries = available(_filter);
    if (entries.empty()) {
        menu.addAction("the document has nothing to pick")->setEnabled(false);
    }
    for (const auto& entry : entries) {
        QAction* action = menu.addAction(QString::fromStdString(entry.name));
        action->setCheckable(true);
        action->setChecked(std::find(_selection.begin(), _selection.end(), entry.object) != _selection.end());
        connect(action, &QAction::triggered, this, [this, object = entry.object] { choose(object); });
    }
}

void ZRKGeometryPicker::showName()
{
    QStringList names;
    const auto entries = available(_filter);
    for (const auto& object : _selection) {
        const auto entry = std::find_if(entries.begin(), entries.end(),
                                        [&](const auto& candidate) { return candidate.object == object; });
        names << QString::fromStdString(entry == entries.end() ? object->uuid().text() : entry->name);
    }
    const QString text = names.isEmpty() ? QString("none") : names.join(", ");
    _button->setText(text);
    _button->setAccessibleDescription(text);
}

void ZRKGeometryPicker::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "geometry";
    if (_selection.empty()) {
        out["value"] = nullptr;
    } else {
        out["value"] = _selection.front()->uuid().text();
    }
    if (_filter != zrkmodel::kAnyGeometry) {
        out["filter"] = _filter;
    }
    if (_limit != kNoLimit) {
        out["limit"] = _limit;
    }
}

} // namespace zrkui
