#include "apps/workbench/look/icons.h"

#include "apps/workbench/look/families.h"
#include "apps/workbench/look/icon_paths.h"
#include "components/registration.h"
#include "model/graph_object.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace zrkworkbench {
namespace {

using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

class Look : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "workbench_look_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QGuiApplication>(argc, argv);
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
    }
    static void TearDownTestSuite() { application.reset(); }
    static std::unique_ptr<QGuiApplication> application;

    static QImage picture(const QString& name, int side)
    {
        QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::white);
        QPainter painter(&image);
        paintIcon(painter, name, QRectF(0, 0, side, side), Qt::black);
        return image;
    }
};
std::unique_ptr<QGuiApplication> Look::application;

double difference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            sum += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) / 255.0;
        }
    }
    return sum;
}

TEST_F(Look, EachIconCanBeReadStaysInItsSquareAndHasInk)
{
    std::set<std::string> seen;
    for (const IconPath& entry : iconPaths()) {
        SCOPED_TRACE(entry.name);
        EXPECT_TRUE(seen.insert(entry.name).second) << "twice";
        QString problem;
        const IconShape shape = parseIconShape(entry.path, &problem);
        EXPECT_EQ(problem.toStdString(), "");
        const QRectF ink = shape.lines.boundingRect() | shape.fills.boundingRect();
        EXPECT_TRUE(QRectF(1.2, 1.2, 13.6, 13.6).contains(ink.adjusted(-0.01, -0.01, 0.01, 0.01)))
            << ink.left() << " " << ink.top() << " " << ink.right() << " " << ink.bottom();
        EXPECT_GE(shape.lineWidth, 1.4);
        EXPECT_LE(shape.lineWidth, 1.5);
    }
    for (const char* broken : {"M 1", "X 2 2", "M 1 1 L", "E 8 8 2", "M 1 - 1"}) {
        QString problem;
        parseIconShape(broken, &problem);
        EXPECT_FALSE(problem.isEmpty()) << broken;
    }
}

TEST_F(Look, EachTypeHasAnIconOfItsOwnAndAFamily)
{
    std::map<std::string, QImage> pictures;
    std::map<std::string, int> counts;
    for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(type.className);
        EXPECT_TRUE(hasIcon(iconNameOf(&type)));
        const QImage image = picture(iconNameOf(&type), 16);
        for (const auto& [other, otherImage] : pictures) {
            EXPECT_GT(difference(image, otherImage), 8) << "looks like " << other;
        }
        pictures[type.className] = image;
        ++counts[familyOf(type).key];
    }
    EXPECT_EQ(counts, (std::map<std::string, int>{{"primitives", 6},
                                                  {"patterns", 3},
                                                  {"coordinates", 7},
                                                  {"transforms", 14},
                                                  {"operators", 9},
                                                  {"mesh", 2},
                                                  {"raster", 6},
                                                  {"transport", 1}}));
    zrkmodel::ZRKGraphObjectRegistration foreign{};
    foreign.strings.category = "Images";
    EXPECT_STREQ(familyOf(foreign).key, "raster") << "by its category where it has no manual";
    foreign.strings.category = "Nobody's";
    EXPECT_STREQ(familyOf(foreign).key, "operators");
}

TEST_F(Look, IconsFollowTheStyleAndTheirState)
{
    const QIcon eye = icon("eye", Role::secondText);
    const auto inkOf = [&](QIcon::Mode mode, QIcon::State state) {
        const QImage image = eye.pixmap(QSize(64, 64), mode, state).toImage();
        QColor darkest;
        int most = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor color = image.pixelColor(x, y);
                if (color.alpha() > most) {
                    most = color.alpha();
                    darkest = color;
                }
            }
        }
        darkest.setAlpha(255);
        return darkest.name().toStdString();
    };
    const Style& style = Style::current();
    EXPECT_EQ(inkOf(QIcon::Normal, QIcon::Off), style.color(Role::secondText).name().toStdString());
    EXPECT_EQ(inkOf(QIcon::Normal, QIcon::On), style.color(Role::accent).name().toStdString());
    EXPECT_NE(inkOf(QIcon::Disabled, QIcon::Off), inkOf(QIcon::Normal, QIcon::Off));
    EXPECT_EQ(difference(picture("nobody's", 16), picture("node", 16)), 0);
}

} // namespace
} // namespace zrkworkbench
