#include "apps/workbench/views/preview_service.h"
#include "apps/workbench/views/tests/views_fixture.h"
#include "components/primitives/sphere_sdf.h"
#include "host/field_grid.h"

#include <QObject>

#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using std::chrono::milliseconds;

/// A service and what it has delivered.
struct Service {
    std::vector<SlicePreview> slices;
    std::vector<SolidPreview> solids;
    std::vector<bool> newest;
    PreviewService service;

    explicit Service(QObject& receiver) : service(receiver)
    {
        service.onSlice([this](const SlicePreview& preview, bool isNewest) {
            slices.push_back(preview);
            newest.push_back(isNewest);
        });
        service.onSolid([this](const SolidPreview& preview, bool) { solids.push_back(preview); });
    }
    bool isDone() const { return !slices.empty() && slices.back().isFinal && newest.back(); }
};

SliceRequest requestOf(const GraphDocument& document, PinAddress pin, int pixels)
{
    const OutputField output = document.outputField(pin).value();
    SliceRequest request;
    request.field = PreviewService::prepare(output);
    request.bounds = document.samplingBounds();
    request.pixels = {pixels, pixels};
    request.style = styleOf(output, document.view());
    return request;
}

std::shared_ptr<ZRKSphereSDF> sphereOf(const GraphDocument& document)
{
    return std::dynamic_pointer_cast<ZRKSphereSDF>(document.graph()->getNodePtr(1)->object);
}

QImage asImage(const zrk::Picture& picture)
{
    return QImage(picture.data.data(), picture.dims[0], picture.dims[1], 3 * picture.dims[0],
                  QImage::Format_RGB888)
        .convertToFormat(QImage::Format_RGB32);
}

/// What `zrk slice` draws, with the colours of a range and lines of a width.
QImage commandsSlice(const GraphDocument& document, PinAddress pin, int axis, double at, int size,
                     const ValueRange& range, double scale = 1)
{
    const OutputField output = document.outputField(pin).value();
    const SlicePlane plane(document.samplingBounds(), axis, at, size);
    const FieldValues values = sampleField(output.field, plane, nullptr).value();
    SliceStyle style = styleOf(output, document.view());
    style.range = range;
    style.scale = scale;
    const int components = static_cast<int>(output.tag.components);
    return asImage(
        drawSlice({plane.width(), plane.height(), components, values, values.isWeightless}, style).picture);
}

// Every kind of value, a weight of 0 among them, on every axis and with several workers.
TEST_F(ViewsTest, SlicesAreThoseOfTheCommand)
{
    struct Case {
        const char* example;
        std::uint16_t node;
        int axis;
        double at;
        double scale = 1;
    };
    for (const Case& c :
         {Case{"sphere_and_twisted_gyroid", 4, 0, 0.3}, Case{"sphere_and_twisted_gyroid", 4, 0, 0.3, 2},
          Case{"directions", 3, 1, 0.5}, Case{"sphere_coordinates", 1, 2, 0.7}, Case{"mask", 4, 2, 0.5}}) {
        SCOPED_TRACE(c.example);
        const GraphDocument document = example(c.example);
        const PinAddress pin{c.node, 0};
        Service s(*application);
        SliceRequest request = requestOf(document, pin, 200);
        request.axis = c.axis;
        request.at = c.at;
        request.style.scale = c.scale;
        s.service.requestSlice(request);
        ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
        const SlicePreview& last = s.slices.back();
        EXPECT_TRUE(last.isWhole);
        EXPECT_EQ(last.hasWeightless, std::string(c.example) == "mask");
        EXPECT_EQ(last.picture, commandsSlice(document, pin, c.axis, c.at, 200, last.range, c.scale));
    }
}

// Coarse pictures and parts have the colours of the whole, or they would flicker while one zooms.
TEST_F(ViewsTest, ColoursStayWhileOneZooms)
{
    const GraphDocument document = parsed(sphereText());
    Service s(*application);
    SliceRequest request = requestOf(document, {1, 0}, 300);
    s.service.requestSlice(request);
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    const ValueRange whole = s.slices.back().range;
    EXPECT_NEAR(whole.high, std::sqrt(2.0) - 0.5, 0.02);
    s.slices.clear();
    request.window = QRectF(0.1, 0.2, 0.05, 0.05);
    s.service.requestSlice(request);
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    EXPECT_EQ(s.slices.back().range.low, whole.low);
    EXPECT_EQ(s.slices.back().range.high, whole.high);
    // The part lies inside the sphere, which is blue.
    const QColor middle = s.slices.back().picture.pixelColor(150, 150);
    EXPECT_GT(middle.blue(), middle.red() + 20);
}

