#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/export/export_job.h"
#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/solid_view.h"
#include "apps/workbench/views/tests/views_fixture.h"
#include "apps/workbench/views/view_pane.h"
#include "components/primitives/sphere_sdf.h"
#include "formats/part.h"
#include "host/field_grid.h"
#include "host/volume_file.h"
#include "inspectors/number_field.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QColorSpace>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QToolButton>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ExportTest : public ViewsTest {
protected:
    std::vector<ExportProgress> progress;
    std::optional<ExportResult> result;

    void SetUp() override
    {
        ViewsTest::SetUp();
        keepSettings();
    }

    void follow(ExportJob& job)
    {
        progress.clear();
        result.reset();
        job.onProgress([this](const ExportProgress& step) { progress.push_back(step); });
        job.onDone([this](const ExportResult& outcome) { result = outcome; });
    }
    ExportTask task(const GraphDocument& document, const std::string& name, const ExportOptions& options,
                    PinAddress pin = {1, 0})
    {
        return zrk::valueOrThrow(exportTask(path(name), document, pin, options));
    }
    ExportResult run(ExportTask task)
    {
        ExportJob job(*application);
        follow(job);
        EXPECT_TRUE(job.start(std::move(task)));
        EXPECT_TRUE(job.isRunning());
        EXPECT_TRUE(waitFor([&] { return result.has_value(); }));
        EXPECT_FALSE(job.isRunning());
        return *result;
    }
};

TEST_F(ExportTest, WritesEachKind)
{
    const GraphDocument document = parsed(sphereText());
    ExportResult done = run(task(document, "a.npy", VolumeExport{9}));
    EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
    EXPECT_THAT(done.text, HasSubstr("9 x 9 x 9 nodes, values from -0.5 to 1.232"));
    EXPECT_EQ(content("a.npy").size(), 128 + 9 * 9 * 9 * 8u);
    EXPECT_EQ(progress.back().stage, "writing");

    done = run(task(document, "a.stl", SurfaceExport{24}));
    EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
    const zrk::FileMesh mesh = zrk::valueOrThrow(zrk::readMesh(path("a.stl")));
    EXPECT_THAT(done.text, HasSubstr(std::to_string(mesh.triangles.size()) + " triangles"));

    done = run(task(document, "slice.png", SliceExport{2, 0.5, 100, true, {}}));
    EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
    const QImage slice(QString::fromStdString(path("slice.png")));
    EXPECT_EQ(slice.width(), 100);
    EXPECT_GT(slice.height(), 110) << "the legend";

    SolidExport solid;
    solid.width = 120;
    solid.height = 80;
    solid.backdrop = zrk::Backdrop::Transparent;
    done = run(task(document, "solid.png", solid));
    EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
    const QImage picture(QString::fromStdString(path("solid.png")));
    EXPECT_EQ(picture.size(), QSize(120, 80));
    EXPECT_EQ(picture.pixelColor(60, 40).alpha(), 255);
    EXPECT_EQ(picture.pixelColor(2, 2).alpha(), 0);
}

