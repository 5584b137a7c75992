#pragma once

#include "core/values/bbox.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"
#include "host/graph_document.h"
#include "model/json.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

void addMemoryOption(CLI::App& command, std::optional<std::uint64_t>& bytes);
/// Has the program keep to what came after --memory, or to a share of what is free.
void limitMemory(const std::optional<std::uint64_t>& bytes);

/// The options that every command that loads a document takes.
struct DocumentOptions {
    std::string document;
    bool isConfined = false;
    bool isStrict = false;
    std::vector<std::string> changes;    ///< NODE.KEY=VALUE, made to what was loaded
    std::optional<std::uint64_t> memory; ///< bytes; without it a share of what is free

    void addTo(CLI::App& command);
};

/// The options that every command that samples takes.
struct SamplingOptions : DocumentOptions {
    std::vector<std::string> pins; ///< outputs to sample; empty for the document's own
    std::size_t threads = 0;       ///< number of workers; 0 for all processors
    bool quiet = false;

    void addTo(CLI::App& command);
    /// The same of a command that works on several outputs in one run.
    void addWithSeveralPinsTo(CLI::App& command);
};

/// The box that a command samples: of the two corners after --bounds, x0,y0,z0,x1,y1,z1, or else that of the
/// document. Throws FaultError for any other text, and for a box without a finite extent along each axis.
zrk::BBox<double> boundsToSample(const std::optional<std::string>& text,
                                 const zrkmodel::GraphDocument& document);
/// Throws FaultError for a number after an option that isn't finite.
void checkFinite(const std::string& option, double value);
/// Throws FaultError for the name of a picture to write that doesn't end in .png.
void checkPictureName(const std::string& file);
/// The values after --range, LO,HI. Throws FaultError for any other text.
zrk::Interval<double> parseRange(const std::string& text);
/// A pin after an option, NODE:OUT. Throws FaultError for any other text.
zrkmodel::PinAddress parsePin(const std::string& option, const std::string& text);

/// A value of a node by its key in the document.
struct NodeKey {
    std::uint16_t node = 0;
    std::string key;
};

/// NODE.KEY after an option. Throws FaultError for any other text.
NodeKey parseNodeKey(const std::string& option, const std::string& text);

/// NODE.KEY=VALUE, where the value is JSON as in a document; what isn't is taken for a string.
struct Assignment {
    NodeKey target;
    zrkmodel::ZRKJson value;
};

/// Throws FaultError for a text without node, key or equals sign.
/// @param place  where the text stands, for the message.
Assignment parseAssignment(const std::string& place, const std::string& text);

/// Loads a document with a progress bar and prints its warnings to standard error.
/// @param files  told of the files that the document names; may be null.
/// @param told   takes the warnings in place of standard error; may be null.
zrkmodel::GraphDocument loadDocument(const DocumentOptions& options, bool quiet,
                                     std::vector<std::filesystem::path>* files = nullptr,
                                     zrkmodel::DocumentWarnings* told = nullptr);

/// Tells a warning on standard error, unless a command is quiet. With --strict it throws it.
void tellWarning(const zrk::Fault& warning, bool isStrict, bool quiet);

/// Tells remarks on standard error, unless a command is quiet.
void tellRemarks(const std::vector<zrk::Fault>& remarks, bool quiet);

/// Throws FaultError for a file to write that is one of those that are read, under whichever name, or a
/// picture in a folder whose slices are.
void checkIsNotRead(const std::string& file, const std::vector<std::filesystem::path>& inputs);

/// Throws FaultError where a file can't be written, before the work for it begins. Writes nothing.
void checkCanBeWritten(const std::string& file);

/// A document and those outputs of it which a command samples.
struct Job {
    std::vector<std::filesystem::path> inputs; ///< what the document names, and itself
    zrkmodel::GraphDocument document;
    std::vector<zrkmodel::OutputField> outputs; ///< at least one

    /// Loads the document, prints its warnings, and takes the pins of the options or the document's own.
    explicit Job(const SamplingOptions& options, std::vector<std::filesystem::path>* files = nullptr);

    /// The output of a command that samples one.
    const zrkmodel::OutputField& output() const { return outputs.front(); }
    /// The file for an output: the one named or, where there are several outputs, one of its own beside it,
    /// such as part_2_0.npy for output 0 of node 2.
    /// Checked by `checkTarget`.
    std::string fileOf(const zrkmodel::OutputField& output, const std::string& file) const;
    /// Throws FaultError for a file to write that is the document or one of those that it reads, as it would
    /// be lost, and for one that can't be made: work may take long.
    void checkTarget(const std::string& file) const;
};

/// Returns the program's arguments as CLI11 takes them, last one first. A number such as `-.5,0,0`
/// gets a digit in front of its point, so that it isn't taken for an option.
std::vector<std::string> argumentsInParsingOrder(int argc, char** argv);

} // namespace zrkcli
