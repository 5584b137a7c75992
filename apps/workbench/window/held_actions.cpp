#include "apps/workbench/window/held_actions.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/window/measured_documents.h"
#include "apps/workbench/window/window.h"
#include "inspectors/number_field.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/json.h"
#include "model/registry.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QImage>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <fstream>
#include <functional>

namespace zrkworkbench {

using zrkmodel::ZRKJson;

namespace {

constexpr double kPatience = 1500;
constexpr int kAtLeast = 40; ///< milliseconds until what an action puts off has begun
constexpr int kListItems = 5000;
constexpr int kManyNodes = 2000;
constexpr int kPastedNodes = 400;
constexpr int kPictureEdge = 8192; ///< pixels
constexpr int kPastedLists = 100;  ///< of kPastedPoles items each, 10 MB together
constexpr int kPastedPoles = 1400;

class HeldActions {
public:
    HeldActions(Window& window, std::string folder) : _window(window), _folder(std::move(folder)) {}

    /// Does it in a turn of the event loop, and waits until all has settled.
    void run(const std::string& action, const std::function<void()>& work)
    {
        settle();
        _watchdog.reset();
        work();
        settle();
        take(action);
    }

    bool open(const std::string& action, const ZRKJson& document)
    {
        const std::string file = _folder + "/" + std::to_string(++_files) + ".zrk.json";
        std::ofstream(file, std::ios::binary) << document.dump();
        bool isOpen = false;
        run(action, [&] { isOpen = _window.open(file); });
        return isOpen;
    }

    std::vector<HeldAction> take() { return std::move(_all); }

private:
    Window& _window;
    std::string _folder;
    int _files = 0;
    Watchdog _watchdog{16};
    std::vector<HeldAction> _all;

    void settle()
    {
        waitFor([&] { return _window.isSettled(); });
    }