// A dear field is shown coarsely at once, then finer, and by all its pixels at last.
TEST_F(ViewsTest, DearFieldsComeCoarseFirst)
{
    if (isSanitized()) {
        GTEST_SKIP() << "it goes by time";
    }
    const GraphDocument document = parsed(slowText());
    Service s(*application);
    s.service.requestSlice(requestOf(document, {1, 0}, 160));
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    ASSERT_GE(s.slices.size(), 2u);
    EXPECT_LT(s.slices.front().picture.width(), 80);
    EXPECT_LT(s.slices.front().milliseconds, 200); // 20 ms where nothing else runs
    for (std::size_t i = 1; i < s.slices.size(); ++i) {
        EXPECT_GT(s.slices[i].picture.width(), s.slices[i - 1].picture.width());
    }
    EXPECT_EQ(s.slices.back().picture.size(), QSize(160, 160));
}

TEST_F(ViewsTest, CheapFieldsAreDrawnAtOnce)
{
    if (isSanitized()) {
        GTEST_SKIP() << "it goes by time";
    }
    const GraphDocument document = parsed(sphereText());
    Service s(*application);
    s.service.requestSlice(requestOf(document, {1, 0}, 64));
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    EXPECT_EQ(s.slices.size(), 1u);
}

// What runs has the values of its request, whatever is edited meanwhile; the newest is shown last.
TEST_F(ViewsTest, PicturesShowOneStateAndTheNewestLast)
{
    const GraphDocument document = parsed(sphereText());
    Service s(*application);
    for (int i = 1; i <= 50; ++i) {
        sphereOf(document)->radius.set(i / 10.0);
        s.service.requestSlice(requestOf(document, {1, 0}, 1024));
    }
    sphereOf(document)->radius.set(100);
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    EXPECT_LT(s.slices.size(), 20u) << "each request was drawn";
    // The distance at the centre is the least one: -5, the last request's.
    EXPECT_NEAR(s.slices.back().range.low, -5, 0.05);
    EXPECT_EQ(s.slices.back().picture.width(), 1024);
}

// Edits every few milliseconds must not put off the first picture until they end.
TEST_F(ViewsTest, ARowOfEditsShowsPicturesMeanwhile)
{
    if (isSanitized()) {
        GTEST_SKIP() << "it goes by time";
    }
    const GraphDocument document = parsed(slowText());
    Service s(*application);
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 1000) {
        s.service.requestSlice(requestOf(document, {1, 0}, 400));
        QTest::qWait(4);
    }
    EXPECT_GE(s.slices.size(), 3u);
    EXPECT_FALSE(s.isDone());
    s.service.cancelView();
}

/// Counts what is delivered to it, wanted or not.
class CountingReceiver : public QObject {
public:
    int count = 0;

    bool event(QEvent* event) override
    {
        count += event->type() == QEvent::MetaCall ? 1 : 0;
        return QObject::event(event);
    }
};

// Pictures may be on their way when nobody wants them any more.
TEST_F(ViewsTest, LatePicturesAreDropped)
{
    const GraphDocument document = parsed(sphereText());
    CountingReceiver receiver;
    Service s(receiver);
    s.service.requestSlice(requestOf(document, {1, 0}, 64));
    std::this_thread::sleep_for(milliseconds(300)); // drawn and sent, but not received
    s.service.cancelView();
    QCoreApplication::processEvents();
    EXPECT_GT(receiver.count, 0) << "else this test shows nothing";
    EXPECT_TRUE(s.slices.empty());
}

// What evaluators compute for long when they are built is computed on the previews' thread, and ends too.
TEST_F(ViewsTest, LongWorkKeepsNobodyWaiting)
{
    const GraphDocument document = parsed(slowText());
    for (const int node : {1, 2}) {
        SCOPED_TRACE(node);
        auto s = std::make_unique<Service>(*application);
        QElapsedTimer clock;
        for (int i = 0; i < 5; ++i) {
            clock.start();
            s->service.requestSlice(requestOf(document, {static_cast<std::uint16_t>(node), 0}, 2048));
            EXPECT_LT(clock.elapsed(), 200); // some milliseconds where nothing else runs
            QTest::qWait(30);
        }
        for (const SlicePreview& preview : s->slices) {
            EXPECT_EQ(preview.problem, "");
        }
        clock.start();
        s.reset();
        EXPECT_LT(clock.elapsed(), 400); // 20 ms where nothing else runs
    }
}

