#pragma once

#include "host/graph_document.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace zrkmodel {

/// Turns the JSON of a document into a graph. One reader reads one document.
class DocumentReader {
public:
    /// @param name  of the file, for messages.
    DocumentReader(GraphDocument& document, const std::string& name, DocumentWarnings& warnings,
                   const LoadSettings& settings)
        : _document(document),
          _name(name),
          _warnings(warnings),
          _monitor(settings.monitor),
          _paths(std::filesystem::path(name).parent_path(), settings.isConfined, settings.files),
          _given(settings.resources)
    {}

    /// Parses the text and reads all of it. Throws zrk::FaultError.
    void read(const std::string& text);

private:
    GraphDocument& _document;
    const std::string& _name;
    DocumentWarnings& _warnings;
    zrk::ProgressMonitor* _monitor;
    DocumentPaths _paths;
    std::shared_ptr<DocumentResources> _given; ///< in place of the document's own; may be null

    void readVersion();
    void readContext();
    void readResources();
    void readNodes();
    void readNode(const ZRKJson& entry, std::size_t index);
    void refuseIfStopped(const std::string& place) const;
    void readValues(const ZRKJson& values, ZRKGraphObject& object, const std::string& place);
    void warnOfOtherGeometries(const ZRKGraphObject& object, const std::string& place);
    void warnOfUnlistedChoices(const ZRKJson& values, const ZRKGraphObject& object, const std::string& place);
    void readImport(const ZRKJson& entry, ZRKGraphObject& object, const std::string& place);
    void readLinks();
    void readLink(const ZRKJson& entry, std::size_t index);
    void warnOfLinksThatDontFit();
    void readOutput();
    void readView();
    void warnOfUnknownMembers(const ZRKJson& resources);

    /// Warns of members of an object that documents don't know there.
    void warnOfUnknown(const ZRKJson& object, const std::string& place,
                       const std::vector<std::string>& known);
    Pin_handle readPin(const ZRKJson& pair, const std::string& place, bool isOutput) const;
    [[noreturn]] void refuseLink(ZRKLinkResult result, Pin_handle from, Pin_handle to,
                                 const std::string& place) const;
    std::string nodeText(std::uint16_t id) const;
    const ZRKJson* arrayMember(const char* key) const;
    std::string where(const std::string& place) const { return _name + ", " + place; }
    [[noreturn]] void refuse(const std::string& place, const std::string& found, const std::string& expected,
                             const std::string& remedy) const;
    void warn(const std::string& place, const std::string& found, const std::string& expected,
              const std::string& remedy);
};

} // namespace zrkmodel