// The parts that workers take are put together as the command does, for values of one and of more numbers.
TEST_F(ExportTest, PicturesAreWhatTheViewsShow)
{
    const GraphDocument document = parsed(sphereText());
    ViewPane pane;
    pane.resize(416, 450);
    pane.QWidget::show();
    const auto settle = [&] {
        QCoreApplication::processEvents();
        ASSERT_TRUE(waitFor([&] { return pane.isSettled(); }));
    };
    pane.show(viewSourceOf(document, {1, 0}, "Sphere").value());
    pane.setTab(ViewPane::Tab::Solid);
    settle();
    pane.solid().turn(70, -20);
    pane.solid().zoomBy(1.7);
    pane.solid().setCut(true);
    pane.setTab(ViewPane::Tab::Slice);
    pane.slice().setAxis(0);
    pane.slice().setAt(0.4);
    pane.slice().canvas().zoomBy(3);
    widgetNamed<QCheckBox>(pane, "line at the iso value")->click();
    settle();
    const ExportStart start = exportStartOf(pane, path(""), "ball");

    // The solid: as the view draws it, from there, so near and so cut.
    SolidRequest request = pane.solid().request({0, pane.slice().coordinate()}, pane.slice().level()).value();
    request.field = PreviewService::prepare(document.outputField({1, 0}).value());
    QImage expected;
    workOnSolid(request, 1, [&](const SolidPreview& preview) { expected = preview.picture; });
    const auto written = [&](const char* name, const ExportOptions& options) {
        EXPECT_EQ(run(task(document, name, options)).kind, ExportResult::Kind::Done);
        QImage picture(QString::fromStdString(path(name)));
        picture.setColorSpace({}); // the file names it, the view doesn't
        return picture.convertToFormat(QImage::Format_RGB32);
    };
    EXPECT_TRUE(written("solid.png", start.solid) == expected);

    // The slice: that part of the plane, in the colours of the whole, and without a line as there is none.
    EXPECT_FALSE(start.slice.hasLine);
    SliceExport slice = start.slice;
    slice.size = 200;
    const QImage part = written("part.png", slice);
    SliceRequest drawn = pane.slice().request();
    drawn.field = request.field;
    drawn.pixels = part.size();
    workOnSlice(drawn, 1, [&](const SlicePreview& preview) {
        expected = preview.picture.isNull() ? expected : preview.picture;
    });
    EXPECT_EQ(part.size(), expected.size());
    EXPECT_TRUE(part == expected);

    ExportDialog dialog(ExportKind::Solid, start,
                        [](const std::string&, const ExportOptions&) { return zrk::refused({}); });
    const auto asked = std::get<SolidExport>(dialog.options());
    EXPECT_EQ(std::max(asked.width, asked.height), 1600);
    EXPECT_NEAR(double(asked.width) / asked.height, double(start.solid.width) / start.solid.height, 0.01);
}

TEST_F(ExportTest, VolumesAreThoseOfTheCommand)
{
    for (const char* name : {"sphere_and_twisted_gyroid", "directions", "raster_fx"}) {
        SCOPED_TRACE(name);
        const GraphDocument document = example(name);
        const OutputField output = document.outputField().value();
        const auto bounds = document.samplingBounds();
        const auto dims = gridDims(bounds, 41);
        const zrk::Region<3, 3, double, 1> region(bounds.min, bounds.max, dims[0], dims[1], dims[2]);
        const FieldValues values = sampleField(output.field, region, nullptr).value();
        zrk::Volume volume = volumeOf(output, bounds, dims, zrk::NumberType::Float32, document.unit());
        volume.values = values;
        zrk::valueOrThrow(zrk::writeVolume(path("command.nrrd"), volume));
        const ExportResult done = run(
            task(document, "export.nrrd", VolumeExport{41, zrk::NumberType::Float32}, *document.output()));
        EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
        EXPECT_TRUE(content("export.nrrd") == content("command.nrrd"));
    }
}

/// How many edges of a mesh belong to one triangle only.
std::size_t openEdges(const zrk::FileMesh& mesh)
{
    std::map<std::pair<std::uint32_t, std::uint32_t>, int> sides;
    for (const auto& triangle : mesh.triangles) {
        for (std::size_t i = 0; i < 3; ++i) {
            const auto [low, high] = std::minmax(triangle[i], triangle[(i + 1) % 3]);
            ++sides[{low, high}];
        }
    }
    return static_cast<std::size_t>(
        std::count_if(sides.begin(), sides.end(), [](const auto& side) { return side.second == 1; }));
}

double reachOf(const zrk::FileMesh& mesh)
{
    double reach = 0;
    for (const auto& p : mesh.vertices) {
        reach = std::max({reach, std::abs(p[0]), std::abs(p[1]), std::abs(p[2])});
    }
    return reach;
}

// Each choice of the dialog does what it says.
TEST_F(ExportTest, SurfacesAreAsOneChose)
{
    const GraphDocument box = parsed(R"({"zrkGraph": 1,
        "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]], "unit": "inch"},
        "nodes": [{"id": 1, "type": "BoxSDF", "values": {"center": [0, 0, 0], "dimensions": [0.93, 0.93, 0.93]}},
                  {"id": 2, "type": "PlaneSDF"}]})");
    const auto written = [&](const char* name, const SurfaceExport& options, std::uint16_t node = 1) {
        const ExportResult done = run(task(box, name, options, {node, 0}));
        EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
        return zrk::valueOrThrow(zrk::readMesh(path(name)));
    };
    const zrk::FileMesh usual = written("usual.3mf", {20});
    EXPECT_EQ(usual.unit, zrk::LengthUnit::Inch);
    EXPECT_EQ(openEdges(usual), 0u);
    EXPECT_GT(written("fine.3mf", {40}).triangles.size(), 3 * usual.triangles.size());
    const zrk::FileMesh sharp = written("sharp.3mf", {20, true});
    EXPECT_NE(sharp.vertices, usual.vertices);
    EXPECT_LT(written("flat.3mf", {20, false, false, 0.01}).triangles.size(), usual.triangles.size() / 2);
    EXPECT_NEAR(reachOf(written("wide.3mf", {20, false, false, 0, 0.25})) - reachOf(usual), 0.25, 0.02);
    EXPECT_EQ(openEdges(written("cut.3mf", {20}, 2)), 0u);
    EXPECT_GT(openEdges(written("open.3mf", {20, false, true}, 2)), 0u);
}