    /// The longest of all actions of a kind stays.
    void take(const std::string& action)
    {
        const Watchdog::Hold hold = _watchdog.longest();
        for (HeldAction& known : _all) {
            if (known.action == action) {
                known.hold = hold.milliseconds > known.hold.milliseconds ? hold : known.hold;
                return;
            }
        }
        _all.push_back({action, hold});
    }
};

void openPanels(HeldActions& actions, Window& window)
{
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    const auto& entries = zrkmodel::ZRKGraphObject::registry().entries();
    for (const auto& entry : entries) {
        document["nodes"].push_back({{"id", document["nodes"].size()}, {"type", entry.className}});
    }
    if (!actions.open("open a document of 48 nodes", document)) {
        return;
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        actions.run("open the panel of " + entries[i].className,
                    [&] { window.select(static_cast<std::uint16_t>(i)); });
    }
}

ZRKJson longList(const char* type, const char* key, const std::function<ZRKJson(int)>& item)
{
    ZRKJson items = ZRKJson::array();
    for (int i = 0; i < kListItems; ++i) {
        items.push_back(item(i));
    }
    return {{"zrkGraph", 1},
            {"nodes",
             {{{"id", 1}, {"type", "SphereSDF"}}, {{"id", 2}, {"type", type}, {"values", {{key, items}}}}}},
            {"links", ZRKJson::array()},
            {"output", {1, 0}}};
}

void showLists(HeldActions& actions, Window& window)
{
    const ZRKJson lists[] = {longList("PatternDesigner", "waves",
                                      [](int i) {
                                          return ZRKJson{{"fx", i % 7}};
                                      }),
                             longList("Multipole UVW", "poles", [](int i) {
                                 return ZRKJson{{"strength", 1}, {"is_ref", false}, {"point", {i, 0, 0}}};
                             })};
    for (const ZRKJson& list : lists) {
        if (!actions.open("open a document with 5,000 items", list)) {
            return;
        }
        actions.run("open a list of 5,000 items", [&] { window.select(2); });
        auto* items = window.panel() ? window.panel()->findChild<QScrollArea*>("Items") : nullptr;
        if (!items) {
            continue;
        }
        QScrollBar* bar = items->verticalScrollBar();
        for (const double place : {0.1, 0.5, 1.0}) {
            actions.run("scroll a list of 5,000 items",
                        [&] { bar->setValue(static_cast<int>(place * bar->maximum())); });
        }
        if (auto* field = items->findChild<zrkui::NumberField*>()) {
            actions.run("edit an item of 5,000", [&] { field->stepBy(1); });
            actions.run("undo an edit of an item", [&] { (void)window.session()->undo(); });
        }
        actions.run("close a list of 5,000 items", [&] { window.select(1); });
    }
}

void editLargeDocument(HeldActions& actions, Window& window)
{
    actions.open("open a document of 50 nodes", chainOfNodes(50));
    if (!actions.open("open a document of 2,000 nodes", chainOfNodes(kManyNodes))) {
        return;
    }
    const std::uint16_t first = window.document()->graph()->nodes().front()->id;
    actions.run("select among 2,000 nodes", [&] { window.select(first); });
    actions.run("change a value among 2,000 nodes",
                [&] { (void)window.session()->setValue(first, "radius", 0.35); });
    actions.run("fit 2,000 nodes", [&] { window.canvas().fitAll(false); });

    if (!actions.open("open a document of 400 nodes", chainOfNodes(kPastedNodes))) {
        return;
    }
    std::vector<std::uint16_t> all;
    for (const auto& node : window.document()->graph()->nodes()) {
        all.push_back(node->id);
    }
    actions.run("copy and paste 400 nodes", [&] { (void)window.session()->duplicate(all, 4000, 0); });
    actions.run("undo a paste of 400 nodes", [&] { (void)window.session()->undo(); });
    actions.run("redo a paste of 400 nodes", [&] { (void)window.session()->redo(); });
    for (const char* palette : {"Dark", "Light"}) {
        if (QAction* action = window.command(palette)) {
            actions.run("change the palette", [&] { action->trigger(); });
        }
    }
}

/// Writes a picture of stripes.
QString stripes(const std::string& folder)
{
    QImage picture(kPictureEdge, kPictureEdge, QImage::Format_Grayscale8);
    for (int y = 0; y < kPictureEdge; ++y) {
        std::fill_n(picture.scanLine(y), kPictureEdge, static_cast<uchar>(y / 64 % 2 * 255));
    }
    const QString file = QString::fromStdString(folder + "/stripes.png");
    picture.save(file);
    return file;
}

QString largeFragment()
{
    ZRKJson poles = ZRKJson::array();
    for (int i = 0; i < kPastedPoles; ++i) {
        poles.push_back({{"strength", 1.0 / (i + 1)}, {"is_ref", false}, {"point", {0.1 * i, 0.2 * i, 0.0}}});
    }
    ZRKJson fragment{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    for (int i = 0; i < kPastedLists; ++i) {
        fragment["nodes"].push_back({{"id", i},
                                     {"type", "Multipole UVW"},
                                     {"values", {{"poles", poles}}},
                                     {"position", {0, 200 * i}}});
    }
    return QString::fromStdString(fragment.dump());
}

} // namespace

std::vector<HeldAction> holdByFiles(Window& window, const std::string& folder)
{
    HeldActions actions(window, folder);
    window.newDocument();
    const QString picture = stripes(folder);
    actions.run("add a picture of 8192 x 8192", [&] { window.takeFiles({picture}); });
    if (!window.session()->selection().empty()) {
        const std::uint16_t node = window.session()->selection().front();
        actions.run("change a value of a picture of 8192 x 8192",
                    [&] { (void)window.session()->setValue(node, "wrap", true); });
    }
    window.newDocument();
    QGuiApplication::clipboard()->setText(largeFragment());
    actions.run("paste 10 MB", [&] { window.canvas().action("paste")->trigger(); });
    actions.run("undo a paste of 10 MB", [&] { (void)window.session()->undo(); });
    actions.run("redo a paste of 10 MB", [&] { (void)window.session()->redo(); });
    QGuiApplication::clipboard()->setText(
        QString::fromStdString(ZRKJson{{"text", std::string(10000000, 'x')}}.dump()));
    actions.run("paste 10 MB that are no nodes", [&] { window.canvas().action("paste")->trigger(); });
    QGuiApplication::clipboard()->clear();
    return actions.take();
}

std::vector<HeldAction> holdWindow(Window& window, const std::string& folder)
{
    HeldActions actions(window, folder);
    openPanels(actions, window);
    showLists(actions, window);
    editLargeDocument(actions, window);
    return actions.take();
}

} // namespace zrkworkbench
