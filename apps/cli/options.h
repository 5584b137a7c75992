#pragma once

#include "core/values/bbox.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"
#include "host/graph_document.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace zrkcli {

/// The options that every command that samples takes.
struct SamplingOptions {
    std::string document;
    std::string pin;
    std::size_t threads = 0; ///< number of workers; 0 for all processors
    bool quiet = false;

    void addTo(CLI::App& command);
};

/// The two corners after --bounds, x0,y0,z0,x1,y1,z1. Throws FaultError for any other text.
zrk::BBox<double> parseBounds(const std::string& text);
/// The values after --range, LO,HI. Throws FaultError for any other text.
zrk::Interval<double> parseRange(const std::string& text);
/// A pin after an option, NODE:OUT. Throws FaultError for any other text.
zrkmodel::PinAddress parsePin(const std::string& option, const std::string& text);

/// Loads a document with a progress bar and prints its warnings to standard error.
zrkmodel::GraphDocument loadDocument(const std::string& path, bool quiet);

/// A document and that output of it which a command samples.
struct Job {
    zrkmodel::GraphDocument document;
    zrkmodel::OutputField output;

    /// Loads the document, prints its warnings, and takes the pin of the options or the document's.
    explicit Job(const SamplingOptions& options);
};

/// Returns the program's arguments as CLI11 takes them, last one first. A number such as `-.5,0,0`
/// gets a digit in front of its point, so that it isn't taken for an option.
std::vector<std::string> argumentsInParsingOrder(int argc, char** argv);

} // namespace zrkcli
