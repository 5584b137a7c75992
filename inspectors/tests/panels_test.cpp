#include "inspectors/describe.h"
#include "model/graph_object.h"
#include "model/registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace zrkui {
namespace {

using zrkmodel::ZRKJson;

/// One line of a panel: W "label" and what else is told of it, children indented.
void print(const ZRKJson& node, int depth, std::ostream& out)
{
    const std::string indent(static_cast<std::size_t>(2 * depth), ' ');
    if (node.contains("layout")) {
        out << indent << node["layout"].get<std::string>();
        if (node.contains("title")) {
            out << " " << node["title"];
        }
        out << "\n";
        for (const ZRKJson& child : node["children"]) {
            print(child, depth + 1, out);
        }
        return;
    }
    out << indent << node["widget"].get<std::string>() << " " << node["label"];
    for (const char* key :
         {"property", "size", "min", "max", "items", "tip", "object", "dialog", "filter", "limit"}) {
        if (node.contains(key) && !(std::string(key) == "property" && node[key] == node["label"])) {
            out << " " << key << "=" << node[key].dump();
        }
    }
    out << "\n";
    for (const ZRKJson& button : node.value("buttons", ZRKJson::array())) {
        print(button, depth + 1, out);
    }
    if (node.contains("item")) {
        print(node["item"], depth + 1, out);
    }
}

std::string printed(const std::string& className)
{
    const ZRKJson panel = describePanels({className})[className];
    std::ostringstream out;
    if (panel.is_null()) {
        out << "none\n";
    } else {
        print(panel, 0, out);
    }
    return out.str();
}

// What each panel holds, letter by letter: layouts, labels, ranges, tool tips, names, dialogs, filters.
TEST(Panels, HoldTheirControls)
{
    const std::string vector = " size=3\n"; // as free as a number without limits
    const std::string limitedVector = " size=3 min=-5000000.0 max=5000000.0\n";
    const std::string meshImport =
        "horizontal\n"
        R"--(  button "Import Mesh" dialog={"mode":"files","caption":"Import","filter":"Mesh Files (*.obj)","multiple":true})--"
        "\n";
    const std::string sampler = "horizontal\n"
                                "  check \"wrap\"\n"
                                "  image \"image\"\n";
    struct Case {
        const char* className;
        std::string panel;
    };
    const Case cases[] = {
        {"ZRKSphereSDF", "horizontal\n"
                         "  number \"radius\"\n"
                         "  vector \"center\"" +
                             vector},
        {"ZRKBoxSDF", "vertical\n"
                      "  vector \"center\"" +
                          vector + "  vector \"dimensions\"" + vector +
                          "  number \"radius\"\n"
                          "  check \"wireframe\"\n"
                          "  number \"edge thickness\"\n"},
        {"ZRKPlaneSDF", "vertical\n"
                        "  vector \"origin\"" +
                            vector + "  vector \"normal\"" + vector},
        {"ZRKTorusSDF", "vertical\n"
                        "  vector \"center\"" +
                            vector +
                            "  number \"ring radius\"\n"
                            "  number \"tube radius\"\n"},
        {"ZRKCylinderSDF", "vertical\n"
                           "  vector \"start point\"" +
                               vector + "  vector \"end point\"" + vector +
                               "  number \"start radius\"\n"
                               "  number \"end radius\"\n"
                               "  combo \"cap style\" items=[\"none\",\"flat\",\"round\"]\n"},
        {"ZRKPipeSDF", "horizontal\n"
                       "  label \"Under Construction!!!\"\n"
                       "  number \"radius\"\n"},
        {"ZRKSphereUVW", "vertical\n"
                         "  number \"radius\"\n"
                         "  number \"poles\" min=0.0 max=1.0\n"
                         "  vector \"center\"" +
                             vector + "  check \"inverse\"\n"},
        {"ZRKTorusUVW", "vertical\n"
                        "  vector \"center\"" +
                            vector +
                            "  number \"ring radius\"\n"
                            "  number \"tube radius\"\n"},
        {"ZRKCylinderUVW", "horizontal\n"
                           "  vertical\n"
                           "    vector \"start point\"" +
                               vector + "    vector \"end point\"" + vector +
                               "    number \"start radius\"\n"
                               "    number \"end radius\"\n"
                               "  vertical\n"
                               "    combo \"cap style\" items=[\"none\",\"round\"]\n"
                               "    number \"twist\"\n"},
        {"ZRKMultipoleUVW", R"(horizontal
  check "const direction"
  list ""
    button "add ref" tip="add a point by reference"
    button "add" tip="add fixed point"
    button "del" object="Warning"
    menu "" items=["clear"]
    vertical
      horizontal
        number "x" min=-999999.0 max=999999.0
        number "y" min=-999999.0 max=999999.0
        number "z" min=-999999.0 max=999999.0
      slider "strength" min=-1.0 max=1.0
)"},
        {"ZRKCurveUVW", "vertical\n"
                        "  horizontal\n"
                        "    combo \"mode\" items=[\"extrude\",\"wrap\"]\n"
                        "    check \"normalizeLength\"\n"
                        "  geometry \"curve\" filter=2 limit=1\n"},
        {"ZRKCurveLength", "vertical\n"
                           "  horizontal\n"
                           "    check \"normalize\"\n"
                           "    check \"use length\"\n"
                           "  geometry \"curve\" filter=2 limit=1\n"},
        {"ZRKFaceUVW", "vertical\n"
                       "  geometry \"face\" filter=4 limit=1\n"},
        {"ZRKQuantizeTransform", "vertical\n"
                                 "  number \"strength\"\n"
                                 "  vector \"step\"" +
                                     vector + "  vector \"shift\"" + vector},
        {"ZRKTwistTransform", "vertical\n"
                              "  number \"angle\"\n"
                              "  vector \"axis\"" +
                                  vector + "  vector \"center\"" + vector},
        {"ZRKBendTransform", "vertical\n"
                             "  number \"angle\"\n"
                             "  vector \"axis\"" +
                                 vector + "  vector \"bend direction\"" + vector + "  vector \"center\"" +
                                 vector},
        {"ZRKMatrixTransform", R"(horizontal
  vertical
    vector "row0" property="matrix" size=4 min=-5000000.0 max=5000000.0
    vector "row1" property="matrix" size=4 min=-5000000.0 max=5000000.0
    vector "row2" property="matrix" size=4 min=-5000000.0 max=5000000.0
    vector "row3" property="matrix" size=4 min=-5000000.0 max=5000000.0
    button "reset"
  check "inverse"
)"},
        {"ZRKAffineTransform", "horizontal\n"
                               "  vertical\n"
                               "    vector \"translation\"" +
                                   limitedVector + "    vector \"rotation\"" + limitedVector +
                                   "    vector \"scaling\"" + limitedVector +
                                   "    button \"reset\"\n"
                                   "  check \"inverse\"\n"},
        {"ZRKPositionVec3", "vertical\n"
                            "  check \"normalized\"\n"
                            "  check \"object space coords\"\n"},
        {"ZRKGyroid", "vertical\n"
                      "  number \"contour\"\n"},
        {"ZRKCross", "vertical\n"
                     "  vector \"thickness ratios\"" +
                         vector + "  number \"smoothness\" min=0.0 max=1.0\n"},
        {"ZRKPatternDesigner", R"(vertical
  check "mutliply"
  list ""
    button "+"
    button "del" object="Warning"
    button "random"
    menu "" items=["clear"]
    vertical
      horizontal
        integer "x" min=-6 max=6
        integer "y" min=-6 max=6
        integer "z" min=-6 max=6
      horizontal
        slider "amp" min=0.0 max=1.0
        slider "phase" min=0.0 max=1.0
)"},
        {"ZRKBinaryOperator", R"(horizontal
  vertical
    combo "" items=["add","maximum","subtract","multiply","blend","minimum"]
  vertical
    number "strengthA"
    number "strengthB"
)"},
        {"ZRKMask", "vertical\n"
                    "  slider \"multiplier\" min=0.0 max=1.0\n"
                    "  check \"replace\"\n"},
        {"ZRKMultiply", "vertical\n"
                        "  number \"multiplier\"\n"},
        {"ZRKShell", "vertical\n"
                     "  number \"offset\"\n"
                     "  number \"inner thickness\"\n"
                     "  number \"outer thickness\"\n"},
        {"ZRKFallOff", "horizontal\n"
                       "  falloff \"falloff params\"\n"},
        {"ZRKLevelsetIsoValue", "vertical\n"
                                "  number \"levelset isovalue\"\n"
                                "  check \"invert interior\"\n"},
        {"ZRKGradDerivative", "vertical\n"
                              "  check \"normalize\"\n"},
        {"ZRKGeometryBlend", "horizontal\n"
                             "  geometry \"geometries\"\n"
                             "  falloff \"falloff params\"\n"},
        {"ZRKMeshSDF", meshImport},
        {"ZRKBeamSDF", meshImport},
        {"ZRKScalarImageSampler", sampler},
        {"ZRKVector3ImageSampler", sampler},
        {"ZRKRGBAImageSampler", sampler},
        {"ZRKRasterFX", "horizontal\n"
                        "  vertical\n"
                        "    integer \"resolution\"\n"
                        "    number \"blur radius\"\n"
                        "  vertical\n"
                        "    check \"auto-update\"\n"
                        "    button \"update\"\n"},
        {"ZRK2DImageExtrude",
         "horizontal\n"
         "  vertical\n"
         "    check \"wrap\"\n"
         "    number \"size x\"\n"
         "    number \"size y\"\n"
         "    number \"size z\"\n"
         "    combo \"compositing\" items=[\"add\",\"subtract\",\"multiply\",\"union\"]\n"
         // An arrow's bytes, each taken for a character and encoded again.
         "  image \"y\u00e2\u2020\u2018x\u00e2\u2020\u2019\" property=\"imageXY\"\n"
         "  image \"z\u00e2\u2020\u2018y\u00e2\u2020\u2019\" property=\"imageYZ\"\n"
         "  image \"z\u00e2\u2020\u2018x\u00e2\u2020\u2019\" property=\"imageXZ\"\n"},
        {"ZRK3DImage", R"--(horizontal
  preview ""
  vertical
    check "wrap"
    number "size x"
    number "size y"
    number "size z"
    slider "slice" min=0.0 max=1.0
    button "remove image"
    button "load folder" dialog={"mode":"folder","caption":"get slice","filter":"","multiple":false}
    button "load slices" dialog={"mode":"files","caption":"get slices","filter":"Image Files (*.png)","multiple":true}
)--"},
        {"ZRKImageSweep", R"(tabs
  horizontal "image blend"
    vertical
      integer "steps"
      integer "resolution"
      slider "smoothing" min=0.0 max=1.0
      slider "transport" min=0.0 max=1.0
    image "A" property="imageA"
    image "B" property="imageB"
    image "obstacle"
    button "compute >>"
  horizontal "scaling"
    vertical
      number "size x"
      number "size y"
      number "size z"
      check "wrap"
    gradient "scaling" min=0.0 max=1.0
  horizontal "sweep"
    vertical
      geometry "curve:" property="pathCurve" filter=2 limit=1
    gradient "interpolation" min=0.0 max=1.0
)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.className);
        EXPECT_EQ(printed(c.className), c.panel);
    }
    const auto isListed = [&](const std::string& name) {
        return std::any_of(std::begin(cases), std::end(cases),
                           [&](const Case& c) { return c.className == name; });
    };
    for (const auto& entry : zrkmodel::ZRKGraphObject::registry().entries()) {
        if (!isListed(entry.className)) {
            EXPECT_EQ(printed(entry.className), "none\n") << entry.className << ", which isn't listed above";
        }
    }
}

TEST(Panels, TellWhatTheirControlsHold)
{
    const ZRKJson cylinder = describePanels({"ZRKCylinderSDF"})["ZRKCylinderSDF"];
    EXPECT_EQ(cylinder["children"][1]["value"], (ZRKJson{0.0, 0.0, 1.0}));
    EXPECT_EQ(cylinder["children"][1]["decimals"], 4);
    EXPECT_EQ(cylinder["children"][2]["value"], 0.1);
    EXPECT_EQ(cylinder["children"][4]["value"], 2);
    const ZRKJson sweep = describePanels({"ZRKImageSweep"})["ZRKImageSweep"];
    EXPECT_EQ(sweep["children"][0]["children"][0]["children"][0]["value"], 8);
    EXPECT_EQ(sweep["children"][1]["children"][1]["value"],
              (ZRKJson::parse("[[0.0, 1.0, 0], [1.0, 1.0, 0]]")));
    EXPECT_EQ(describePanels({"ZRKFallOff"})["ZRKFallOff"]["children"][0]["value"],
              ZRKJson::parse(R"({"start": -0.5, "end": 0.5, "curve": "linear"})"));
}

} // namespace
} // namespace zrkui