// 3MF files carry the document's name.
TEST_F(ExportTest, SurfacesAreNamedAfterTheirDocument)
{
    DocumentWarnings warnings;
    std::vector<std::string> files;
    for (const char* name : {"ball.zrk.json", "sphere.zrk.json"}) {
        const GraphDocument document = zrk::valueOrThrow(GraphDocument::parse(sphereText(), name, warnings));
        EXPECT_EQ(run(task(document, "a.3mf", SurfaceExport{8})).kind, ExportResult::Kind::Done);
        files.push_back(content("a.3mf"));
    }
    EXPECT_NE(files[0], files[1]);
}

TEST_F(ExportTest, SlicesAreWhereTheViewHasThem)
{
    const GraphDocument document =
        parsed(R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
        "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5, "center": [0.5, 0.25, 0]}}]})");
    std::vector<QImage> pictures;
    for (const auto& [axis, at, iso] : {std::tuple(2, 0.5, 0.0), std::tuple(0, 0.5, 0.0),
                                        std::tuple(2, 0.7, 0.0), std::tuple(2, 0.5, 0.25)}) {
        SliceExport slice{axis, at, 64};
        slice.iso = iso;
        EXPECT_EQ(run(task(document, "slice.png", slice)).kind, ExportResult::Kind::Done);
        pictures.emplace_back(QString::fromStdString(path("slice.png")));
        for (std::size_t i = 0; i + 1 < pictures.size(); ++i) {
            EXPECT_NE(pictures.back(), pictures[i]) << axis << " " << at << " " << iso;
        }
    }
}

TEST_F(ExportTest, PicturesOfTheSolidAreAsOneChose)
{
    const GraphDocument document = parsed(sphereText());
    SolidExport solid;
    solid.width = 90;
    solid.height = 60;
    const auto written = [&](const char* name) {
        EXPECT_EQ(run(task(document, name, solid)).kind, ExportResult::Kind::Done);
        return QImage(QString::fromStdString(path(name)));
    };
    const QImage studio = written("studio.png");
    solid.backdrop = zrk::Backdrop::Plain;
    const QImage white = written("white.png");
    EXPECT_GE(white.pixelColor(1, 1).red(), 253);
    EXPECT_LT(studio.pixelColor(1, 1).red(), 253);
    solid.isPerspective = true;
    EXPECT_NE(written("perspective.png"), white);
}

// What is written is the state that the export was asked for, whatever is edited meanwhile.
TEST_F(ExportTest, EditsMeanwhileDontCount)
{
    const GraphDocument document = parsed(sphereText());
    ExportTask before = task(document, "a.npy", VolumeExport{33});
    std::dynamic_pointer_cast<ZRKSphereSDF>(document.graph()->getNodePtr(1)->object)->radius.set(0.25);
    EXPECT_THAT(run(std::move(before)).text, HasSubstr("values from -0.5 to"));
}

