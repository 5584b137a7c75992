#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "components/coordinates/multipole_uvw.h"
#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "components/operators/geometry_blend.h"
#include "components/patterns/pattern_designer.h"
#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/transport/image_sweep.h"
#include "host/document_resources.h"
#include "inspectors/app.h"
#include "inspectors/describe.h"
#include "inspectors/field.h"
#include "inspectors/geometry_picker.h"
#include "inspectors/image_picker.h"
#include "inspectors/images.h"
#include "inspectors/list_view.h"
#include "inspectors/preview.h"
#include "inspectors/tests/opened_panel.h"
#include "testing/component_checks.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <QLabel>
#include <QMenu>
#include <QProgressDialog>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace zrkui {
namespace {

using namespace zrkmodel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using zrkmodel::testing::sample;

/// A document with resources, and dialogs that answer what the test says.
class Resources : public zrktest::TemporaryFolder {
protected:
    std::shared_ptr<DocumentResources> resources;
    std::vector<std::string> answer;
    std::vector<FileRequest> asked;

    void SetUp() override
    {
        TemporaryFolder::SetUp();
        const std::filesystem::path pictures = zrktest::sourceFolder() / "examples/pictures";
        for (const char* name : {"gear.png", "ring.png", "letter.png"}) {
            std::filesystem::copy(pictures / name, std::filesystem::path(path(name)));
        }
        put("text.png", "no picture");
        put("triangle.obj", "v 0 0 0\nv 1 0 0\nv 0 1 1\nf 1 2 3\n");
        put("empty.obj", "");
        resources = DocumentResources::load(ZRKJson::parse(R"([
            {"uuid": "c1", "kind": "geometry", "shape": "circle", "center": [0,0,0], "axis": [0,0,1], "radius": 1},
            {"uuid": "p1", "kind": "geometry", "shape": "point", "position": [1,2,3], "name": "here"},
            {"uuid": "s1", "kind": "geometry", "shape": "sphere", "center": [0,0,0], "radius": 1},
            {"uuid": "i1", "kind": "image2d", "path": "gear.png"}])"),
                                            path("a.zrk.json"), std::filesystem::path(path("")))
                        .value();
        ZRKApp::ui().setDocument(resources.get());
        ZRKApp::ui().setFileDialog([this](const FileRequest& request, QWidget*) {
            asked.push_back(request);
            return answer;
        });
    }
    void TearDown() override
    {
        ZRKApp::ui().setDocument(nullptr);
        ZRKApp::ui().setFileDialog(nullptr);
        TemporaryFolder::TearDown();
    }

    std::shared_ptr<ZRKGeometry> geometry(const char* uuid) const
    {
        return ZRKResourceHandleOf<ZRKGeometry>(resources->find(ZRKuuid(uuid))).object();
    }
};

/// The entries of the menu behind a picker's button, as the user finds them.
std::vector<std::string> entriesOf(QMenu& menu)
{
    Q_EMIT menu.aboutToShow();
    std::vector<std::string> entries;
    for (const QAction* action : menu.actions()) {
        entries.push_back(action->text().toStdString());
    }
    return entries;
}

void trigger(QMenu& menu, const std::string& entry)
{
    Q_EMIT menu.aboutToShow();
    for (QAction* action : menu.actions()) {
        if (action->text().toStdString() == entry) {
            action->trigger();
            return;
        }
    }
    FAIL() << "no entry " << entry;
}

TEST_F(Resources, ArePickedByGeometry)
{
    OpenedPanel<ZRKCurveUVW> panel;
    auto* picker = panel.find<ZRKGeometryPicker>();
    QMenu& menu = *picker->findChild<QPushButton*>()->menu();
    EXPECT_THAT(entriesOf(menu), ElementsAre("none", "circle c1"));
    trigger(menu, "circle c1");
    EXPECT_EQ(panel.component->curve.value(), geometry("c1"));
    EXPECT_TRUE(picker->hasThumbnail());
    trigger(menu, "none");
    EXPECT_EQ(panel.component->curve.value(), nullptr);
    EXPECT_FALSE(picker->hasThumbnail());
    EXPECT_THAT(panel.events, ElementsAre("curve", "curve"));
    panel.component->curve.set(geometry("c1"));
    EXPECT_THAT(picker->selectedObjects(), ElementsAre(geometry("c1"))) << "follows";
    EXPECT_EQ(panel.events.size(), 3u) << "without an echo";
}

