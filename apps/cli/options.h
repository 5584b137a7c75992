#pragma once

#include "core/values/bbox.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"
#include "host/graph_document.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

/// The options that every command that loads a document takes.
struct DocumentOptions {
    std::string document;
    bool isConfined = false;
    bool isStrict = false;
    std::optional<std::uint64_t> memory; ///< bytes; without it a share of what is free

    void addTo(CLI::App& command);
};

/// The options that every command that samples takes.
struct SamplingOptions : DocumentOptions {
    std::optional<std::string> pin;
    std::size_t threads = 0; ///< number of workers; 0 for all processors
    bool quiet = false;

    void addTo(CLI::App& command);
};

/// The box that a command samples: of the two corners after --bounds, x0,y0,z0,x1,y1,z1, or else that of the
/// document. Throws FaultError for any other text, and for a box without a finite extent along each axis.
zrk::BBox<double> boundsToSample(const std::optional<std::string>& text,
                                 const zrkmodel::GraphDocument& document);
/// Throws FaultError for a number after an option that isn't finite.
void checkFinite(const std::string& option, double value);
/// The values after --range, LO,HI. Throws FaultError for any other text.
zrk::Interval<double> parseRange(const std::string& text);
/// A pin after an option, NODE:OUT. Throws FaultError for any other text.
zrkmodel::PinAddress parsePin(const std::string& option, const std::string& text);

/// Loads a document with a progress bar and prints its warnings to standard error.
zrkmodel::GraphDocument loadDocument(const DocumentOptions& options, bool quiet);

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
