#include "core/engine/field_sampler.h"
#include "core/engine/prepared_field.h"
#include "core/surface/solid_measures.h"
#include "core/values/stop.h"
#include "host/document_values.h"
#include "host/field_grid.h"
#include "host/graph_document.h"
#include "model/deferred_work.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/registry.h"
#include "testing/document_mutation.h"
#include "testing/temporary_folder.h"
#include "tests/stress/stress.h"

#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace zrkmodel {
namespace {

using zrktest::ForcedSchedules;
using zrktest::Stress;

const std::filesystem::path kFixtures = zrktest::sourceFolder() / "fuzz" / "fixtures";

GraphDocument opened(const std::string& text)
{
    DocumentWarnings warnings;
    return zrk::valueOrThrow(GraphDocument::parse(text, kFixtures / "case.zrk.json", warnings));
}

constexpr std::size_t kCount = 40;
using Values = std::array<double, kCount>;

/// Component 0 at positions spread over the unit cube.
Values valuesOf(const zrk::PreparedField& field)
{
    Values x, y, z, values;
    for (std::size_t i = 0; i < kCount; ++i) {
        x[i] = static_cast<double>(i % 5) / 4;
        y[i] = static_cast<double>(i / 5 % 4) / 3;
        z[i] = static_cast<double>(i / 20) - 0.5;
    }
    field.evaluate(x.data(), y.data(), z.data(), kCount, values.data());
    return values;
}

bool isSame(const Values& a, const Values& b) { return std::memcmp(a.data(), b.data(), sizeof a) == 0; }

/// A field and what it must give, made by one thread for the others.
struct Snapshot {
    zrk::PreparedField field;
    Values values{};
};

/// The latest one.
class Published {
public:
    void set(const zrk::PreparedField& field)
    {
        const auto snapshot = std::make_shared<const Snapshot>(Snapshot{field, valuesOf(field)});
        const std::lock_guard lock(_mutex);
        _snapshot = snapshot;
    }
    std::shared_ptr<const Snapshot> get() const
    {
        const std::lock_guard lock(_mutex);
        return _snapshot;
    }

private:
    mutable std::mutex _mutex;
    std::shared_ptr<const Snapshot> _snapshot = std::make_shared<const Snapshot>();
};

/// A twisted union of a mesh, a lattice, a sphere and a frozen gyroid.
const char* const kSolid =
    R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]}, "nodes": [
  {"id": 1, "type": "TwistTransform", "values": {"angle": 30.0}},
  {"id": 2, "type": "SphereSDF", "values": {"radius": 0.5}},
  {"id": 3, "type": "MeshSDF", "import": "torus_knot.obj"},
  {"id": 4, "type": "BinaryOperator", "values": {"op_name": "minimum"}},
  {"id": 5, "type": "Gyroid"},
  {"id": 6, "type": "RasterFX", "values": {"resolution": 8}},
  {"id": 7, "type": "BeamSDF", "import": "torus_knot.obj"},
  {"id": 8, "type": "BinaryOperator", "values": {"op_name": "maximum"}},
  {"id": 9, "type": "BinaryOperator", "values": {"op_name": "minimum"}}],
  "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [4, 0]}, {"from": [3, 0], "to": [4, 1]},
  {"from": [5, 0], "to": [6, 0]}, {"from": [6, 0], "to": [8, 0]}, {"from": [7, 0], "to": [8, 1]},
  {"from": [4, 0], "to": [9, 0]}, {"from": [8, 0], "to": [9, 1]}],
  "output": [9, 0]})";

/// What one thread may do with its document at any time.
class Editor {
public:
    explicit Editor(std::string folder) : _folder(std::move(folder)) {}

