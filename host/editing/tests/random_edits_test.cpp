#include "host/editing/tests/editing_fixture.h"

#include "components/operators/binary_operator.h"
#include "components/primitives/sphere_sdf.h"

#include <algorithm>
#include <random>

namespace zrkmodel {
namespace {

using namespace testing;

/// Edits at random, many of which can't be done.
class RandomEdits {
public:
    RandomEdits(EditSession& session, std::filesystem::path folder, unsigned seed, double& time)
        : _session(session), _folder(std::move(folder)), _random(seed), _time(time)
    {}

    void next()
    {
        _time += below(3) == 0 ? 10 : 0.1;
        switch (below(24)) {
        case 0:
        case 1:
            add();
            break;
        case 2:
            (void)_session.removeNodes({anyNode()}, below(2) == 0);
            break;
        case 3:
        case 4:
        case 5:
            (void)_session.link(output(), input(), below(2) == 0);
            break;
        case 6:
            (void)_session.unlink(input());
            break;
        case 7:
            (void)_session.insertIntoLink(anyNode(), input());
            break;
        case 8:
            drag();
            break;
        case 9:
        case 10:
        case 11:
            value();
            break;
        case 12:
            list();
            break;
        case 13:
            import();
            break;
        case 14:
            resource();
            break;
        case 15:
            (void)_session.setContext("modelBounds", ZRKJson{{-1, -1, -1}, {1 + below(2), 1, 1}});
            break;
        case 16:
            (void)_session.setOutput(below(4) == 0 ? std::nullopt : std::optional(PinAddress{anyNode(), 0}));
            break;
        case 17:
            (void)_session.setLabel(anyNode(), below(2) == 0 ? "" : "n" + std::to_string(below(9)));
            (void)_session.setView("frames", below(3) == 0 ? std::nullopt : std::optional(ZRKJson(below(9))));
            break;
        case 18:
            if (_session.document().graph()->nodes().size() < 40) {
                (void)_session.duplicate({anyNode(), anyNode()});
            }
            break;
        case 19:
            (void)_session.setBypassed(anyNode(), below(2) == 0);
            break;
        case 20:
            itself();
            break;
        case 21:
            _session.select({anyNode(), anyNode()});
            break;
        case 22:
            macro();
            break;
        default:
            for (unsigned i = below(6); i > 0; --i) {
                (void)(below(3) == 0 ? _session.redo() : _session.undo());
            }
        }
    }

    unsigned below(unsigned end) { return static_cast<unsigned>(_random() % end); }

private:
    EditSession& _session;
    std::filesystem::path _folder;
    std::mt19937 _random;
    double& _time;

    std::uint16_t anyNode()
    {
        const auto& nodes = _session.document().graph()->nodes();
        return nodes.empty() || below(20) == 0 ? 999 : nodes[below(static_cast<unsigned>(nodes.size()))]->id;
    }
    Pin_handle output() { return Pin_handle::output(anyNode(), 0); }
    Pin_handle input() { return Pin_handle::input(anyNode(), static_cast<std::uint8_t>(below(2))); }
    double number() { return (static_cast<int>(below(2001)) - 1000) / 512.0; }

