#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/measure.h"
#include "apps/workbench/window/window.h"
#include "components/registration.h"
#include "core/values/fault.h"
#include "host/build_information.h"
#include "inspectors/css_style.h"
#include "inspectors/describe.h"
#include "inspectors/panels.h"
#include "inspectors/property_view.h"
#include "model/registry.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kPatience = 120000; ///< milliseconds that a window may take to settle

struct Options {
    std::string document;
    std::string screenshot;
    std::optional<std::uint16_t> select;
    std::string size = "1440x900";
    std::string view = "slice";
    bool measure = false;
    std::string palette; ///< empty for the one that was chosen last
    std::string picturesFolder;
    std::vector<std::string> types;
    bool describe = false;
};

int report(const std::string& text, int status)
{
    fmt::print(stderr, "zrk-workbench: {}\n", text);
    return status;
}

std::optional<QSize> parseSize(const std::string& text)
{
    int width = 0;
    int height = 0;
    char rest = 0;
    if (std::sscanf(text.c_str(), "%dx%d%c", &width, &height, &rest) != 2 || width < 200 || height < 200 ||
        width > 16384 || height > 16384) {
        return std::nullopt;
    }
    return QSize(width, height);
}

/// The class names that the words mean; all without words.
std::optional<std::vector<std::string>> classNames(const std::vector<std::string>& words)
{
    const auto& registry = zrkmodel::ZRKGraphObject::registry();
    std::vector<std::string> names;
    for (const std::string& word : words) {
        const auto* entry = registry.findByClass(word);
        const auto named = registry.findByName(word);
        if (!entry && named.size() != 1) {
            report(fmt::format("found the {} type \"{}\", expected the name of one\n"
                               "  remedy: `zrk types` lists them with their class names",
                               named.empty() ? "unknown" : "ambiguous", word),
                   kWrongUsage);
            return std::nullopt;
        }
        names.push_back(entry ? entry->className : named.front()->className);
    }
    if (words.empty()) {
        for (const auto& entry : registry.entries()) {
            names.push_back(entry.className);
        }
    }
    return names;
}

int describePanels(const Options& options)
{
    const auto names = classNames(options.types);
    if (!names) {
        return kWrongUsage;
    }
    std::string text = zrkui::describePanels(*names).dump(2) + "\n";
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : kFailed;
}

/// Writes the panel of each type as it looks by itself.
int picturePanels(const Options& options)
{
    const auto names = classNames(options.types);
    if (!names) {
        return kWrongUsage;
    }
    for (const std::string& name : *names) {
        const auto graph = zrkmodel::ZRKGraph::create();
        const auto node = graph->addNode(zrkmodel::ZRKGraphObject::registry().findByClass(name)->factory());
        zrkui::ZRKPropertyView view;
        node.object()->onInspection(&view, node);
        if (zrkui::describeView(view).is_null()) {
            continue;
        }
        view.setMargins(12);
        view.resize(QSize(416, 0).expandedTo(view.sizeHint().expandedTo(view.minimumSizeHint())));
        view.resize(view.width(), view.sizeHint().height());
        const std::string path = options.picturesFolder + "/" + name + ".png";
        if (!view.grab().save(QString::fromStdString(path))) {
            return report(path + ": found no way to write it, expected a folder that takes files\n"
                                 "  remedy: create the folder, or name another one",
                          kFailed);
        }
    }
    return 0;
}

int screenshot(zrkworkbench::Window& window, const Options& options, QSize size)
{
    window.resize(size);
    window.show();
    QElapsedTimer clock;
    clock.start();
    do {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    } while (!window.isSettled() && clock.elapsed() < kPatience);
    if (!window.isSettled()) {
        return report("the pictures aren't done after two minutes", kFailed);
    }
    QApplication::processEvents();
    if (!window.grab().save(QString::fromStdString(options.screenshot))) {
        return report(options.screenshot +
                          ": found no way to write it, expected a place for a picture\n"
                          "  remedy: give a name that ends in .png, in a folder that takes files",
                      kFailed);
    }
    return 0;
}

int measure(const Options& options)
{
    const auto numbers = zrkworkbench::measureWindow(options.document);
    if (!numbers) {
        return report(zrk::messageOf(numbers.error()), kWrongUsage);
    }
    const std::string text = numbers->dump(2) + "\n";
    return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : kFailed;
}

