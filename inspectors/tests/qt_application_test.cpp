#include "components/registration.h"
#include "inspectors/css_style.h"
#include "inspectors/panels.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace zrkui {
namespace {

/// One application off screen for all tests of the program.
class Application : public ::testing::Environment {
public:
    void SetUp() override
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "inspectors_tests";
        static char* argv[] = {name, nullptr};
        _application = std::make_unique<QApplication>(argc, argv);
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
        ZRKGraphInspectorsInit::initializeModule();
        ZRKCSSStyle::light().apply(*_application);
    }
    void TearDown() override { _application.reset(); }

private:
    std::unique_ptr<QApplication> _application;
};

[[maybe_unused]] const auto* const application =
    ::testing::AddGlobalTestEnvironment(new Application); // owned by the framework

} // namespace
} // namespace zrkui
