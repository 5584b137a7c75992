#pragma once

#include "core/engine/progress.h"
#include "core/values/export.h"
#include "inspectors/file_request.h"
#include "model/document.h"
#include "model/signal.h"

#include <functional>
#include <string>
#include <vector>

class QWidget;

namespace zrkui {

class UIField;

/// Files that a panel wants to be read.
struct FileReading {
    std::string title; ///< what is done, such as "importing part.obj"
    std::string file;  ///< the first
    /// On any thread; throws nothing.
    std::function<void(zrk::ProgressMonitor&)> read;
    /// On the interface's thread, once all is read; not called where it was stopped or the node is gone.
    /// Returns what is wrong and no control tells any more, as its panel is closed; else nothing.
    std::function<std::string()> done;
};

/// The application as panels see it: the open document, file dialogs, long work. Interface thread only.
class ZRK_API ZRKApp {
public:
    using FileDialog = std::function<std::vector<std::string>(const FileRequest&, QWidget* parent)>;

    static ZRKApp& ui();

    /// Null while none is open. Not owned.
    zrkmodel::ZRKDocument* document() const { return _document; }
    void setDocument(zrkmodel::ZRKDocument* document) { _document = document; }

    /// The paths that the user chooses; none when the dialog is cancelled.
    std::vector<std::string> askForFiles(const FileRequest& request, QWidget* parent);
    /// Answers the dialogs instead of the user; an empty function gives them back to the user.
    void setFileDialog(FileDialog dialog) { _fileDialog = std::move(dialog); }

    /// Reads files into a component that nobody else knows yet, on a thread apart where the application
    /// offers one, and otherwise as long work. The owner of what is to have them takes them over when it is
    /// done.
    void readFiles(FileReading reading, QWidget* parent);
    /// The one who reads files on a thread apart; an empty function for none.
    void setReader(std::function<void(FileReading)> reader) { _reader = std::move(reader); }

    /// Runs work that takes long behind a dialog with its progress and a button to stop it. The work runs on
    /// this thread, as edits do; the dialog, which comes after half a second, keeps other input out.
    /// @return whether nobody stopped it.
    bool runLong(const std::string& title, QWidget* parent,
                 const std::function<void(zrk::ProgressMonitor&)>& work);
    /// The listener is called while long work is under way, often: with its title and how far it is, 0 to 1.
    nod::connection onWork(std::function<void(const std::string& title, double fraction)> listener)
    {
        return _work.connect(std::move(listener));
    }
    /// The listener is called after long work is done: an import changes what a component computes without a
    /// change event.
    nod::connection onWorkDone(std::function<void()> listener)
    {
        return _workDone.connect(std::move(listener));
    }

    /// The listener is called when a field of a panel shows another message, or none any more.
    nod::connection onFieldMessage(std::function<void(const UIField&)> listener)
    {
        return _fieldMessage.connect(std::move(listener));
    }
    void tellFieldMessage(const UIField& field) { _fieldMessage(field); }

private:
    zrkmodel::ZRKDocument* _document = nullptr;
    FileDialog _fileDialog;
    std::function<void(FileReading)> _reader;
    std::string _lastFolder;
    nod::signal<void(const std::string&, double)> _work;
    nod::signal<void()> _workDone;
    nod::signal<void(const UIField&)> _fieldMessage;
};

} // namespace zrkui
