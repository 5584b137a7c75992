#include "apps/workbench/export/export_bar.h"

#include "apps/workbench/look/icons.h"
#include "inspectors/css_style.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QToolButton>
#include <QVariant>

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

using zrkui::scaled;

namespace {

constexpr int kProgressSteps = 1000;

} // namespace

QString timeText(double seconds)
{
    if (seconds < 60) {
        return QString("%1 s").arg(std::max(1L, std::lround(seconds)));
    }
    const long minutes = std::lround(seconds / 60);
    return minutes < 60 ? QString("%1 min").arg(minutes)
                        : QString("%1 h %2 min").arg(minutes / 60).arg(minutes % 60);
}

ExportBar::ExportBar(QWidget* parent)
    : QWidget(parent),
      _name(new QLabel(this)),
      _progress(new QProgressBar(this)),
      _left(new QLabel(this)),
      _cancel(new QToolButton(this)),
      _job(*this)
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(scaled(*this, 8));
    row->addWidget(_name);
    row->addWidget(_progress);
    row->addWidget(_left);
    row->addWidget(_cancel);
    _name->setProperty("zrkRole", "second");
    _left->setProperty("zrkRole", "hint");
    _progress->setRange(0, kProgressSteps);
    _progress->setTextVisible(false);
    _progress->setFixedWidth(scaled(*this, 96));
    _progress->setAccessibleName("progress of the export");
    _progress->setToolTip("How far the export is");
    _cancel->setIcon(icon("close"));
    _cancel->setAutoRaise(true);
    _cancel->setAccessibleName("cancel the export");
    _cancel->setToolTip("Cancel the export; no file is left half written");
    connect(_cancel, &QToolButton::clicked, this, [this] { cancel(); });
    _job.onProgress([this](const ExportProgress& progress) { display(progress); });
    _job.onDone([this](const ExportResult& result) {
        hide();
        if (_done) {
            _done(result);
        }
    });
    hide();
}

bool ExportBar::start(ExportTask task)
{
    const QString name = QFileInfo(QString::fromStdString(task.file)).fileName();
    if (!_job.start(std::move(task))) {
        return false;
    }
    _name->setText("Exporting " + name);
    _progress->setValue(0);
    _left->clear();
    _isStopping = false;
    show();
    return true;
}

void ExportBar::cancel()
{
    _job.cancel();
    _isStopping = true;
    _left->setText("stopping");
}

void ExportBar::display(const ExportProgress& progress)
{
    _progress->setValue(static_cast<int>(progress.fraction * kProgressSteps));
    _progress->setToolTip(QString::fromStdString(progress.stage));
    if (!_isStopping) {
        _left->setText(progress.secondsLeft ? timeText(*progress.secondsLeft) + " left" : QString());
    }
}

} // namespace zrkworkbench