    void add()
    {
        static const char* const types[] = {"SphereSDF", "TwistTransform", "Gyroid",   "BinaryOperator",
                                            "BoxSDF",    "Invert",         "RasterFX", "NormVec3",
                                            "Shell",     "PatternDesigner"};
        NewNode node{types[below(10)]};
        if (node.type == std::string("RasterFX")) {
            node.values = ZRKJson{{"auto-update", true}, {"resolution", 4}};
        }
        if (below(2) == 0) {
            node.position = {number(), number()};
        }
        if (_session.document().graph()->nodes().size() < 40) {
            (void)_session.addNode(node);
        }
    }
    void drag()
    {
        const std::uint16_t node = anyNode();
        _session.beginGesture();
        for (unsigned i = below(5); i > 0; --i) {
            (void)_session.move({{node, number(), number()}});
        }
        if (below(3) != 0) {
            _session.endGesture();
        }
    }
    void value()
    {
        const std::uint16_t node = anyNode();
        if (!_session.document().graph()->getNodePtr(node)) {
            return;
        }
        const auto object = objectOf(_session, node);
        if (!object->properties().empty()) {
            const auto* property =
                object->properties()[below(static_cast<unsigned>(object->properties().size()))];
            const std::string type = property->valueType();
            const ZRKJson value = type == "double"    ? ZRKJson(number())
                                  : type == "bool"    ? ZRKJson(below(2) == 0)
                                  : type == "vector3" ? ZRKJson({number(), number(), number()})
                                  : type == "image2d" ? ZRKJson(below(2) == 0 ? "gear" : "")
                                                      : ZRKJson("min");
            if (property->name() != "blur radius" && property->name() != "auto-update") {
                (void)_session.setValue(node, property->name(), value);
            }
        }
    }
    void list()
    {
        const ZRKJson pole{{"strength", number()}, {"point", {number(), number(), 0}}};
        if (below(2) == 0) {
            (void)_session.insertItem(6, "poles", below(3), pole);
        } else if (below(2) == 0) {
            (void)_session.setItem(6, "poles", below(3), pole);
        } else {
            (void)_session.removeItem(6, "poles", below(3));
        }
    }
    void import()
    {
        DocumentWarnings warnings;
        (void)_session.importFiles(7, {_folder / (below(2) == 0 ? "part.obj" : "other.obj")}, warnings);
    }
    void resource()
    {
        const ZRKJson picture{{"kind", "image2d"}, {"path", below(2) == 0 ? "gear.png" : "ring.png"}};
        const ZRKJson point{{"kind", "geometry"}, {"shape", "point"}, {"position", {number(), 0, 0}}};
        switch (below(5)) {
        case 0:
            (void)_session.addResource(picture);
            break;
        case 1:
            (void)_session.addResource(point);
            break;
        case 2:
            (void)_session.removeUnusedResources();
            break;
        case 3:
            (void)_session.setItem(6, "poles", below(2),
                                   {{"strength", 1}, {"is_ref", true}, {"point_handle", "here"}});
            break;
        default:
            (void)_session.removeResource(below(2) == 0 ? "both" : "here");
        }
    }
    /// A property by the component, as a panel does.
    void itself()
    {
        const std::uint16_t node = anyNode();
        if (_session.document().graph()->getNodePtr(node)) {
            if (const auto sphere = std::dynamic_pointer_cast<ZRKSphereSDF>(objectOf(_session, node))) {
                for (unsigned i = below(4); i > 0; --i) {
                    sphere->radius.set(number());
                }
            }
        }
    }
    void macro()
    {
        (void)_session.macro("several", [&]() -> zrk::Result<void> {
            for (unsigned i = below(5); i > 0; --i) {
                value();
                itself();
                add();
                (void)_session.link(output(), input(), true);
            }
            return below(2) == 0
                       ? zrk::Result<void>()
                       : zrk::Result<void>(zrk::refused({"macro", "bad luck", "luck", "try again"}));
        });
    }
};

class RandomEditing : public Editing, public ::testing::WithParamInterface<unsigned> {};

TEST_P(RandomEditing, IsUndoneToTheFirstByteAndRedoneToTheLast)
{
    const auto session = openParts();
    RandomEdits edits(*session, folder, GetParam(), time);
    const std::string first = session->document().toText();
    const auto firstSamples = samplesOf(session->document());
    for (int i = 0; i < 1000; ++i) {
        SCOPED_TRACE(::testing::Message() << "seed " << GetParam() << ", edit " << i);
        edits.next();
        if (edits.below(25) == 0) { // between the edits, what is shown is computed
            ASSERT_EQ(samplesOf(session->document()), samplesAfterReload(session->document()));
        }
    }
    EXPECT_GT(session->history().doneCount(), 150u);
    while (session->canRedo()) {
        ASSERT_TRUE(session->redo());
    }
    const std::string last = session->document().toText();
    const auto lastSamples = samplesOf(session->document());
    std::vector<std::string> texts;
    while (session->canUndo()) {
        texts.push_back(session->document().toText());
        ASSERT_TRUE(session->undo());
    }
    EXPECT_EQ(session->document().toText(), first);
    EXPECT_EQ(samplesOf(session->document()), firstSamples);
    EXPECT_FALSE(session->isModified());
    for (std::size_t i = texts.size(); i-- > 0;) {
        ASSERT_TRUE(session->redo());
        ASSERT_EQ(session->document().toText(), texts[i]) << "seed " << GetParam() << ", step " << i;
    }
    EXPECT_EQ(session->document().toText(), last);
    EXPECT_EQ(samplesOf(session->document()), lastSamples);
    DocumentWarnings warnings;
    const auto again = GraphDocument::parse(last, path("test.zrk.json"), warnings);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->toText(), last);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEditing, ::testing::Values(1u, 2u, 3u, 4u, 5u, 6u));

} // namespace
} // namespace zrkmodel
