#include "host/graph_document.h"
#include "model/extension_base.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/registry.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>

namespace zrkmodel {
namespace {

using ::testing::HasSubstr;

/// What goes wrong with its values and its files is what these name.
class Failing final : public ZRKExtensionBase, public ZRKFileImport {
public:
    static const ZRKTypeInfo& info()
    {
        static const ZRKTypeInfo info{"5D1C6B1E-0000-4000-8000-0000000000FA", "Failing", {}};
        return info;
    }

    const ZRKTypeInfo& typeInfo() const override { return info(); }
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, Tag::Scalar, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override { return {}; }
    void onDeserialize(const ZRKDeserialization& d) override
    {
        d.at("count");
        if (const ZRKJson* deed = d.at("deed")) {
            perform(deed->get<std::string>());
        }
    }
    zrk::Result<ZRKImportWarnings> onImport(const std::vector<std::filesystem::path>& paths,
                                            const ZRKImportOptions&, zrk::ProgressMonitor*) override
    {
        const std::string deed = paths.front().filename().string();
        if (deed == "skip") {
            return zrk::refused({"skip", "half", "all", "mend it"});
        }
        perform(deed);
        return {};
    }

private:
    static void perform(const std::string& deed)
    {
        if (deed == "memory") {
            throw std::bad_alloc();
        }
        if (deed == "length") {
            throw std::length_error("vector::_M_default_append");
        }
        if (deed == "range") {
            throw std::out_of_range("stoi");
        }
        if (deed == "limit") {
            throw zrk::FaultError({"\"count\"", "9", "at most 8", "lower it", zrk::FaultKind::FailedWork});
        }
        if (deed == "stop") {
            throw zrk::FaultError(zrk::interruptedAt("work"));
        }
    }
};

const bool registered = [] {
    ZRKGraphObject::registry().add(Failing::info(), {}, [] { return std::make_shared<Failing>(); }, {}, {});
    return true;
}();

zrk::Result<GraphDocument> document(const std::string& members, DocumentWarnings& warnings)
{
    return GraphDocument::parse(R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Failing", )" + members +
                                    "}]}",
                                "a.zrk.json", warnings);
}

// Whatever it is that fails while a node is read, the document is refused with node and key.
TEST(FailingNodes, RefuseTheDocumentAtTheirPlace)
{
    struct Case {
        const char* members;
        const char* place;
        const char* found;
    };
    const Case cases[] = {
        {R"("values": {"size": 2, "deed": "memory", "count": -7e9})", R"("values", "count")", "memory"},
        {R"("values": {"deed": "length"})", R"("values")", "memory"},
        {R"("values": {"deed": "range", "count": 1})", R"("values", "count")", "stoi"},
        {R"("values": {"deed": "limit", "count": 9})", R"("values", "count")", "9"},
        {R"("values": {"deed": 5})", R"("values", "deed")", "5"},
        {R"("import": "memory")", R"("import", memory)", "memory"},
        {R"("import": "limit")", R"("import", "count")", "9"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.members);
        DocumentWarnings warnings;
        const auto refused = document(c.members, warnings);
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().place, std::string("a.zrk.json, node 1 (Failing), ") + c.place);
        EXPECT_THAT(refused.error().found, HasSubstr(c.found));
        EXPECT_EQ(refused.error().kind, zrk::FaultKind::BadInput);
    }
}

TEST(FailingNodes, MayBeStoppedAndMayLeaveOut)
{
    DocumentWarnings warnings;
    for (const char* members : {R"("values": {"deed": "stop"})", R"("import": "stop")"}) {
        EXPECT_EQ(document(members, warnings).error().kind, zrk::FaultKind::Interrupted);
    }
    EXPECT_TRUE(document(R"("import": "skip")", warnings));
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(zrk::messageOf(warnings[0]), "a.zrk.json, node 1 (Failing), \"import\", skip: found half, "
                                           "expected all\n  remedy: mend it");
}

} // namespace
} // namespace zrkmodel