TEST_F(Resources, ArePickedByEachPicker)
{
    OpenedPanel<ZRKCurveLength> length;
    length.find<ZRKGeometryPicker>()->choose(geometry("c1"));
    EXPECT_EQ(length.component->curve.value(), geometry("c1"));
    OpenedPanel<ZRKFaceUVW> face;
    face.find<ZRKGeometryPicker>()->choose(geometry("s1"));
    EXPECT_EQ(face.component->face.value(), geometry("s1"));
    OpenedPanel<ZRKImageSweep> sweep;
    sweep.find<ZRKGeometryPicker>()->choose(geometry("c1"));
    EXPECT_EQ(sweep.component->pathCurve.value(), geometry("c1"));
    sweep.find<ZRKGeometryPicker>()->choose(nullptr);
    EXPECT_EQ(sweep.component->pathCurve.value(), nullptr);
    EXPECT_THAT(sweep.events, ElementsAre("pathCurve", "pathCurve"));

    OpenedPanel<ZRK2DImageExtrude> extrude;
    const auto picture = resources->images2d()[0].object;
    extrude.find<ZRKImagePicker>(2)->choose(picture);
    EXPECT_EQ(extrude.component->imageXZ.value(), picture);
    EXPECT_EQ(extrude.component->imageXY.value(), nullptr);
    EXPECT_THAT(extrude.events, ElementsAre("imageXZ"));
}

TEST_F(Resources, AreSelectedUpToALimit)
{
    ZRKGeometryPicker two(kAnyGeometry, 2, {nullptr, geometry("c1")});
    EXPECT_THAT(two.selectedObjects(), ElementsAre(geometry("c1")));
    two.choose(geometry("s1"));
    two.choose(geometry("p1"));
    EXPECT_THAT(two.selectedObjects(), ElementsAre(geometry("c1"), geometry("s1")));
    two.choose(geometry("c1"));
    EXPECT_THAT(two.selectedObjects(), ElementsAre(geometry("s1"))) << "chosen once more it is taken out";
}

// Picking nothing keeps the geometry and clears only the thumbnail; of several the first is taken.
TEST_F(Resources, ArePickedForABlend)
{
    OpenedPanel<ZRKGeometryBlend> panel;
    auto* picker = panel.find<ZRKGeometryPicker>();
    picker->choose(geometry("s1"));
    picker->choose(geometry("c1"));
    EXPECT_EQ(panel.component->geometries.value(), geometry("s1"));
    EXPECT_EQ(picker->selectedObjects().size(), 2u);
    picker->choose(nullptr);
    EXPECT_EQ(panel.component->geometries.value(), geometry("s1"));
    EXPECT_FALSE(picker->hasThumbnail());
}

TEST_F(Resources, HaveThumbnails)
{
    const auto ink = [](const QImage& image) {
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                count += qAlpha(image.pixel(x, y)) > 127 ? 1 : 0;
            }
        }
        return static_cast<double>(count) / (image.width() * image.height());
    };
    EXPECT_NEAR(ink(geometryThumbnail({geometry("p1")}, 64)), 3.14159 / 400, 0.003) << "a dot";
    const QImage circle = geometryThumbnail({geometry("c1")}, 64);
    EXPECT_GT(ink(circle), 0.01);
    EXPECT_LT(ink(circle), 0.1) << "a line";
    const QImage sphere = geometryThumbnail({geometry("s1")}, 64);
    EXPECT_GT(qAlpha(sphere.pixel(32, 32)), 127) << "a filled disc";
    EXPECT_EQ(qAlpha(sphere.pixel(1, 1)), 0);
    EXPECT_TRUE(geometryThumbnail({}, 64).isNull());
}