int runWindow(const Options& options, bool sized)
{
    const std::optional<QSize> size = parseSize(options.size);
    if (!size) {
        return report(fmt::format("--size: found \"{}\", expected WIDTHxHEIGHT, each from 200 to 16384\n"
                                  "  remedy: write it as --size 1280x800",
                                  options.size),
                      kWrongUsage);
    }
    const bool isPicture = !options.screenshot.empty();
    if (options.measure) {
        return measure(options);
    }
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    zrkworkbench::Window window({.keepsSettings = !isPicture,
                                 .unsavedFolder = isPicture ? QString() : data + "/unsaved",
                                 .palette = QString::fromStdString(options.palette),
                                 .edit = {}});
    if (isPicture) {
        window.setAttribute(Qt::WA_DontShowOnScreen);
        window.resize(*size);
        if (options.document.empty()) {
            window.showFirstStart();
        } else if (!window.open(options.document)) {
            return report(window.message(), kWrongUsage);
        }
    } else if (!options.document.empty()) {
        window.startOpening({options.document});
    } else if (!QSettings().contains("window/started")) {
        QSettings().setValue("window/started", true);
        window.showFirstStart();
    } else {
        window.newDocument();
    }
    if (options.select && isPicture && !window.select(*options.select)) {
        return report(fmt::format("--select: found {}, expected the id of a node of {}\n"
                                  "  remedy: the document's text has them, as \"id\" of its nodes",
                                  *options.select, options.document),
                      kWrongUsage);
    }
    window.view().setTab(options.view == "solid" ? zrkworkbench::ViewPane::Tab::Solid
                                                 : zrkworkbench::ViewPane::Tab::Slice);
    if (isPicture) {
        return screenshot(window, options, *size);
    }
    if (sized) {
        window.resize(*size);
    }
    window.show();
    return QApplication::exec();
}

/// Off screen Qt warns of what a window system would do; nobody can act on that.
void tellFailuresOnly(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtCriticalMsg || type == QtFatalMsg) {
        report(text.toStdString(), kFailed);
    }
}

/// While Qt looks for a screen: without one it would end by SIGABRT.
void endWithoutScreen(QtMsgType type, const QMessageLogContext&, const QString&)
{
    if (type == QtFatalMsg) {
        report("screen: found none to draw on, expected the desktop that DISPLAY or WAYLAND_DISPLAY names\n"
               "  remedy: start it on a desktop; `zrk-workbench --screenshot FILE` and `zrk` need none",
               kFailed);
        std::_Exit(kFailed);
    }
}

void applyStyle(QApplication& app, const std::string& palette)
{
    if (QApplication::platformName() == "offscreen") {
        // Without a desktop there is no font size of the system's either.
        QFont font = QApplication::font();
        font.setPixelSize(13);
        QApplication::setFont(font);
    }
    const auto& style = palette == "dark"    ? zrkui::ZRKCSSStyle::dark()
                        : palette == "light" ? zrkui::ZRKCSSStyle::light()
                                             : zrkui::ZRKCSSStyle::ofSystem();
    style.apply(app);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App commands(
        "A workbench for graph documents: builds them from nodes and shows at once what they compute.");
    commands.set_version_flag("--version", [] { return zrkmodel::buildInformation("zrk-workbench"); });
    commands.add_option("document", options.document, "document to open (*.zrk.json)");
    commands.add_option("--screenshot", options.screenshot,
                        "render the settled window into this file and exit");
    commands.add_option("--select", options.select, "node to select, by its id");
    auto* sized =
        commands.add_option("--size", options.size, "of the window, WIDTHxHEIGHT (default 1440x900)");
    commands.add_option("--view", options.view, "what the view shows: slice (default) or solid")
        ->check(CLI::IsMember({"slice", "solid"}));
    commands.add_flag("--measure", options.measure,
                      "measure the window with this document, print the numbers as JSON and exit");
    commands.add_option("--palette", options.palette, "light, dark or system (default: the one chosen last)")
        ->check(CLI::IsMember({"light", "dark", "system"}));
    auto* describe = commands.add_option("--describe-panels", options.types,
                                         "print the panels of these types, or of all, as JSON and exit");
    describe->expected(0, -1);
    auto* pictures = commands.add_option("--picture-panels", options.picturesFolder,
                                         "write a picture of each panel into this folder and exit");
    try {
        commands.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return commands.exit(error); // --help and --version
        }
        return report(
            fmt::format("found a wrong command line ({}), expected the arguments and options that it takes\n"
                        "  remedy: `zrk-workbench --help` shows how to call it",
                        zrk::printable(error.what())),
            kWrongUsage);
    }
    options.describe = describe->count() > 0;
    std::erase(options.types, std::string()); // CLI11 gives one for an option without words
    const bool needsNoScreen =
        options.describe || pictures->count() > 0 || !options.screenshot.empty() || options.measure;
    if (needsNoScreen && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qInstallMessageHandler(endWithoutScreen);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    QApplication app(argc, argv);
    qInstallMessageHandler(needsNoScreen ? tellFailuresOnly : nullptr);
    QCoreApplication::setOrganizationName("zrk");
    QCoreApplication::setApplicationName("workbench");
    QCoreApplication::setApplicationVersion(zrkmodel::version());
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    zrkui::ZRKGraphInspectorsInit::initializeModule();
    if (options.palette.empty()) {
        const QVariant chosen = needsNoScreen ? QVariant() : QSettings().value("window/palette");
        options.palette = chosen.toString().isEmpty() ? "system" : chosen.toString().toStdString();
    }
    applyStyle(app, options.palette);
    if (options.describe) {
        return describePanels(options);
    }
    if (pictures->count() > 0) {
        return picturePanels(options);
    }
    return runWindow(options, sized->count() > 0);
}
