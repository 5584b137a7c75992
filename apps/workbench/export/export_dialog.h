#pragma once

#include "apps/workbench/export/export_task.h"

#include <QDialog>

#include <functional>
#include <optional>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace zrkui {
class NumberField;
}

namespace zrkworkbench {

class ViewPane;

enum class ExportKind { Volume, Surface, Slice, Solid };

/// What an export begins with: the views' own settings, for what isn't asked.
struct ExportStart {
    std::string folder;          ///< of the file, where none was written before
    std::string name;            ///< of the document, without its endings
    std::optional<double> iso{}; ///< of surfaces; without it the usual one
    SliceExport slice{};
    SolidExport solid{};
};

/// What is exported as the views show it now.
ExportStart exportStartOf(ViewPane& views, const std::string& folder, const std::string& name);

/// Asks for a file and the options of an export. They are remembered for the next time. What can't be
/// exported is told beside the file's name, and the dialog stays.
class ExportDialog : public QDialog {
public:
    /// @param prepare  makes the work of a choice, or tells why it can't be done.
    using Prepare =
        std::function<zrk::Result<ExportTask>(const std::string& file, const ExportOptions& options)>;

    ExportDialog(ExportKind kind, const ExportStart& start, Prepare prepare, QWidget* parent = nullptr);

    /// The listener is called with the work that was chosen; the dialog is closed then.
    void onChosen(std::function<void(ExportTask)> listener) { _chosen = std::move(listener); }
    ExportOptions options() const;
    std::string file() const;
    /// What is told beside the file's name; empty where nothing is.
    QString problem() const;

    void accept() override;

private:
    ExportKind _kind;
    ExportStart _start;
    Prepare _prepare;
    std::function<void(ExportTask)> _chosen;
    QLineEdit* _file;
    QLabel* _former; ///< tells that a file is there already
    QLabel* _problem;
    QPushButton* _export;
    QFormLayout* _form;
    zrkui::NumberField* _resolution = nullptr;
    zrkui::NumberField* _flatness = nullptr;
    zrkui::NumberField* _width = nullptr;
    zrkui::NumberField* _height = nullptr;
    QComboBox* _numbers = nullptr;
    QComboBox* _backdrop = nullptr;
    QCheckBox* _sharp = nullptr;
    QCheckBox* _open = nullptr;
    QCheckBox* _legend = nullptr;
    QCheckBox* _perspective = nullptr;

    zrkui::NumberField* addNumber(const QString& label, const QString& tip, const char* key, double value,
                                  double least, double most, bool isWhole = true);
    QCheckBox* addCheck(const QString& text, const QString& tip, const char* key);
    QComboBox* addCombo(const QString& label, const QString& tip, const char* key, const QStringList& items);
    void addOptions();
    void takeShape();
    void browse();
    void remember() const;
    QString key(const char* name) const;
};

} // namespace zrkworkbench
