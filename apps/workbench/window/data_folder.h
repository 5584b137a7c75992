#pragma once

#include <QImage>
#include <QString>

#include <vector>

namespace zrkworkbench {

/// The folder that holds examples/ and docs/: that of the installed program, or of the checkout that it was
/// built in. Empty where there is none.
QString dataFolder();

/// An example document with what it shows.
struct Example {
    QString path;
    QString name;    ///< "sphere and twisted gyroid"
    QString caption; ///< what the document says that its picture shows
    QString picture; ///< path of the gallery's picture, the solid one where there is one; may be empty
};

/// The examples that have a picture, by name.
std::vector<Example> examples();

/// The document that the first start shows; empty where there is none.
QString firstExample();

} // namespace zrkworkbench