TEST_F(ViewsTest, ShowsTheNewestStateOfARaster)
{
    const GraphDocument document =
        parsed(R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
        "nodes": [{"id": 1, "type": "SphereSDF"},
                  {"id": 2, "type": "RasterFX", "values": {"auto-update": true, "resolution": 65}}],
        "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})");
    Service s(*application);
    for (int i = 1; i <= 30; ++i) {
        sphereOf(document)->radius.set(i);
        s.service.requestSlice(requestOf(document, {2, 0}, 128));
        QTest::qWait(i % 7);
    }
    ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
    EXPECT_NEAR(s.slices.back().range.low, -30, 0.5);
}

TEST_F(ViewsTest, ReadsValuesWeightsAndGradients)
{
    const GraphDocument document = parsed(sphereText());
    PreviewService service(*application);
    std::vector<Readout> readouts;
    service.onReadout([&](const Readout& readout) { readouts.push_back(readout); });
    const auto field = PreviewService::prepare(document.outputField({1, 0}).value());
    service.requestReadout({field, {0.3, 0.4, 0}, document.samplingBounds()});
    ASSERT_TRUE(waitFor([&] { return readouts.size() == 1; }));
    EXPECT_EQ(readouts[0].values, std::vector<double>{0});
    EXPECT_EQ(readouts[0].weight, 1);
    ASSERT_TRUE(readouts[0].slope);
    EXPECT_NEAR(*readouts[0].slope, 1, 1e-6);
    sphereOf(document)->radius.set(0.25); // what was prepared before isn't edited
    service.requestReadout({field, {0, 0, 0.75}, document.samplingBounds()});
    ASSERT_TRUE(waitFor([&] { return readouts.size() == 2; }));
    EXPECT_EQ(readouts[1].values, std::vector<double>{0.25});
}

TEST_F(ViewsTest, TellsWhatFlowsThroughAWire)
{
    const GraphDocument document = parsed(sphereText());
    PreviewService service(*application);
    std::vector<Flow> flows;
    service.onFlow([&](const Flow& flow) { flows.push_back(flow); });
    service.requestFlow(document.outputField({1, 0}).value(), {0, 0, 0.5}, document.samplingBounds(), 2);
    ASSERT_TRUE(waitFor([&] { return flows.size() == 1; }));
    EXPECT_EQ(flows[0].problem, "");
    EXPECT_EQ(flows[0].pin.node, 1);
    EXPECT_EQ(flows[0].probe.values, std::vector<double>{0});
    // The slice at z = 0.5 touches the sphere at its middle; its corners are the farthest.
    EXPECT_NEAR(flows[0].range.low, 0, 0.01);
    EXPECT_NEAR(flows[0].range.high, 1, 0.03);
}

TEST_F(ViewsTest, ThumbnailsOfEachNodeShowTheNewest)
{
    const GraphDocument document = parsed(sphereText());
    PreviewService service(*application);
    std::map<std::uint16_t, std::vector<QImage>> pictures;
    service.onThumbnail(
        [&](std::uint16_t node, const QImage& picture) { pictures[node].push_back(picture); });
    const auto request = [&](std::uint16_t node, double radius) {
        sphereOf(document)->radius.set(radius);
        service.requestThumbnail(node, document.outputField({1, 0}).value(), document.samplingBounds(),
                                 {160, 96});
    };
    for (const double radius : {0.1, 0.2, 0.9}) {
        request(7, radius);
        request(8, 1 - radius);
    }
    ASSERT_TRUE(waitFor([&] { return !pictures[7].empty() && !pictures[8].empty(); }));
    QTest::qWait(50);
    const QImage& large = pictures[7].back();
    EXPECT_EQ(large.size(), QSize(160, 96));
    // Widened, not cropped: the sphere of radius 0.9 covers 0.9 of the height and as many pixels across.
    const auto isInside = [&](int x, int y) {
        return large.pixelColor(x, y).blue() > large.pixelColor(x, y).red() + 20;
    };
    EXPECT_TRUE(isInside(80, 8));
    EXPECT_FALSE(isInside(80, 1));
    EXPECT_TRUE(isInside(80 - 40, 48));
    EXPECT_FALSE(isInside(80 - 46, 48));
    EXPECT_LE(pictures[7].size(), 2u);
}