TEST_F(Resources, ChangeTheirThumbnailsFromElsewhere)
{
    OpenedPanel<ZRKGeometryBlend> blend;
    OpenedPanel<ZRKScalarImageSampler> sampler;
    const auto gear = resources->images2d()[0].object;
    const auto ring = resources->ensureImage2d(path("ring.png")).image;
    std::vector<QImage> seen;
    const auto look = [&seen](QWidget* picker) {
        const QImage now = picker->grab().toImage();
        EXPECT_FALSE(std::count(seen.begin(), seen.end(), now)) << "look " << seen.size();
        seen.push_back(now);
    };
    for (const char* uuid : {"c1", "s1"}) {
        blend.component->geometries.set(geometry(uuid));
        look(blend.find<ZRKGeometryPicker>()->findChild<QLabel*>());
    }
    blend.component->geometries.set(nullptr);
    look(blend.find<ZRKGeometryPicker>()->findChild<QLabel*>());
    blend.find<ZRKGeometryPicker>()->choose(geometry("p1"));
    look(blend.find<ZRKGeometryPicker>()->findChild<QLabel*>());
    for (const auto& image : {gear, ring, ZRKImagePicker::Image()}) {
        sampler.component->image.set(image);
        look(sampler.find<ZRKImagePicker>());
    }
}

TEST_F(Resources, ArePickedByPicture)
{
    OpenedPanel<ZRKScalarImageSampler> panel;
    auto* picker = panel.find<ZRKImagePicker>();
    EXPECT_THAT(entriesOf(*picker->menu()), ElementsAre("none", "gear.png", "", "open..."));
    trigger(*picker->menu(), "gear.png");
    EXPECT_EQ(panel.component->image.value(), resources->images2d()[0].object);

    answer = {path("ring.png")};
    trigger(*picker->menu(), "open...");
    EXPECT_EQ(panel.component->image.value(), resources->images2d()[1].object);
    const auto former = panel.component->image.value();
    answer = {};
    trigger(*picker->menu(), "open...");
    EXPECT_EQ(panel.component->image.value(), former) << "cancelled";
    answer = {path("text.png")};
    trigger(*picker->menu(), "open...");
    EXPECT_EQ(panel.component->image.value(), former);
    EXPECT_THAT(UIField::of(picker)->message(), HasSubstr("text.png"));
    EXPECT_THAT(panel.events, ElementsAre("image", "image"));
    trigger(*picker->menu(), "none");
    EXPECT_EQ(panel.component->image.value(), nullptr);
    EXPECT_EQ(UIField::of(picker)->message(), "");
}

TEST_F(Resources, AreImportedAsMeshes)
{
    OpenedPanel<ZRKMeshSDF> panel;
    QPushButton* button = panel.button("Import Mesh");
    button->click();
    EXPECT_EQ(panel.component->field(), nullptr) << "cancel does nothing";
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].startFolder, "C:/Users");
    answer = {path("triangle.obj"), path("empty.obj")};
    button->click();
    const auto mesh = panel.component->field();
    EXPECT_NE(mesh, nullptr);
    EXPECT_EQ(UIField::of(button)->message(), "");
    for (const char* name : {"empty.obj", "gone.obj"}) {
        answer = {path(name)};
        button->click();
        EXPECT_EQ(panel.component->field(), mesh) << "the former mesh stays";
        EXPECT_THAT(UIField::of(button)->message(), HasSubstr(name));
    }
    EXPECT_THAT(panel.events, IsEmpty());
}

