#include "apps/workbench/window/manual_window.h"

#include "apps/workbench/window/data_folder.h"
#include "inspectors/css_style.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/registry.h"

#include <fmt/core.h>

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QShortcut>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QTextTable>
#include <QUrl>
#include <QVBoxLayout>

namespace zrkworkbench {

using zrkmodel::Manual;
using zrkui::scaled;
using zrkui::ZRKCSSStyle;

namespace {

void addValues(std::string& text, const char* title, std::span<const zrkmodel::ManualValue> values)
{
    if (values.empty()) {
        return;
    }
    text +=
        fmt::format("\n## {}\n\n| name | kind | unit | default | meaning |\n|---|---|---|---|---|\n", title);
    for (const zrkmodel::ManualValue& value : values) {
        text += fmt::format("| {} | {} | {} | {} | {} |\n", value.key, value.kind, value.unit,
                            value.defaultValue, value.meaning);
    }
}

void addPins(std::string& text, const char* title, std::span<const zrkmodel::ManualPin> pins)
{
    if (pins.empty()) {
        return;
    }
    text += fmt::format("\n## {}\n\n| pin | unit | meaning |\n|---|---|---|\n", title);
    for (const zrkmodel::ManualPin& pin : pins) {
        text += fmt::format("| {} | {} | {} |\n", pin.name, pin.unit, pin.meaning);
    }
}

} // namespace

std::string manualText(const std::string& className)
{
    const auto* type = zrkmodel::ZRKGraphObject::registry().findByClass(className);
    if (!type) {
        return {};
    }
    const Manual& manual = zrkmodel::manualOf(*type);
    std::string text = fmt::format("# {}\n\n{} {}\n", type->strings.title, manual.summary, manual.overview);
    addValues(text, "Properties", manual.properties);
    addValues(text, "Other values", manual.storedKeys);
    addPins(text, "Inputs", manual.inputs);
    addPins(text, "Outputs", manual.outputs);
    if (!manual.formula.empty()) {
        text += fmt::format("\n## Formula\n\n{}\n", manual.formula);
    }
    if (!manual.notes.empty()) {
        text += fmt::format("\n## Notes\n\n{}\n", manual.notes);
    }
    return text;
}

/// Follows links between the pages; web pages open in the system's browser.
class ManualWindow::Browser final : public QTextBrowser {
public:
    using QTextBrowser::QTextBrowser;

    bool showFile(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            return false;
        }
        document()->setBaseUrl(QUrl::fromLocalFile(path));
        showText(QString::fromUtf8(file.readAll()));
        return true;
    }
    /// Without the class in the title, which the table beneath names.
    void showText(QString markdown)
    {
        static const QRegularExpression classInTitle("^(# [^\n(]*) \\(`[^`\n]*`\\)");
        setMarkdown(markdown.replace(classInTitle, "\\1"));
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
            layOut(block);
        }
        for (QTextFrame* frame : document()->rootFrame()->childFrames()) {
            if (auto* table = qobject_cast<QTextTable*>(frame)) {
                QTextTableFormat format = table->format();
                format.setBorder(1);
                format.setBorderCollapse(true);
                format.setBorderBrush(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::paneLine));
                format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
                format.setCellPadding(scaled(*this, 5));
                format.setCellSpacing(0);
                format.setTopMargin(scaled(*this, 4));
                format.setBottomMargin(scaled(*this, 12));
                table->setFormat(format);
            }
        }
        moveCursor(QTextCursor::Start);
    }

    QVariant loadResource(int type, const QUrl& name) override
    {
        if (type != QTextDocument::ImageResource) {
            return QTextBrowser::loadResource(type, name);
        }
        const QUrl place = document()->baseUrl().resolved(name);
        QImage picture(place.toLocalFile());
        const int room = scaled(*this, 560);
        return picture.width() > room ? picture.scaledToWidth(room, Qt::SmoothTransformation) : picture;
    }

private:
    /// Headings stand apart, paragraphs and code have room.
    void layOut(const QTextBlock& block)
    {
        QTextCursor cursor(block);
        if (cursor.currentTable()) {
            return;
        }
        QTextBlockFormat format = block.blockFormat();
        const int level = format.headingLevel();
        format.setTopMargin(level > 1 ? scaled(*this, 14) : 0);
        format.setBottomMargin(scaled(*this, level > 0 ? 6 : 8));
        if (format.hasProperty(QTextFormat::BlockCodeFence) || format.nonBreakableLines()) {
            format.setLeftMargin(scaled(*this, 12));
            format.setBottomMargin(scaled(*this, 2));
        }
        cursor.setBlockFormat(format);
        if (level > 0) {
            QTextCharFormat text;
            text.setProperty(QTextFormat::FontPixelSize, scaled(*this, level == 1 ? 20 : 15));
            text.setFontWeight(QFont::DemiBold);
            cursor.select(QTextCursor::BlockUnderCursor);
            cursor.mergeCharFormat(text);
        }
    }
};

ManualWindow::ManualWindow(QWidget* parent) : QWidget(parent, Qt::Window), _browser(new Browser(this))
{
    setWindowTitle("Manual");
    resize(scaled(*this, 640), scaled(*this, 720));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    _browser->setOpenLinks(false);
    _browser->setFrameShape(QFrame::NoFrame);
    _browser->document()->setDocumentMargin(scaled(*this, 16));
    _browser->setAccessibleName("manual page");
    _browser->setToolTip("the manual page of a type");
    column->addWidget(_browser);
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)}) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, [this] { close(); });
    }
    connect(_browser, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) {
        const QUrl target = _browser->document()->baseUrl().resolved(link);
        if (!target.isLocalFile()) {
            QDesktopServices::openUrl(target);
        } else if (target.toLocalFile().endsWith(".md")) {
            static_cast<Browser*>(_browser)->showFile(target.toLocalFile());
        }
    });
}

void ManualWindow::showType(const std::string& className)
{
    const QString name = QString::fromStdString(className);
    const QString page = dataFolder() + "/docs/components/" + name + ".md";
    if (dataFolder().isEmpty() || !static_cast<Browser*>(_browser)->showFile(page)) {
        static_cast<Browser*>(_browser)->showText(QString::fromStdString(manualText(className)));
    }
    const auto* type = zrkmodel::ZRKGraphObject::registry().findByClass(className);
    setWindowTitle("Manual: " + (type ? QString(type->strings.title) : name));
    show();
    raise();
    activateWindow();
}

} // namespace zrkworkbench