TEST_F(ViewsTest, ToldOfWrongGradientsByTheRuleOfTheCheck)
{
    // A twist bends distances: far from its axis their gradient is long.
    const std::string twisted = R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
        "nodes": [{"id": 2, "type": "TwistTransform", "values": {"angle": 720.0}},
                  {"id": 1, "type": "BoxSDF"}],
        "links": [{"from": [2, 0], "to": [1, 0]}], "output": [1, 0]})";
    const GraphDocument plain = parsed(sphereText());
    const GraphDocument wrong = parsed(twisted);
    for (const GraphDocument* document : {&plain, &wrong}) {
        Service s(*application);
        SliceRequest request = requestOf(*document, {1, 0}, 128);
        request.judgesSlopes = true;
        s.service.requestSlice(request);
        ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
        ASSERT_TRUE(s.slices.back().slopes);
        const SlopeShare& slopes = *s.slices.back().slopes;
        EXPECT_EQ(slopes.isRemarkable, document == &wrong);
        const QImage unshaded = s.slices[s.slices.size() - 2].picture;
        s.slices.clear();
        request.slopeShade = QColor(Qt::yellow);
        s.service.requestSlice(request);
        ASSERT_TRUE(waitFor([&] { return s.isDone(); }));
        const QImage shaded = s.slices[s.slices.size() - 2].picture;
        int changed = 0;
        for (int y = 0; y < shaded.height(); ++y) {
            for (int x = 0; x < shaded.width(); ++x) {
                changed += shaded.pixel(x, y) != unshaded.pixel(x, y) ? 1 : 0;
            }
        }
        // Six of eight pixels of the places are striped.
        EXPECT_NEAR(static_cast<double>(changed) / (128 * 128), 0.75 * slopes.share, 0.05);
    }
}

SolidRequest solidRequestOf(const GraphDocument& document, PinAddress pin, int pixels)
{
    const OutputField output = document.outputField(pin).value();
    SolidRequest request;
    request.field = PreviewService::prepare(output);
    request.solid = solidOf(output, document.samplingBounds(), {}, false, "test", "none").value();
    request.pixels = {pixels, pixels};
    request.firstSize = 32;
    return request;
}

/// The share of a picture's pixels that are blue as cuts are.
double shareOfCuts(const QImage& image)
{
    int cut = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            cut += pixel.blue() > pixel.red() + 60 ? 1 : 0;
        }
    }
    return static_cast<double>(cut) / (image.width() * image.height());
}

TEST_F(ViewsTest, SolidsAreFramedCutAndRefined)
{
    const GraphDocument document = parsed(sphereText());
    Service s(*application);
    SolidRequest request = solidRequestOf(document, {1, 0}, 160);
    const auto draw = [&] {
        s.solids.clear();
        s.service.requestSolid(request);
        return waitFor([&] { return !s.solids.empty() && s.solids.back().isFinal; });
    };
    ASSERT_TRUE(draw());
    ASSERT_GE(s.solids.size(), 3u);
    EXPECT_EQ(s.solids.front().size, 32);
    EXPECT_EQ(s.solids.back().picture.size(), QSize(160, 160));
    EXPECT_EQ(s.solids.back().problem, "");
    EXPECT_LT(shareOfCuts(s.solids.back().picture), 0.001);
    ASSERT_TRUE(s.solids.back().frame);
    // A ball of diameter 1 with a margin of 6 % on each side.
    EXPECT_NEAR(s.solids.back().frame->span, 1 / 0.88, 0.02);
    EXPECT_NEAR(s.solids.back().frame->centre[0], 0, 0.02);

    request.cut = SolidRequest::Cut{2, 0.0};
    ASSERT_TRUE(draw());
    EXPECT_GT(shareOfCuts(s.solids.back().picture), 0.1);
    request.eye.from = {0.5, -0.7, -0.5}; // from below the other half is taken away
    ASSERT_TRUE(draw());
    EXPECT_GT(shareOfCuts(s.solids.back().picture), 0.1);

    sphereOf(document)->radius.set(-1); // nothing is inside
    request = solidRequestOf(document, {1, 0}, 160);
    ASSERT_TRUE(draw());
    EXPECT_THAT(s.solids.back().problem, ::testing::HasSubstr("Nothing below 0"));
}

} // namespace
} // namespace zrkworkbench