TEST_F(Resources, FillAStackOfSlices)
{
    // Two slices of 2 x 1 pixels, 51 and 102, then 0 and 255, as the loader of documents gives them.
    zrk::Raster<1, 3, double> voxels(2, 1, 2);
    voxels.data = {0.2, 0.4, 0.0, 1.5};
    OpenedPanel<ZRK3DImage> panel;
    auto* preview = panel.find<UIPreview>();
    EXPECT_TRUE(preview->picture().isNull());
    panel.component->image.set(std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels}));
    panel.open(); // the inspection fetches the volume
    preview = panel.find<UIPreview>();
    auto* slider = panel.find<SliderFWrapper>();
    const auto pixels = [&] {
        const QImage picture = panel.find<UIPreview>()->picture();
        return picture.isNull() ? std::vector<int>()
                                : std::vector<int>{qRed(picture.pixel(0, 0)), qRed(picture.pixel(1, 0))};
    };
    EXPECT_THAT(pixels(), ElementsAre(0, 255)) << "the slice in the middle, cut to white";
    type(*slider, "0.1");
    EXPECT_THAT(pixels(), ElementsAre(51, 102));
    panel.button("remove image")->click();
    EXPECT_THAT(pixels(), IsEmpty());
    EXPECT_NE(panel.component->image.value(), nullptr) << "the property keeps it";

    answer = {path("gear.png"), path("gear.png")};
    panel.button("load slices")->click();
    EXPECT_EQ(panel.find<UIPreview>()->picture().width(),
              QImage(QString::fromStdString(path("gear.png"))).width());
    EXPECT_THAT(panel.events, ElementsAre("raster", "raster"));
    answer = {};
    panel.button("load slices")->click();
    EXPECT_EQ(panel.events.size(), 2u) << "cancelled";
    panel.button("load folder")->click();
    EXPECT_EQ(panel.component->image.value(), nullptr) << "no folder, no volume";
    EXPECT_TRUE(panel.find<UIPreview>()->picture().isNull());
    EXPECT_THAT(UIField::of(panel.button("load folder"))->message(), HasSubstr("no folder was chosen"));
    answer = {path("gone")};
    panel.button("load folder")->click();
    EXPECT_THAT(UIField::of(panel.button("load folder"))->message(), HasSubstr("gone"));
    EXPECT_EQ(asked.back().caption, "get slice");
}

/// Files that hold nothing of use, each as a picture and as a mesh.
std::vector<std::string> uselessFiles(const std::filesystem::path& folder, const std::string& ending,
                                      const std::string& start)
{
    const auto put = [&](const char* name, const std::string& content) {
        std::ofstream(folder / (name + ending), std::ios::binary) << content;
    };
    put("empty", "");
    put("cut", start);
    put("text", "nothing of that kind");
    put("zeros", std::string(4096, '\0'));
    std::filesystem::create_directory(folder / ("folder" + ending));
    EXPECT_EQ(::mkfifo((folder / ("pipe" + ending)).c_str(), 0600), 0);
    std::filesystem::create_symlink("loop" + ending, folder / ("loop" + ending));
    std::vector<std::string> files;
    for (const char* name : {"empty", "cut", "text", "zeros", "folder", "pipe", "loop", "gone"}) {
        files.push_back((folder / (name + ending)).string());
    }
    return files;
}

