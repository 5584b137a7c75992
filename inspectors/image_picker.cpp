#include "inspectors/image_picker.h"

#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/images.h"
#include "inspectors/wrappers.h"

#include <QMenu>
#include <QPainter>
#include <QPointer>

#include <utility>

namespace zrkui {

namespace {

constexpr int kIcon = 32;
constexpr int kSide = 96;       ///< pixels at scale 1
constexpr int kLeast = 80;      ///< height, likewise
constexpr int kMostShown = 512; ///< pixels of a picture along a side, of which the shown ones are made

const FileRequest& pictureRequest()
{
    static const FileRequest request{FileRequest::Mode::files, "open picture",
                                     "Image Files (*.png *.jpg *.jpeg *.tif *.tiff)"};
    return request;
}

} // namespace

ZRKImagePicker::ZRKImagePicker(const Image& image, int flags, QWidget* parent)
    : QPushButton(parent),
      _canBeEmptied((flags & 1) != 0),
      _picked(std::make_shared<nod::signal<void(const Image&)>>())
{
    setAutoDefault(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    // The sheet's height is that of a line of text, and it wins over what is asked of the widget.
    setStyleSheet(QString("QPushButton { min-height: %1px; max-height: %2px; }")
                      .arg(scaled(*this, kLeast) - 2)
                      .arg(scaled(*this, kSide)));
    setMenu(new QMenu(this));
    connect(menu(), &QMenu::aboutToShow, this, [this] { fillMenu(); });
    display(image);
}

void ZRKImagePicker::display(const Image& image)
{
    _image = image;
    _thumbnail = toImage(image.get(), kMostShown);
    update();
}

void ZRKImagePicker::choose(const Image& image)
{
    display(image);
    UIField::say(this, "");
    (*_picked)(image);
}

void ZRKImagePicker::openFile()
{
    zrkmodel::ZRKDocument* document = ZRKApp::ui().document();
    if (!document) {
        UIField::say(this, "no document is open that could take a picture in");
        return;
    }
    const std::vector<std::string> paths = ZRKApp::ui().askForFiles(pictureRequest(), window());
    if (paths.empty()) {
        return;
    }
    const std::string& path = paths.front();
    auto image = document->startReading(zrkmodel::ZRKImageKind::picture, path);
    FileReading reading;
    reading.title = "reading " + path;
    reading.file = path;
    reading.read = std::move(image.read);
    reading.done = [path, keep = std::move(image.keep), picked = _picked,
                    shown = QPointer<ZRKImagePicker>(this)]() -> std::string {
        keep();
        const zrkmodel::ZRKAddedImage added = ZRKApp::ui().document()->ensureImage2d(path);
        if (!added.image) {
            return UIField::sayIfShown(shown, added.problem);
        }
        if (shown) {
            shown->choose(added.image);
        } else {
            (*picked)(added.image);
        }
        return {};
    };
    ZRKApp::ui().readFiles(std::move(reading), window());
}

void ZRKImagePicker::fillMenu()
{
    menu()->clear();
    if (_canBeEmptied) {
        connect(menu()->addAction("none"), &QAction::triggered, this, [this] { choose(nullptr); });
    }
    if (const zrkmodel::ZRKDocument* document = ZRKApp::ui().document()) {
        for (const auto& entry : document->images2d()) {
            const QPixmap icon =
                QPixmap::fromImage(toImage(entry.object.get(), 2 * kIcon)
                                       .scaled(kIcon, kIcon, Qt::KeepAspectRatio, Qt::SmoothTransformation));
            QAction* action = menu()->addAction(icon, QString::fromStdString(entry.name));
            connect(action, &QAction::triggered, this, [this, object = entry.object] { choose(object); });
        }
    }
    menu()->addSeparator();
    connect(menu()->addAction("open..."), &QAction::triggered, this, [this] { openFile(); });
}

void ZRKImagePicker::describe(zrkmodel::ZRKJson& out) const
{
    out["widget"] = "image";
    if (_image) {
        out["value"] = _image->uuid().text();
    } else {
        out["value"] = nullptr;
    }
}

QSize ZRKImagePicker::sizeHint() const
{
    const int side = scaled(*this, kSide);
    return QSize(scaled(*this, 80), side).expandedTo(minimumSize());
}

void ZRKImagePicker::paintEvent(QPaintEvent*)
{
    using Role = ZRKCSSStyle::Role;
    const ZRKCSSStyle& style = ZRKCSSStyle::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setPen(QPen(style.color(hasFocus()     ? Role::accent
                                    : underMouse() ? Role::edgeHovered
                                                   : Role::edge),
                        hasFocus() ? 2 : 1));
    painter.setBrush(style.color(Role::field));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
    const QRect inside = rect().adjusted(4, 4, -4, -4);
    if (_thumbnail.isNull()) {
        painter.setPen(style.color(Role::hint));
        painter.drawText(inside, Qt::AlignCenter, _image ? "no picture" : "none");
        return;
    }
    // Smooth scaling of a painter is bilinear only, which drops pixels below half the size.
    const double ratio = devicePixelRatioF();
    const QImage shown =
        _thumbnail.scaled(inside.size() * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    const QSizeF size = QSizeF(shown.size()) / ratio;
    painter.drawImage(centredIn(inside, size, ratio), shown);
}

} // namespace zrkui
