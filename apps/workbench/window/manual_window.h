#pragma once

#include <QWidget>

#include <string>

class QTextBrowser;

namespace zrkworkbench {

/// Shows manual pages in a window of its own: those of docs/components where they are installed, else what
/// the program itself knows of a type.
class ManualWindow : public QWidget {
public:
    explicit ManualWindow(QWidget* parent = nullptr);

    void showType(const std::string& className);
    QTextBrowser* browser() const { return _browser; }

private:
    class Browser;
    QTextBrowser* _browser;
};

/// The manual of a type as Markdown, of what the program itself knows.
std::string manualText(const std::string& className);

} // namespace zrkworkbench