    /// One edit, and now and then another document.
    void edit(std::mt19937& random)
    {
        ZRKGraph& graph = *_document->graph();
        switch (random() % 9) {
        case 0:
            ignore(_document->setValue(2, "radius", 0.1 + 0.01 * static_cast<double>(random() % 50)));
            break;
        case 1:
            ignore(_document->setValue(1, "angle",
                                       random() % 3 == 0 ? ZRKJson("wrong") : ZRKJson(random() % 360)));
            break;
        case 2:
            graph.disconnect(Pin_handle::input(9, random() % 2));
            break;
        case 3:
            graph.connect(Pin_handle::output(random() % 10, 0),
                          Pin_handle::input(random() % 10, random() % 2));
            break;
        case 4: {
            const auto& types = ZRKGraphObject::registry().entries();
            const auto added = graph.addNode(types[random() % types.size()].factory(), 20 + random() % 4);
            if (added.isAlive()) {
                graph.connect(Pin_handle::output(added.id(), 0), Pin_handle::input(9, random() % 2));
            }
            break;
        }
        case 5:
            graph.removeNode(static_cast<std::uint16_t>(20 + random() % 4));
            break;
        case 6:
            if (const auto node = graph.getNodePtr(random() % 2 == 0 ? 3 : 7)) {
                ignore(dynamic_cast<ZRKFileImport&>(*node->object)
                           .importFiles({kFixtures / "torus_knot.obj"}, nullptr));
            }
            break;
        case 7:
            zrk::valueOrThrow(_document->save(_folder + "/saved.zrk.json"));
            break;
        default:
            if (random() % 10 == 0) {
                _document.emplace(opened(kSolid));
            }
            break;
        }
    }

    std::optional<zrk::PreparedField> field() const
    {
        const auto output = _document->outputField();
        return output ? std::optional<zrk::PreparedField>(std::in_place, output->field) : std::nullopt;
    }

private:
    std::string _folder;
    std::optional<GraphDocument> _document = opened(kSolid);

    /// Refusals are part of what is tried.
    static void ignore(const auto&) {}
};

using DocumentStress = zrktest::TemporaryFolder;

// A window edits, previews and exports go on with the fields that they were given.
TEST_F(DocumentStress, FieldsStayWhatTheyWereWhileTheirDocumentIsEdited)
{
    const ForcedSchedules schedules;
    Published published;
    Editor editor(folder);
    Stress stress;
    stress.add(1, [&](std::mt19937& random) {
        editor.edit(random);
        if (const auto field = editor.field()) {
            published.set(*field);
        }
    });
    stress.add(1, [&](std::mt19937& random) {
        const auto snapshot = published.get();
        EXPECT_TRUE(isSame(valuesOf(snapshot->field), snapshot->values));
        const zrk::PositionBox box{zrk::Interval<double>(0, 1), zrk::Interval<double>(0, 1),
                                   zrk::Interval<double>(-0.5, 0.5)};
        EXPECT_TRUE(isSame(valuesOf(snapshot->field.simplifiedFor(box)), snapshot->values));
        valuesOf(snapshot->field.forRun()); // with what was imported since
        snapshot->field.bounds(box);
        if (random() % 16 == 0) {
            zrk::SurfaceSettings settings;
            settings.cells = {6, 6, 6};
            settings.threads = 2;
            zrk::measureSolid(snapshot->field, settings, {.accuracy = 0.5, .mostCells = 12});
        }
    });
    // Long work that somebody else stops.
    stress.add(1, [&](std::mt19937& random) {
        const auto snapshot = published.get();
        zrk::StopSign stop;
        std::jthread raiser([&stop, after = random() % 2000] {
            std::this_thread::sleep_for(std::chrono::microseconds(after));
            stop.raise();
        });
        const zrk::StopScope scope(stop);
        zrk::SurfaceSettings settings;
        settings.cells = {40, 40, 40};
        settings.threads = 2;
        const auto stopped = zrk::attempt("surface", [&] { zrk::extractSurface(snapshot->field, settings); });
        EXPECT_TRUE(stopped || stopped.error().kind == zrk::FaultKind::Interrupted);
    });
    stress.run();
}

TEST_F(DocumentStress, ListenersComeAndGoWhileValuesChange)
{
    const ForcedSchedules schedules;
    GraphDocument document = opened(kSolid);
    const auto sphere = document.graph()->getNodePtr(2)->object;
    std::atomic<std::size_t> heard{0};
    Stress stress;
    stress.add(1, [&](std::mt19937& random) {
        zrk::valueOrThrow(document.setValue(2, "radius", static_cast<double>(random() % 100)));
    });
    stress.add(3, [&](std::mt19937&) {
        const nod::scoped_connection connection = sphere->addListener([&heard](const ZRKEvent&) { ++heard; });
        std::this_thread::yield();
    });
    stress.run();
}

