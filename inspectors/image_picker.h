#pragma once

#include "core/values/export.h"
#include "inspectors/described.h"
#include "inspectors/file_request.h"
#include "model/resource.h"
#include "model/signal.h"

#include <QImage>
#include <QPushButton>

#include <functional>
#include <memory>

namespace zrkui {

/// Shows a picture and picks another one: of the document, or of a file that it then takes in.
class ZRK_API ZRKImagePicker : public QPushButton, public UIDescribed {
public:
    using Image = std::shared_ptr<zrkmodel::ZRKImage2d>;

    /// @param flags  1: the picker may be emptied.
    ZRKImagePicker(const Image& image, int flags, QWidget* parent = nullptr);

    const Image& image() const { return _image; }
    /// The listener is called when the user has picked.
    void connectToListener(std::function<void(const Image&)> listener)
    {
        _picked->connect(std::move(listener));
    }
    /// Shows another picture without calling the listeners.
    void display(const Image& image);
    void choose(const Image& image);
    /// Asks for a file and takes its picture, without holding up the window; one that can't be read is told
    /// beside the picker.
    void openFile();

    void describe(zrkmodel::ZRKJson& out) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Image _image;
    bool _canBeEmptied;
    QImage _thumbnail;
    /// Shared with what reads a file, which may outlive the picker.
    std::shared_ptr<nod::signal<void(const Image&)>> _picked;

    void fillMenu();
};

} // namespace zrkui