TEST_F(ExportTest, RefusesBeforeAnyWork)
{
    const GraphDocument document = parsed(sphereText());
    const GraphDocument colors = example("directions");
    const GraphDocument flat = parsed(R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, 0], [1, 1, 0]]},
        "nodes": [{"id": 1, "type": "SphereSDF"}]})");
    struct Case {
        const char* file;
        ExportOptions options;
        const GraphDocument& document;
        PinAddress pin;
        const char* message;
    };
    const PinAddress color = *colors.output();
    for (const Case& c : {Case{"a.tiff", VolumeExport{}, document, {1, 0}, ".npy"},
                          Case{"a.npy", SurfaceExport{}, document, {1, 0}, ".stl"},
                          Case{"a.jpg", SliceExport{}, document, {1, 0}, "ending in .png"},
                          Case{"a.stl", SurfaceExport{}, colors, color, "Scalar"},
                          Case{"a.png", SolidExport{}, colors, color, "Scalar"},
                          Case{"a.png", SolidExport{16000, 16000}, document, {1, 0}, "together"},
                          Case{"a.stl", SurfaceExport{}, flat, {1, 0}, "no extent along z"},
                          Case{"a.npy", VolumeExport{}, flat, {1, 0}, "no extent along z"},
                          Case{"a.stl", SurfaceExport{}, document, {5, 0}, "node 5"}}) {
        SCOPED_TRACE(c.message);
        const auto refused = exportTask(path(c.file), c.document, c.pin, c.options);
        ASSERT_FALSE(refused);
        EXPECT_THAT(zrk::messageOf(refused.error()), HasSubstr(c.message));
    }
    EXPECT_EQ(entryCount(), 0);
}

TEST_F(ExportTest, FailuresLeaveWhatWasThere)
{
    const GraphDocument document = parsed(sphereText());
    std::dynamic_pointer_cast<ZRKSphereSDF>(document.graph()->getNodePtr(1)->object)->radius.set(-1);
    put("a.stl", "former");
    ExportResult failed = run(task(document, "a.stl", SurfaceExport{16}));
    EXPECT_EQ(failed.kind, ExportResult::Kind::Failed);
    EXPECT_THAT(failed.text, HasSubstr("no surface at 0"));
    EXPECT_THAT(failed.text, ::testing::Not(HasSubstr("--"))) << "a window has no options";
    EXPECT_EQ(content("a.stl"), "former");
    failed = run(task(document, "gone/a.npy", VolumeExport{8}));
    EXPECT_EQ(failed.kind, ExportResult::Kind::Failed);
    EXPECT_THAT(failed.text, HasSubstr("gone"));
    EXPECT_EQ(entryCount(), 1);
}

TEST_F(ExportTest, CanBeCancelledAtOnce)
{
    const GraphDocument document = parsed(slowText());
    put("a.npy", "former");
    for (const int node : {1, 2}) {
        SCOPED_TRACE(node);
        ExportJob job(*application);
        follow(job);
        ASSERT_TRUE(
            job.start(task(document, "a.npy", VolumeExport{200}, {static_cast<std::uint16_t>(node), 0})));
        EXPECT_FALSE(job.start(task(document, "b.npy", VolumeExport{8}))) << "one at a time";
        QTest::qWait(200);
        EXPECT_FALSE(result);
        QElapsedTimer clock;
        clock.start();
        job.cancel();
        ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
        EXPECT_LT(clock.elapsed(), 2000); // 50 ms where nothing else runs
        EXPECT_EQ(result->kind, ExportResult::Kind::Cancelled) << result->text;
        EXPECT_EQ(content("a.npy"), "former");
        EXPECT_EQ(entryCount(), 1) << "no partial file";
    }
    auto job = std::make_unique<ExportJob>(*application);
    follow(*job);
    ASSERT_TRUE(job->start(task(document, "a.npy", VolumeExport{200})));
    QTest::qWait(50);
    job.reset(); // as when the window is closed
    QTest::qWait(50);
    EXPECT_FALSE(result) << "nobody is told any more";
    EXPECT_EQ(content("a.npy"), "former");
}

TEST_F(ExportTest, TellsHowFarItIs)
{
    const GraphDocument document = parsed(sphereText());
    const ExportResult done = run(task(document, "a.ply", SurfaceExport{160}));
    EXPECT_EQ(done.kind, ExportResult::Kind::Done) << done.text;
    ASSERT_GE(progress.size(), 3u);
    for (std::size_t i = 1; i < progress.size(); ++i) {
        EXPECT_GE(progress[i].fraction, progress[i - 1].fraction);
    }
    EXPECT_EQ(progress.front().fraction, 0);
    EXPECT_EQ(timeText(12.4), "12 s");
    EXPECT_EQ(timeText(0.1), "1 s");
    EXPECT_EQ(timeText(185), "3 min");
    EXPECT_EQ(timeText(3900), "1 h 5 min");
}

