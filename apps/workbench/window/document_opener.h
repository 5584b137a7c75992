#pragma once

#include "apps/workbench/window/stopped_threads.h"
#include "apps/workbench/window/unsaved_documents.h"
#include "core/engine/progress.h"
#include "core/values/stop.h"
#include "host/editing/edit_session.h"

#include <QObject>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

class QTimer;

namespace zrkworkbench {

/// Where a document comes from.
struct OpenRequest {
    std::string path;
    /// The document gets no file of its own: an example, which nobody wants to write over.
    bool isTemplate = false;
    /// Where such a document is kept until it is saved; may be null.
    std::shared_ptr<UnsavedPlace> place{};
    /// It is read from that place, where an earlier program left it.
    bool isLeft = false;
    /// With the changes of its recovery file.
    bool isRecovery = false;
};

struct OpenedDocument {
    OpenRequest request;
    zrk::Result<std::unique_ptr<zrkmodel::EditSession>> session;
    zrkmodel::DocumentWarnings warnings;
    /// What the session reports to when it reads again; must live as long as the session.
    std::shared_ptr<zrk::ProgressMonitor> monitor{};
};

/// Opens documents on a thread of its own, one at a time; a newer request stops the former one.
class DocumentOpener : public QObject {
public:
    explicit DocumentOpener(QObject* parent = nullptr);
    /// Stops what runs and waits for it.
    ~DocumentOpener() override;

    void onOpened(std::function<void(OpenedDocument)> listener) { _opened = std::move(listener); }
    /// Called some times a second, with 0 to 1, while a document is being opened.
    void onProgress(std::function<void(const std::string& path, double fraction)> listener)
    {
        _progress = std::move(listener);
    }

    void open(const OpenRequest& request, const zrkmodel::EditSettings& settings);
    /// Stops what runs, without waiting for it; what it found is dropped.
    void cancel();
    bool isBusy() const { return _job != nullptr; }

private:
    struct Job;
    std::shared_ptr<Job> _job;
    std::thread _thread;
    StoppedThreads _stopped;
    QTimer* _timer;
    std::function<void(OpenedDocument)> _opened;
    std::function<void(const std::string&, double)> _progress;

    void look();
};

} // namespace zrkworkbench