// What only reads may stand on as many threads as one likes: building of chains, runs, saving, measuring.
TEST_F(DocumentStress, AnExampleIsReadByManyAtOnce)
{
    const ForcedSchedules schedules;
    std::vector<std::pair<GraphDocument, std::string>> documents;
    ::testing::internal::CaptureStdout(); // what the sweep's solver tells
    for (const ZRKJson& example : zrktest::smallExamples()) {
        documents.emplace_back(opened(example.dump()), "");
        documents.back().second = documents.back().first.toText();
    }
    std::atomic<std::size_t> next{0};
    Stress stress;
    stress.add(4, [&](std::mt19937& random) {
        const std::size_t k = next++ / 4; // the same one as the others, most of the time
        const auto& [document, text] = documents[k % documents.size()];
        const auto output = zrk::valueOrThrow(document.outputField());
        switch (random() % 4) {
        case 0:
            EXPECT_EQ(document.toText(), text);
            zrk::valueOrThrow(document.save(path(std::to_string(random() % 3))));
            break;
        case 1: {
            zrk::FieldSampler sampler(output.field.generator(),
                                      std::make_shared<zrk::PointListDomain>(
                                          std::vector<zrk::Tensor<3, double>>(50, {0.25, 0.5, 0.75})));
            sampler.threadCount = 3;
            EXPECT_TRUE(sampler.run());
            break;
        }
        case 2: {
            const SlicePlane plane(document.samplingBounds(), 2, 0.5, 12);
            zrk::valueOrThrow(sampleField(output.field, plane, nullptr, 2));
            break;
        }
        default: {
            const zrk::PreparedField field(output.field);
            EXPECT_TRUE(isSame(valuesOf(field), valuesOf(zrk::PreparedField(output.field))));
            break;
        }
        }
    });
    stress.run();
    ::testing::internal::GetCapturedStdout();
}

TEST_F(DocumentStress, DocumentsComeAndGoOnAllThreads)
{
    std::vector<std::string> texts;
    for (const ZRKJson& example : zrktest::smallExamples()) {
        texts.push_back(example.dump());
    }
    std::mutex mutex;
    std::optional<zrk::IField> left; // outlives its document, and ends on another thread
    ::testing::internal::CaptureStdout();
    Stress stress;
    stress.add(4, [&](std::mt19937& random) {
        GraphDocument document = opened(texts[random() % texts.size()]);
        std::optional<zrk::IField> field = zrk::valueOrThrow(document.outputField()).field;
        if (random() % 2 == 0) {
            document = opened(texts[random() % texts.size()]);
        }
        {
            const std::lock_guard lock(mutex);
            std::swap(field, left);
        }
        if (field) {
            valuesOf(zrk::PreparedField(*field));
        }
    });
    stress.run();
    ::testing::internal::GetCapturedStdout();
}

TEST_F(DocumentStress, DeferredWorkIsDoneOnceByWhoeverSamplesFirst)
{
    const ForcedSchedules schedules;
    const GraphDocument document = opened(kSolid);
    const auto output = zrk::valueOrThrow(document.outputField());
    const Values expected = valuesOf(zrk::PreparedField(output.field));
    std::mutex mutex;
    std::optional<zrk::PreparedField> deferred;
    Stress stress;
    stress.add(1, [&](std::mt19937&) {
        // A document of its own, in which nothing is frozen yet.
        zrk::PreparedField field;
        {
            const ZRKDeferredBuilding deferring;
            field = zrk::PreparedField(zrk::valueOrThrow(opened(kSolid).outputField()).field);
        }
        const std::lock_guard lock(mutex);
        deferred = field;
    });
    stress.add(3, [&](std::mt19937& random) {
        std::optional<zrk::PreparedField> field;
        {
            const std::lock_guard lock(mutex);
            field = deferred;
        }
        if (!field) {
            return;
        }
        if (random() % 3 == 0) {
            zrktest::ImpatientMonitor monitor(random() % 3);
            const ZRKDeferredRun run(monitor);
            const auto sampled = zrk::attempt("sampling", [&] { valuesOf(*field); });
            EXPECT_TRUE(sampled || sampled.error().kind == zrk::FaultKind::Interrupted);
        } else {
            EXPECT_TRUE(isSame(valuesOf(*field), expected));
        }
    });
    stress.run();
}

} // namespace
} // namespace zrkmodel