// A message beside the control tells of the file; what was there stays, and nobody waits for a pipe.
TEST_F(Resources, OfNoUseAreTold)
{
    const std::string picture = content("gear.png");
    const auto pictures = uselessFiles(folder, ".png", picture.substr(0, picture.size() / 2));
    const auto meshes = uselessFiles(folder, ".obj", "v 0 0 0\nv 1 0");

    OpenedPanel<ZRKScalarImageSampler> sampler;
    auto* picker = sampler.find<ZRKImagePicker>();
    picker->choose(resources->images2d()[0].object);
    const auto expectTold = [](QWidget* control, const std::string& file) {
        const std::string told = UIField::of(control)->message();
        EXPECT_THAT(told, HasSubstr(std::filesystem::path(file).filename().string()));
        UIField::say(control, "");
    };
    sampler.events.clear();
    for (const std::string& file : pictures) {
        SCOPED_TRACE(file);
        answer = {file};
        picker->openFile();
        EXPECT_EQ(sampler.component->image.value(), resources->images2d()[0].object);
        expectTold(picker, file);
    }
    EXPECT_THAT(sampler.events, IsEmpty());
    EXPECT_EQ(resources->images2d().size(), 1u) << "the document takes none of them in";

    OpenedPanel<ZRKMeshSDF> mesh;
    answer = {path("triangle.obj")};
    mesh.button("Import Mesh")->click();
    const auto former = mesh.component->field();
    for (const std::string& file : meshes) {
        SCOPED_TRACE(file);
        answer = {file};
        mesh.button("Import Mesh")->click();
        EXPECT_EQ(mesh.component->field(), former);
        expectTold(mesh.button("Import Mesh"), file);
    }
    OpenedPanel<ZRKBeamSDF> beams;
    for (const std::string& file : meshes) {
        SCOPED_TRACE(file);
        answer = {file};
        beams.button("Import Mesh")->click();
        expectTold(beams.button("Import Mesh"), file);
    }

    OpenedPanel<ZRK3DImage> stack;
    for (const std::string& file : pictures) {
        SCOPED_TRACE(file);
        answer = {file};
        stack.button("load slices")->click();
        expectTold(stack.button("load slices"), file);
        stack.button("load folder")->click();
        expectTold(stack.button("load folder"), file);
        EXPECT_EQ(stack.component->image.value(), nullptr);
    }
    answer = {pictures[2], path("gear.png"), pictures[1]};
    stack.button("load slices")->click();
    EXPECT_FALSE(stack.find<UIPreview>()->picture().isNull()) << "those that are slices";
    EXPECT_THAT(UIField::of(stack.button("load slices"))->message(), HasSubstr("1 more"));
}

TEST_F(Resources, SlidersOfASweepActOnItsVolume)
{
    OpenedPanel<ZRKImageSweep> panel;
    panel.component->pick(panel.component->imageA, resources->ensureImage2d(path("ring.png")).image);
    panel.component->pick(panel.component->imageB, resources->images2d()[0].object);
    panel.component->resolution.set(8);
    panel.component->steps.set(3);
    panel.button("compute >>")->click();
    const auto value = [&] { return sample(panel.component, {0.3, 0.4, 0.5})[0]; };
    double former = value();
    const std::pair<int, const char*> edits[] = {{0, "0.05"}, {1, "0.1"}}; // smoothing, transport
    for (const auto& [slider, text] : edits) {
        type(*panel.find<SliderFWrapper>(slider), text);
        EXPECT_NE(value(), former);
        former = value();
    }
    EXPECT_EQ(panel.component->smoothing.value(), 0.05);
    EXPECT_EQ(panel.component->transport.value(), 0.1);
}

TEST_F(Resources, TooLargeASweepIsTold)
{
    OpenedPanel<ZRKImageSweep> panel;
    panel.component->pick(panel.component->imageA, resources->images2d()[0].object);
    panel.component->pick(panel.component->imageB, resources->images2d()[0].object);
    panel.component->resolution.set(1000000);
    panel.events.clear();
    panel.button("compute >>")->click();
    EXPECT_THAT(UIField::of(panel.button("compute >>"))->message(), HasSubstr("\"resolution\""));
    EXPECT_THAT(panel.events, IsEmpty());
}

