#include "apps/workbench/export/export_dialog.h"

#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/solid_view.h"
#include "apps/workbench/views/view_pane.h"
#include "formats/vdb.h"
#include "inspectors/css_style.h"
#include "inspectors/number_field.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>
#include <QVariant>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::NumberField;
using zrkui::scaled;

namespace {

struct KindText {
    const char* title;
    const char* key;
    const char* ending; ///< of the file that is offered
    QString filter;
};

KindText textOf(ExportKind kind)
{
    const QString vdb = zrk::canWriteVdb() ? " *.vdb" : "";
    switch (kind) {
    case ExportKind::Volume:
        return {"Export volume", "volume", ".nrrd", "Volumes (*.npy *.nrrd *.vti" + vdb + ")"};
    case ExportKind::Surface:
        return {"Export surface", "surface", ".3mf", "Meshes (*.3mf *.stl *.ply *.obj" + vdb + ")"};
    case ExportKind::Slice:
        return {"Export slice", "slice", ".png", "Pictures (*.png)"};
    case ExportKind::Solid:
        break;
    }
    return {"Export picture", "solid", ".png", "Pictures (*.png)"};
}

const char* const kStudio = "studio";
const char* const kTransparent = "transparent";
const char* const kWhite = "white";

} // namespace

ExportStart exportStartOf(ViewPane& views, const std::string& folder, const std::string& name)
{
    ExportStart start{folder, name};
    SliceView& slice = views.slice();
    start.iso = slice.level();
    start.slice.axis = slice.axis();
    start.slice.at = slice.at();
    start.slice.iso = start.iso;
    start.slice.hasLine = start.iso.has_value();
    start.slice.range = slice.canvas().range();
    if (!slice.canvas().isWhole()) {
        start.slice.window = slice.canvas().window();
    }
    const QSize pixels = views.solid().devicePixels();
    start.solid.eye = views.solid().eye();
    start.solid.frame = views.solid().frame();
    start.solid.iso = start.iso;
    start.solid.width = pixels.width();
    start.solid.height = pixels.height();
    if (views.solid().isCut()) {
        start.solid.cut = SolidRequest::Cut{static_cast<std::size_t>(slice.axis()), slice.coordinate()};
    }
    return start;
}