TEST_F(ExportTest, TheBarShowsWhatRuns)
{
    const GraphDocument document = parsed(slowText());
    QWidget window;
    ExportBar bar(&window);
    window.show();
    QString said;
    bar.onDone([&](const ExportResult& outcome) {
        result = outcome;
        said = bar.findChildren<QLabel*>().back()->text();
    });
    EXPECT_TRUE(bar.isHidden());
    ASSERT_TRUE(bar.start(task(document, "a.npy", VolumeExport{200})));
    EXPECT_FALSE(bar.isHidden());
    EXPECT_EQ(bar.findChild<QLabel*>()->text(), "Exporting a.npy");
    const auto labels = bar.findChildren<QLabel*>();
    auto* progress = bar.findChild<QProgressBar*>();
    ASSERT_TRUE(waitFor([&] { return labels.back()->text().endsWith(" left"); })) << "once it can be told";
    EXPECT_GT(progress->value(), 0);
    bar.findChild<QToolButton*>()->click();
    EXPECT_EQ(labels.back()->text(), "stopping");
    ASSERT_TRUE(waitFor([&] { return result.has_value(); }));
    EXPECT_EQ(result->kind, ExportResult::Kind::Cancelled);
    EXPECT_EQ(said, "stopping") << "whatever progress came after";
    EXPECT_TRUE(bar.isHidden());
    ASSERT_TRUE(bar.start(task(document, "b.npy", VolumeExport{200})));
    EXPECT_EQ(bar.findChild<QLabel*>()->text(), "Exporting b.npy");
    EXPECT_EQ(progress->value(), 0) << "another one begins anew";
    EXPECT_EQ(labels.back()->text(), "");
}

TEST_F(ExportTest, TheDialogKeepsItsChoicesAndTellsProblems)
{
    const GraphDocument document = parsed(sphereText());
    const auto prepare = [&](const std::string& file, const ExportOptions& options) {
        return exportTask(file, document, {1, 0}, options);
    };
    std::optional<ExportTask> chosen;
    {
        ExportStart start{path(""), "ball"};
        start.iso = 0.25;
        ExportDialog dialog(ExportKind::Surface, start, prepare);
        EXPECT_EQ(std::get<SurfaceExport>(dialog.options()).iso, 0.25) << "that of the view";
        dialog.onChosen([&](ExportTask task) { chosen = std::move(task); });
        auto* file = widgetNamed<QLineEdit>(dialog, "file to write");
        ASSERT_TRUE(file);
        EXPECT_TRUE(file->text().endsWith("ball.3mf"));
        file->setText(QString::fromStdString(path("ball.gif")));
        dialog.show();
        dialog.accept();
        EXPECT_TRUE(dialog.isVisible()) << "it stays, so that the name can be mended";
        EXPECT_THAT(dialog.problem().toStdString(), HasSubstr(".stl"));
        EXPECT_FALSE(chosen);
        widgetNamed<QCheckBox>(dialog, "sharp edges and corners")->click();
        file->setText(QString::fromStdString(path("ball.stl")));
        EXPECT_THAT(dialog.problem().toStdString(), IsEmpty());
        dialog.accept();
        ASSERT_TRUE(chosen);
        EXPECT_FALSE(dialog.isVisible());
    }
    EXPECT_EQ(run(std::move(*chosen)).kind, ExportResult::Kind::Done);
    ExportDialog again(ExportKind::Surface, {"/elsewhere", "ball"}, prepare);
    EXPECT_TRUE(std::get<SurfaceExport>(again.options()).isSharp);
    EXPECT_EQ(again.file(), path("ball.stl"));
    {
        ExportDialog volume(ExportKind::Volume, {path(""), "ball"}, prepare);
        volume.findChild<zrkui::NumberField*>("resolution")->display(9);
        volume.findChild<QComboBox*>("numbers")->setCurrentText("float32");
        volume.accept();
        ExportDialog next(ExportKind::Volume, {path(""), "ball"}, prepare);
        EXPECT_EQ(std::get<VolumeExport>(next.options()).resolution, 9);
        EXPECT_EQ(std::get<VolumeExport>(next.options()).type, zrk::NumberType::Float32);
    }
    for (const ExportKind kind : {ExportKind::Volume, ExportKind::Slice, ExportKind::Solid}) {
        ExportDialog dialog(kind, {"", "ball"}, prepare);
        EXPECT_EQ(dialog.options().index(), kind == ExportKind::Volume  ? 0u
                                            : kind == ExportKind::Slice ? 2u
                                                                        : 3u);
    }
}

} // namespace
} // namespace zrkworkbench