TEST_F(Resources, AreFollowedByTheirPickers)
{
    OpenedPanel<ZRK2DImageExtrude> panel;
    panel.component->imageYZ.set(resources->images2d()[0].object);
    EXPECT_EQ(panel.find<ZRKImagePicker>(1)->image(), resources->images2d()[0].object);
    EXPECT_EQ(panel.find<ZRKImagePicker>(0)->image(), nullptr);
    panel.component->compositing.set("union");
    auto* combo = panel.find<QComboBoxWrapper>();
    EXPECT_EQ(combo->currentText(), "union");
    EXPECT_THAT(panel.events, ElementsAre("imageYZ", "compositing"));
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_Home);
    EXPECT_EQ(panel.component->compositing.value(), "add");
    EXPECT_THAT(panel.events, ElementsAre("imageYZ", "compositing", "compositing"));
    panel.component->compositing.set("of old");
    EXPECT_EQ(combo->currentIndex(), -1);
    panel.open();
    EXPECT_EQ(panel.component->compositing.value(), "add") << "an unknown name becomes the first";
}

TEST_F(Resources, AreNotTakenWhereReadingIsStopped)
{
    bool isTaken = false;
    FileReading reading{"reading", path("gear.png"), {}, [&isTaken] {
                            isTaken = true;
                            return std::string();
                        }};
    reading.read = [](zrk::ProgressMonitor& monitor) { monitor.progress(0.5); };
    ZRKApp::ui().readFiles(reading, nullptr);
    EXPECT_TRUE(isTaken);
    isTaken = false;
    reading.read = [](zrk::ProgressMonitor& monitor) {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* dialog = qobject_cast<QProgressDialog*>(window)) {
                dialog->cancel();
            }
        }
        EXPECT_TRUE(monitor.interruptRequested());
    };
    ZRKApp::ui().readFiles(reading, nullptr);
    EXPECT_FALSE(isTaken);
}

TEST_F(Resources, AreSweptWithProgressAndStop)
{
    OpenedPanel<ZRKImageSweep> panel;
    QPushButton* button = panel.button("compute >>");
    button->click();
    EXPECT_THAT(UIField::of(button)->message(), HasSubstr("needs the pictures A and B"));
    const auto ring = resources->ensureImage2d(path("ring.png")).image;
    panel.find<ZRKImagePicker>(0)->choose(ring);
    panel.find<ZRKImagePicker>(1)->choose(resources->images2d()[0].object);
    EXPECT_EQ(panel.component->imageB.value(), resources->images2d()[0].object);
    panel.component->resolution.set(8);
    panel.component->steps.set(3);
    panel.events.clear();
    button->click();
    EXPECT_THAT(panel.events, ElementsAre("raster"));
    EXPECT_EQ(UIField::of(button)->message(), "");

    panel.component->resolution.set(128); // many seconds, unless it is stopped
    panel.component->steps.set(16);
    panel.events.clear();
    bool stopped = false;
    QTimer presser;
    QObject::connect(&presser, &QTimer::timeout, [&] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* dialog = qobject_cast<QProgressDialog*>(window); dialog && dialog->value() > 0) {
                stopped = true;
                dialog->cancel();
            }
        }
    });
    presser.start(20);
    button->click();
    EXPECT_TRUE(stopped);
    EXPECT_THAT(panel.events, IsEmpty());
    EXPECT_THAT(UIField::of(button)->message(), HasSubstr("stopped"));
}

using WaveList = ZRKQListView<ZRKPatternDesigner::Wave, ZRKPropertyView>;
using PoleList = ZRKQListView<ZRKMultipoleUVW::Pole, ZRKPropertyView>;