ExportDialog::ExportDialog(ExportKind kind, const ExportStart& start, Prepare prepare, QWidget* parent)
    : QDialog(parent),
      _kind(kind),
      _start(start),
      _prepare(std::move(prepare)),
      _file(new QLineEdit(this)),
      _former(new QLabel("is there already and will be written over", this)),
      _problem(new QLabel(this)),
      _form(new QFormLayout)
{
    const KindText text = textOf(kind);
    setWindowTitle(text.title);
    auto* column = new QVBoxLayout(this);
    const int margin = scaled(*this, 16);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(scaled(*this, 12));
    _form->setHorizontalSpacing(scaled(*this, 16));
    _form->setVerticalSpacing(scaled(*this, 6));
    _form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    auto* fileRow = new QHBoxLayout;
    fileRow->setSpacing(scaled(*this, 6));
    fileRow->addWidget(_file, 1);
    auto* browseButton = new QPushButton("Choose ...", this);
    browseButton->setAccessibleName("choose the file");
    browseButton->setToolTip("Choose the file to write");
    browseButton->setAutoDefault(false);
    fileRow->addWidget(browseButton);
    _form->addRow("File", fileRow);
    _file->setAccessibleName("file to write");
    _file->setToolTip(text.filter);
    _file->setMinimumWidth(scaled(*this, 280));
    _former->setProperty("zrkRole", "hint");
    _form->addRow(QString(), _former);
    _problem->setProperty("zrkRole", "problem");
    _problem->setWordWrap(true);
    _problem->setAccessibleName("problem");
    _problem->hide();
    _form->addRow(QString(), _problem);
    column->addLayout(_form);
    addOptions();
    column->addStretch(1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    _export = buttons->addButton("Export", QDialogButtonBox::AcceptRole);
    _export->setDefault(true);
    _export->setToolTip("Write the file in the background");
    buttons->button(QDialogButtonBox::Cancel)->setToolTip("Export nothing");
    column->addWidget(buttons);

    const QSettings settings;
    const QString folder = settings.value(key("folder"), QString::fromStdString(start.folder)).toString();
    const QString ending = settings.value(key("ending"), text.ending).toString();
    const QString name = QString::fromStdString(start.name.empty() ? "part" : start.name) + ending;
    connect(_file, &QLineEdit::textChanged, this, [this] {
        _problem->hide();
        _former->setVisible(QFileInfo(_file->text().trimmed()).isFile());
    });
    _former->hide();
    _file->setText(folder.isEmpty() ? name : folder + "/" + name);
    connect(browseButton, &QPushButton::clicked, this, [this] { browse(); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { reject(); });
}

QString ExportDialog::key(const char* name) const
{
    return QString("export/%1/%2").arg(textOf(_kind).key, name);
}

NumberField* ExportDialog::addNumber(const QString& label, const QString& tip, const char* name, double value,
                                     double least, double most, bool isWhole)
{
    auto* field = new NumberField(isWhole ? NumberField::Kind::whole : NumberField::Kind::real, this);
    field->setLimits(least, most);
    field->display(std::clamp(QSettings().value(key(name), value).toDouble(), least, most));
    field->setAccessibleName(label.toLower());
    field->setToolTip(tip);
    field->setObjectName(name);
    _form->addRow(label, field);
    return field;
}

QCheckBox* ExportDialog::addCheck(const QString& text, const QString& tip, const char* name)
{
    auto* check = new QCheckBox(text, this);
    check->setChecked(QSettings().value(key(name), false).toBool());
    check->setAccessibleName(text.toLower());
    check->setToolTip(tip);
    check->setObjectName(name);
    _form->addRow(QString(), check);
    return check;
}

QComboBox* ExportDialog::addCombo(const QString& label, const QString& tip, const char* name,
                                  const QStringList& items)
{
    auto* combo = new QComboBox(this);
    combo->addItems(items);
    combo->setCurrentText(QSettings().value(key(name), items.front()).toString());
    combo->setAccessibleName(label.toLower());
    combo->setToolTip(tip);
    combo->setObjectName(name);
    _form->addRow(label, combo);
    return combo;
}

void ExportDialog::addOptions()
{
    switch (_kind) {
    case ExportKind::Volume:
        _resolution = addNumber("Resolution", "Nodes along the longest side", "resolution", 64, 2, 100000);
        _numbers = addCombo("Numbers", "Numbers in the file; float32 is rounded to the nearest", "numbers",
                            {"float64", "float32"});
        break;
    case ExportKind::Surface:
        _resolution = addNumber("Resolution", "Cells along the longest side", "resolution", 128, 1, 100000);
        _flatness = addNumber("Flatness",
                              "Join triangles where the surface is flat within this, model units; 0 nowhere",
                              "adaptive", 0, 0, 1e6, false);
        _sharp = addCheck("Sharp edges and corners",
                          "Keep edges and corners sharp, else they are rounded by a cell", "sharp");
        _open = addCheck("Open at the bounds", "Leave the surface open where the bounds cut it", "open");
        break;
    case ExportKind::Slice:
        _resolution = addNumber("Size", "Pixels along the longer side", "size", 1024, 16, 16384);
        _legend = addCheck("Legend", "A strip below with colours, values and a scale bar", "legend");
        break;
    case ExportKind::Solid:
        _width = addNumber("Width", "Pixels across", "width", 1600, 16, zrk::kMaxPictureSide);
        _height = addNumber("Height", "Pixels down", "height", 1200, 16, zrk::kMaxPictureSide);
        takeShape();
        _backdrop = addCombo("Background", "What stands behind the solid", "background",
                             {kStudio, kTransparent, kWhite});
        _perspective = addCheck("Perspective", "A view in perspective, else without", "perspective");
        break;
    }
}

/// The longer side stays what it was the last time, and the picture gets the shape of the view.
void ExportDialog::takeShape()
{
    const double longer = std::max(_width->exact(), _height->exact());
    const double across = _start.solid.width, down = _start.solid.height;
    _width->display(std::max(16.0, std::round(longer * std::min(1.0, across / down))));
    _height->display(std::max(16.0, std::round(longer * std::min(1.0, down / across))));
}

ExportOptions ExportDialog::options() const
{
    const auto whole = [](const NumberField* field) { return static_cast<int>(std::lround(field->exact())); };
    switch (_kind) {
    case ExportKind::Volume:
        return VolumeExport{whole(_resolution), _numbers->currentText() == "float32"
                                                    ? zrk::NumberType::Float32
                                                    : zrk::NumberType::Float64};
    case ExportKind::Surface: {
        SurfaceExport chosen;
        chosen.resolution = whole(_resolution);
        chosen.isSharp = _sharp->isChecked();
        chosen.isOpen = _open->isChecked();
        chosen.flatness = _flatness->exact();
        chosen.iso = _start.iso;
        return chosen;
    }
    case ExportKind::Slice: {
        SliceExport chosen = _start.slice;
        chosen.size = whole(_resolution);
        chosen.hasLegend = _legend->isChecked();
        return chosen;
    }
    case ExportKind::Solid:
        break;
    }
    SolidExport chosen = _start.solid;
    chosen.width = whole(_width);
    chosen.height = whole(_height);
    chosen.isPerspective = _perspective->isChecked();
    chosen.backdrop = _backdrop->currentText() == kTransparent ? zrk::Backdrop::Transparent
                      : _backdrop->currentText() == kWhite     ? zrk::Backdrop::Plain
                                                               : zrk::Backdrop::Studio;
    return chosen;
}

std::string ExportDialog::file() const { return _file->text().trimmed().toStdString(); }

QString ExportDialog::problem() const { return _problem->isHidden() ? QString() : _problem->text(); }

void ExportDialog::browse()
{
    const QString chosen =
        QFileDialog::getSaveFileName(this, windowTitle(), _file->text(), textOf(_kind).filter);
    if (!chosen.isEmpty()) {
        _file->setText(chosen);
    }
}

void ExportDialog::remember() const
{
    QSettings settings;
    const QFileInfo file(_file->text().trimmed());
    settings.setValue(key("folder"), file.absolutePath());
    settings.setValue(key("ending"), "." + file.suffix());
    for (const auto* field : findChildren<NumberField*>()) {
        settings.setValue(key(field->objectName().toLatin1().constData()), field->exact());
    }
    for (const auto* check : findChildren<QCheckBox*>()) {
        settings.setValue(key(check->objectName().toLatin1().constData()), check->isChecked());
    }
    for (const auto* combo : findChildren<QComboBox*>()) {
        settings.setValue(key(combo->objectName().toLatin1().constData()), combo->currentText());
    }
}

void ExportDialog::accept()
{
    zrk::Result<ExportTask> task = _prepare(file(), options());
    if (!task) {
        const zrk::Fault& fault = task.error();
        _problem->setText(QString::fromStdString("found " + fault.found + ", expected " + fault.expected +
                                                 "\n" + fault.remedy));
        _problem->show();
        layout()->activate();
        const int wide = std::max(_problem->width(), _file->width());
        _problem->setMinimumHeight(_problem->heightForWidth(wide)); // all of its lines
        adjustSize();
        _file->setFocus();
        return;
    }
    remember();
    QDialog::accept();
    if (_chosen) {
        _chosen(std::move(*task));
    }
}

} // namespace zrkworkbench
