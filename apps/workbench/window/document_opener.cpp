#include "apps/workbench/window/document_opener.h"

#include <QDir>
#include <QTimer>

#include <utility>

namespace zrkworkbench {

using zrkmodel::EditSession;

namespace {

constexpr int kOpenerInterval = 15; ///< milliseconds between two looks at the work

} // namespace

struct DocumentOpener::Job final : zrk::ProgressMonitor {
    OpenRequest request;
    zrkmodel::EditSettings settings;
    zrk::StopSign stop;
    std::atomic<double> fraction{0};
    std::atomic<bool> isDone{false};
    std::optional<OpenedDocument> result; ///< for the window's thread once it is done

    void progress(double share) override { fraction = share; }
    bool interruptRequested() override { return stop.isRaised(); }

    void run()
    {
        const zrk::StopScope scope(stop);
        zrkmodel::DocumentWarnings warnings;
        settings.load.monitor = this;
        settings.unnamedRecovery = request.place ? request.place->file().toStdString() : std::string();
        auto session = zrk::attempt(request.path, [&]() -> zrk::Result<std::unique_ptr<EditSession>> {
            if (request.isLeft) {
                const QString name = QDir::homePath() + "/" + request.place->name();
                return EditSession::openUnnamed(request.path, name.toStdString(), warnings, settings);
            }
            if (request.isRecovery) {
                zrkmodel::DocumentWarnings ofSaved;
                return EditSession::open(request.path, ofSaved, settings)
                    .and_then([&](std::unique_ptr<EditSession> session) {
                        return session->recover(warnings).map([&] { return std::move(session); });
                    });
            }
            if (!request.isTemplate) {
                return EditSession::open(request.path, warnings, settings);
            }
            return zrkmodel::GraphDocument::load(request.path, warnings, settings.load)
                .map([&](zrkmodel::GraphDocument document) {
                    return std::make_unique<EditSession>(std::move(document), settings);
                });
        });
        result.emplace(OpenedDocument{request, std::move(session), std::move(warnings)});
        isDone.store(true, std::memory_order_release);
    }
};

DocumentOpener::DocumentOpener(QObject* parent) : QObject(parent), _timer(new QTimer(this))
{
    connect(_timer, &QTimer::timeout, this, [this] { look(); });
}

DocumentOpener::~DocumentOpener() { cancel(); }

void DocumentOpener::open(const OpenRequest& request, const zrkmodel::EditSettings& settings)
{
    cancel();
    _job = std::make_shared<Job>();
    _job->request = request;
    _job->settings = settings;
    _thread = std::thread([job = _job] { job->run(); });
    _timer->start(kOpenerInterval);
}

void DocumentOpener::cancel()
{
    if (_job) {
        _job->stop.raise();
        _stopped.add(std::move(_thread), std::move(_job));
    }
}

void DocumentOpener::look()
{
    _stopped.clear();
    if (!_job) {
        if (_stopped.isEmpty()) {
            _timer->stop();
        }
        return;
    }
    if (!_job->isDone.load(std::memory_order_acquire)) {
        if (_progress) {
            _progress(_job->request.path, _job->fraction);
        }
        return;
    }
    _thread.join();
    const std::shared_ptr<Job> job = std::exchange(_job, nullptr);
    if (_opened) {
        OpenedDocument opened = std::move(*job->result);
        job->request = {}; // the job goes on as the monitor, the place is the window's
        opened.monitor = job;
        _opened(std::move(opened));
    }
}

} // namespace zrkworkbench
