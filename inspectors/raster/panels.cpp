#include "inspectors/panels.h"

#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "inspectors/app.h"
#include "inspectors/field.h"
#include "inspectors/file_import.h"
#include "inspectors/images.h"
#include "inspectors/panel_parts.h"
#include "inspectors/preview.h"

#include <QPointer>

#include <utility>

namespace zrkui {

using namespace zrkmodel;

namespace {

template <class Sampler>
void samplerPanel(Sampler& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    addPropertyWidget(&view, c.wrap);
    addImagePicker(view, c.image, "image", [&c](const auto& picked) { c.pick(picked); });
    view.popLayout();
}

void rasterFxPanel(ZRKRasterFX& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.resolution, c.blurRadius);
    view.popLayout();
    view.pushVBoxLayout();
    addPropertyWidget(&view, c.autoUpdate);
    setHint(*view.addButton("update", {}, [&c] { c.update(); }),
            "computes the raster anew where what arrives has changed");
    view.popLayout();
    view.popLayout();
}

void addCompositing(ZRK2DImageExtrude& c, ZRKPropertyView& view)
{
    QComboBoxWrapper* combo =
        view.addComboBox(ZRK2DImageExtrude::compositingNames(), static_cast<int>(c.shownCompositing()), {},
                         captionOf(c.compositing.name()));
    setShownProperty(*combo, c.compositing.name());
    combo->connectToListener([&c](int row) { c.chooseCompositing(row); });
    follow<std::string>(*combo, c.compositing, [combo](const std::string& name) {
        combo->display(combo->findText(QString::fromStdString(name)));
    });
}

void imageExtrudePanel(ZRK2DImageExtrude& c, ZRKPropertyView& view)
{
    view.pushHBoxLayout();
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.wrap, c.sizeX, c.sizeY, c.sizeZ);
    addCompositing(c, view);
    view.popLayout();
    for (std::size_t slot = 0; slot < ZRK2DImageExtrude::kSlots; ++slot) {
        addImagePicker(view, c.image(slot), ZRK2DImageExtrude::pickerLabel(slot),
                       [&c, slot](const auto& picked) { c.pick(slot, picked); });
    }
    view.popLayout();
}

/// Without a choice there is no volume either: the stack is emptied.
void loadFolder(ZRKImageStack& c, QPushButtonWrapper& button, const FileRequest& request)
{
    const std::vector<std::string> paths = ZRKApp::ui().askForFiles(request, button.window());
    const std::string folder = paths.empty() ? std::string() : paths.front();
    ZRKDocument* document = ZRKApp::ui().document();
    if (!document) {
        UIField::say(&button, "no document is open that could take a volume in");
        return;
    }
    const auto load = [&c, folder, shown = QPointer<QWidget>(&button)] {
        c.loadFolder(ZRKApp::ui().document()->images3d(), folder);
        return UIField::sayIfShown(shown, c.image.value()  ? ""
                                          : folder.empty() ? "no folder was chosen: the stack is empty now"
                                                           : folder + ": found no slices that make a volume");
    };
    if (folder.empty()) {
        (void)load();
        return;
    }
    auto volume = document->startReading(ZRKImageKind::volume, folder);
    FileReading reading;
    reading.title = "reading " + folder;
    reading.file = folder;
    reading.read = std::move(volume.read);
    reading.done = [load, keep = std::move(volume.keep)] {
        keep();
        return load();
    };
    ZRKApp::ui().readFiles(std::move(reading), button.window());
}

void loadSlices(ZRKImageStack& c, QPushButtonWrapper& button, const FileRequest& request)
{
    const std::vector<std::string> paths = ZRKApp::ui().askForFiles(request, button.window());
    if (paths.empty()) {
        return;
    }
    importFiles(c, {paths.begin(), paths.end()}, "loading slices", button);
}

void imageStackPanel(ZRKImageStack& c, ZRKPropertyView& view)
{
    FileRequest folder{FileRequest::Mode::folder, "get slice"};
    FileRequest slices{FileRequest::Mode::files, "get slices", "Image Files (*.png)", true};
    view.pushHBoxLayout();
    auto* preview = new UIPreview;
    setHint(*preview, "the slice that is chosen beside it");
    view.add(preview);
    view.pushVBoxLayout();
    addPropertyWidgets(view, c.wrap, c.sizeX, c.sizeY, c.sizeZ);
    SliderFWrapper* slider = view.addHSlider(0.5, {0.0, 1.0}, {}, captionOf("slice"));
    setHint(*slider,
            "which slice the picture shows, from the first to the last; the field doesn't depend on it");
    setHint(*view.addButton("remove image", {}, [&c] { c.removeImage(); }), "empties the stack");
    QPushButtonWrapper* folderButton = view.addButton("load folder", {}, nullptr);
    folderButton->setDialog(folder);
    setHint(*folderButton, "stacks all pictures of a folder, in the order of their names");
    folderButton->connectToListener([&c, folderButton, folder] { loadFolder(c, *folderButton, folder); });
    QPushButtonWrapper* slicesButton = view.addButton("load slices", {}, nullptr);
    slicesButton->setDialog(slices);
    setHint(*slicesButton, "stacks the pictures that are chosen");
    slicesButton->connectToListener([&c, slicesButton, slices] { loadSlices(c, *slicesButton, slices); });
    view.popLayout();
    view.popLayout();

    const auto draw = [&c, preview, slider] {
        const auto slice = c.preview(slider->exact());
        preview->display(slice ? toImage(*slice) : QImage());
    };
    slider->connectToListener([draw](double) { draw(); });
    followEvent(*preview, c, "raster", draw);
    draw();
}

} // namespace

void addRasterPanels()
{
    addPanel(rasterFxPanel);
    addPanel(samplerPanel<ZRKScalarImageSampler>);
    addPanel(samplerPanel<ZRKVector3ImageSampler>);
    addPanel(samplerPanel<ZRKRGBAImageSampler>);
    addPanel(imageExtrudePanel);
    addPanel(imageStackPanel);
}

} // namespace zrkui