TEST(WaveList, EditsTheWaves)
{
    OpenedPanel<ZRKPatternDesigner> panel;
    auto* list = panel.find<WaveList>();
    const auto& waves = panel.component->waves;
    panel.button("del")->click();
    EXPECT_THAT(panel.events, IsEmpty()) << "nothing is selected";
    panel.button("+")->click();
    panel.button("+")->click();
    ASSERT_EQ(waves.values().size(), 2u);
    EXPECT_EQ(waves.values()[1].fx, 1);

    QApplication::processEvents();
    QTest::mousePress(list->items()[1], Qt::LeftButton, {}, QPoint(2, 2));
    EXPECT_EQ(list->selected(), 1);
    EXPECT_EQ(list->items()[1]->objectName(), "SelectedItem");
    type(*list->items()[1]->findChildren<NumberField*>()[2], "-4");
    EXPECT_EQ(waves.values()[1].fz, -4);
    EXPECT_EQ(waves.values()[0].fz, 0);
    EXPECT_THAT(panel.events, ElementsAre("waves", "waves", "waves"));

    auto edited = waves.values();
    edited[0].fy = 2.75;
    panel.component->waves.edit(edited, 0);
    auto* shown = list->items()[0]->findChildren<NumberField*>()[1];
    EXPECT_EQ(shownIn(*shown), "2") << "without its fraction";
    type(*list->items()[0]->findChildren<NumberField*>()[3], "0.5");
    EXPECT_EQ(waves.values()[0].fy, 2.75) << "which stays";
    EXPECT_EQ(waves.values()[0].amplitude, 0.5);

    list->select(1);
    std::vector<int> selections;
    list->selectionChanged.connect([&](WaveList::Item*, int index) { selections.push_back(index); });
    QTest::mousePress(list->items()[0]->findChildren<NumberField*>()[3], Qt::LeftButton);
    QTest::mousePress(list->items()[0], Qt::LeftButton, {}, QPoint(2, 2));
    EXPECT_THAT(selections, ElementsAre(0)) << "by its editor, and once";
    EXPECT_EQ(list->items()[1]->objectName(), "Item");
    panel.button("del")->click();
    ASSERT_EQ(waves.values().size(), 1u);
    EXPECT_EQ(waves.values()[0].fz, -4) << "the other one is left";
    EXPECT_EQ(list->selected(), -1);
    panel.button("random")->click();
    EXPECT_EQ(list->items()[0]->value.phase, waves.values()[0].phase) << "the list shows what was thrown";
    trigger(*panel.find<ZRKOptionsButton>()->menu(), "clear");
    EXPECT_THAT(waves.values(), IsEmpty());
    list->addMenuEntry("heading", nullptr);
    EXPECT_TRUE(panel.find<ZRKOptionsButton>()->menu()->actions().last()->isSeparator());
}

TEST_F(Resources, AreFollowedByPoles)
{
    OpenedPanel<ZRKMultipoleUVW> panel;
    auto* list = panel.find<PoleList>();
    panel.button("add ref")->click();
    panel.button("add")->click();
    ASSERT_EQ(panel.component->poles.values().size(), 2u);
    EXPECT_FALSE(panel.component->poles.values()[0].is_valid());
    auto* picker = panel.find<ZRKGeometryPicker>();
    EXPECT_THAT(UIField::of(picker)->message(), HasSubstr("no point is chosen"));
    EXPECT_EQ(describeControl(*picker), ZRKJson::parse(R"({"label": "select:", "widget": "geometry",
                                                           "value": null, "filter": 1, "limit": 1})"));
    EXPECT_THAT(entriesOf(*picker->findChild<QPushButton*>()->menu()), ElementsAre("none", "here"));
    picker->choose(geometry("p1"));
    EXPECT_EQ(panel.component->poles.values()[0].get_point(), (zrk::Tensor<3, double>{1, 2, 3}));
    EXPECT_EQ(UIField::of(picker)->message(), "");
    picker->choose(nullptr);
    EXPECT_TRUE(panel.component->poles.values()[0].is_valid()) << "it keeps its point";

    type(*list->items()[1]->findChildren<NumberField*>()[0], "2000000");
    EXPECT_EQ(panel.component->poles.values()[1].get_point()[0], 999999.0);
    type(*list->items()[1]->findChildren<NumberField*>()[3], "-0.5");
    EXPECT_EQ(panel.component->poles.values()[1].strength, -0.5);
    EXPECT_EQ(panel.events, std::vector<std::string>(5, "poles"));
    geometry("p1")->emitPropertyChange("position");
    EXPECT_EQ(panel.events.size(), 6u);
    EXPECT_EQ(list->items().size(), 2u);
}

} // namespace
} // namespace zrkui
