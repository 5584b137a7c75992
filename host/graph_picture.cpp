#include "host/graph_picture.h"

#include "core/values/stop.h"
#include "formats/xml_text.h"
#include "host/document_values.h"
#include "host/type_lookup.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/registry.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zrkmodel {

namespace {

// All lengths are pixels.
constexpr double kMargin = 24;
constexpr double kTitleHeight = 26;
constexpr double kRowHeight = 18;
constexpr double kGap = 22;       // between boxes of a column
constexpr double kLaneHeight = 8; // of a wire that passes a column
constexpr double kColumnGap = 90;
constexpr double kLetter = 7; // an upper bound of a letter's mean width, as fonts differ
constexpr std::size_t kMostValues = 6;
constexpr std::size_t kMostLetters = 30;
constexpr std::size_t kMostLanes = 200000;
constexpr int kSweeps = 6;

struct TagColour {
    const char* name; ///< of the tag
    const char* colour;
};
constexpr TagColour kTagColours[] = {
    {"Scalar", "#2f6db5"}, {"Vector3d", "#2c8a57"}, {"Color", "#c4572a"}, {"None", "#8c8c8c"}};

const char* colourOf(Tag tag)
{
    for (const TagColour& one : kTagColours) {
        if (tag.name() == std::string_view(one.name)) {
            return one.colour;
        }
    }
    return kTagColours[3].colour;
}

/// A text of at most kMostLetters, as UTF-8 allows it to be cut.
std::string shortened(std::string text)
{
    if (text.size() <= kMostLetters) {
        return text;
    }
    std::size_t end = kMostLetters - 1;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u) {
        --end;
    }
    return text.substr(0, end) + "…";
}

/// A node's box, or with none the lane of a wire that passes a column.
struct Item {
    std::shared_ptr<ZRKGraphNode> node;
    std::vector<std::string> values{}; ///< lines of text
    std::size_t column = 0;
    double width = 0;
    double height = kLaneHeight;
    double x = 0;                      ///< left
    double y = 0;                      ///< top
    std::vector<std::size_t> before{}; ///< items of the column to the left that lead here
    std::vector<std::size_t> after{};

    double middle() const { return y + height / 2; }
};

struct Wire {
    std::size_t from;
    std::size_t output;
    std::size_t to;
    std::size_t input;
    Tag tag;
    std::vector<std::size_t> lanes{};
};

class GraphPicture {
public:
    explicit GraphPicture(const GraphDocument& document) : _document(document)
    {
        addItems();
        addWires();
        findColumns();
        addLanes();
        placeItems();
    }

    std::string svg() const
    {
        const EffectiveTagScope tags;
        std::string text = fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.0f}\" height=\"{1:.0f}\" "
            "viewBox=\"0 0 {0:.0f} {1:.0f}\" font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\">\n"
            "<title>{2}</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n",
            _width, _height, zrk::xmlText(_document.name()));
        for (const Wire& wire : _wires) {
            zrk::stopIfAsked();
            drawWire(wire, text);
        }
        for (const Item& item : _items) {
            zrk::stopIfAsked();
            if (item.node) {
                drawBox(item, text);
            }
        }
        drawLegend(text);
        return text + "</svg>\n";
    }

private:
    const GraphDocument& _document;
    std::vector<Item> _items;
    std::vector<Wire> _wires;
    std::unordered_map<std::uint16_t, std::size_t> _itemOfNode;
    std::vector<std::vector<std::size_t>> _columns;
    double _width = 2 * kMargin;
    double _height = 2 * kMargin;

    static std::string titleOf(const ZRKGraphNode& node)
    {
        return fmt::format("{}  {}", node.id, node.object->typeInfo().name);
    }

    /// The values of a node that aren't those of a fresh one.
    static std::vector<std::string> changedValues(const ZRKGraphObject& object)
    {
        const ZRKTypeInfo& type = object.typeInfo();
        const auto* registration = ZRKGraphObject::registry().find(type.uuid, type.name);
        const ZRKJson usual = registration ? storedForm(*registration->factory()) : ZRKJson::object();
        const ZRKJson values = storedForm(object);
        std::vector<std::string> lines;
        for (const auto& [key, value] : values.items()) {
            if (usual.contains(key) && usual[key] == value) {
                continue;
            }
            if (lines.size() == kMostValues) {
                lines.emplace_back("…");
                break;
            }
            lines.push_back(shortened(key + " = " + shown(value)));
        }
        return lines;
    }

    void addItems()
    {
        for (const auto& node : _document.graph()->nodes()) {
            zrk::stopIfAsked();
            Item item{node};
            item.values = changedValues(*node->object);
            std::size_t letters = titleOf(*node).size() * 6 / 5 + 2; // bold ones are wider
            const std::size_t rows = std::max(node->inputs.size(), node->outputs.size());
            for (std::size_t i = 0; i < rows; ++i) {
                const std::size_t in = i < node->inputs.size() ? node->inputs[i].name.size() : 0;
                const std::size_t out = i < node->outputs.size() ? node->outputs[i].name.size() : 0;
                letters = std::max(letters, in + out + 4);
            }
            for (const std::string& line : item.values) {
                letters = std::max(letters, line.size());
            }
            item.width = kLetter * static_cast<double>(letters) + 20;
            item.height = kTitleHeight + kRowHeight * static_cast<double>(rows + item.values.size()) + 8;
            _itemOfNode[node->id] = _items.size();
            _items.push_back(std::move(item));
        }
    }

    void addWires()
    {
        const EffectiveTagScope tags;
        const std::size_t count = _items.size();
        for (std::size_t to = 0; to < count; ++to) {
            zrk::stopIfAsked();
            const auto& inputs = _items[to].node->inputs;
            for (std::size_t i = 0; i < inputs.size(); ++i) {
                const Pin_ref<1> from = _document.graph()->upstream(inputs[i].handle);
                const auto item = _itemOfNode.find(from.handle.node());
                if (from.isValid() && item != _itemOfNode.end()) {
                    _wires.push_back({item->second, from.handle.index(), to, i, effectiveTag(from)});
                }
            }
        }
    }

    /// The column of a node is the longest way to it. Links form no cycle.
    void findColumns()
    {
        std::vector<std::vector<std::size_t>> fed(_items.size());
        std::vector<std::size_t> missing(_items.size());
        for (const Wire& wire : _wires) {
            fed[wire.from].push_back(wire.to);
            ++missing[wire.to];
        }
        std::vector<std::size_t> ready;
        for (std::size_t i = 0; i < _items.size(); ++i) {
            if (missing[i] == 0) {
                ready.push_back(i);
            }
        }
        for (std::size_t next = 0; next < ready.size(); ++next) {
            const std::size_t from = ready[next];
            for (const std::size_t to : fed[from]) {
                _items[to].column = std::max(_items[to].column, _items[from].column + 1);
                if (--missing[to] == 0) {
                    ready.push_back(to);
                }
            }
        }
    }

    /// Wires that pass columns get a lane in each, unless that would be too many in all.
    void addLanes()
    {
        std::size_t lanes = 0;
        for (const Wire& wire : _wires) {
            lanes += _items[wire.to].column - _items[wire.from].column - 1;
        }
        for (Wire& wire : _wires) {
            zrk::stopIfAsked();
            std::size_t last = wire.from;
            const std::size_t end = _items[wire.to].column;
            for (std::size_t c = _items[wire.from].column + 1; lanes <= kMostLanes && c < end; ++c) {
                wire.lanes.push_back(_items.size());
                Item lane;
                lane.column = c;
                _items.push_back(std::move(lane));
                connect(last, wire.lanes.back());
                last = wire.lanes.back();
            }
            if (_items[last].column + 1 == end) {
                connect(last, wire.to);
            }
        }
        for (std::size_t i = 0; i < _items.size(); ++i) {
            _columns.resize(std::max(_columns.size(), _items[i].column + 1));
            _columns[_items[i].column].push_back(i);
        }
    }

    void connect(std::size_t from, std::size_t to)
    {
        _items[from].after.push_back(to);
        _items[to].before.push_back(from);
    }

    /// Sorts a column by the mean height of its neighbours on one side; what has none stays about where it
    /// is.
    void sortColumn(std::vector<std::size_t>& column, bool isByBefore)
    {
        std::map<std::size_t, double> wish;
        for (const std::size_t i : column) {
            const auto& neighbours = isByBefore ? _items[i].before : _items[i].after;
            double sum = 0;
            for (const std::size_t n : neighbours) {
                sum += _items[n].middle();
            }
            wish[i] = neighbours.empty() ? _items[i].middle() : sum / static_cast<double>(neighbours.size());
        }
        std::stable_sort(column.begin(), column.end(),
                         [&](std::size_t a, std::size_t b) { return wish[a] < wish[b]; });
        stack(column);
    }

    /// Places a column's items one below the other, around the height 0.
    void stack(const std::vector<std::size_t>& column)
    {
        double height = -kGap;
        for (const std::size_t i : column) {
            height += _items[i].height + kGap;
        }
        double y = -height / 2;
        for (const std::size_t i : column) {
            _items[i].y = y;
            y += _items[i].height + kGap;
        }
    }

    void placeItems()
    {
        for (auto& column : _columns) {
            stack(column);
        }
        for (int sweep = 0; sweep < kSweeps; ++sweep) {
            zrk::stopIfAsked();
            const bool isForward = sweep % 2 == 0;
            for (std::size_t c = 0; c < _columns.size(); ++c) {
                sortColumn(_columns[isForward ? c : _columns.size() - 1 - c], isForward);
            }
        }
        double x = kMargin;
        double top = 0;
        double bottom = 0;
        for (const auto& column : _columns) {
            double width = 0;
            for (const std::size_t i : column) {
                width = std::max(width, _items[i].width);
            }
            for (const std::size_t i : column) {
                Item& item = _items[i];
                item.x = x;
                item.width = item.node ? item.width : width;
                top = std::min(top, item.y);
                bottom = std::max(bottom, item.y + item.height);
            }
            x += width + kColumnGap;
        }
        for (Item& item : _items) {
            item.y += kMargin - top;
        }
        _width = std::max(x - kColumnGap + kMargin + kColumnGap / 2, 260.0); // room for the word at an output
        _height = bottom - top + 2 * kMargin + kRowHeight;                   // and for the legend
    }

    static double pinY(const Item& item, std::size_t index)
    {
        return item.y + kTitleHeight + kRowHeight * (static_cast<double>(index) + 0.5) + 2;
    }

    void drawWire(const Wire& wire, std::string& text) const
    {
        const Item& from = _items[wire.from];
        const Item& to = _items[wire.to];
        double x = from.x + from.width;
        double y = pinY(from, wire.output);
        std::string path = fmt::format("M{:.1f} {:.1f}", x, y);
        const auto curveTo = [&](double nextX, double nextY) {
            const double bend = std::max((nextX - x) / 2, 20.0);
            path += fmt::format(" C{:.1f} {:.1f} {:.1f} {:.1f} {:.1f} {:.1f}", x + bend, y, nextX - bend,
                                nextY, nextX, nextY);
            x = nextX;
            y = nextY;
        };
        for (const std::size_t lane : wire.lanes) {
            curveTo(_items[lane].x, _items[lane].middle());
            x = _items[lane].x + _items[lane].width;
            path += fmt::format(" H{:.1f}", x);
        }
        curveTo(to.x, pinY(to, wire.input));
        text += fmt::format("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\"{}/>\n", path,
                            colourOf(wire.tag), wire.tag == Tag::None ? " stroke-dasharray=\"5 4\"" : "");
    }

    static void drawText(std::string& text, double x, double y, std::string_view words,
                         const char* more = "fill=\"#333333\"")
    {
        text +=
            fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" {}>{}</text>\n", x, y, more, zrk::xmlText(words));
    }

    static void drawPin(std::string& text, double x, double y, Tag tag, bool isFilled)
    {
        text += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\" fill=\"{}\" stroke=\"{}\" "
                            "stroke-width=\"1.5\"/>\n",
                            x, y, isFilled ? colourOf(tag) : "#ffffff", colourOf(tag));
    }

    void drawBox(const Item& item, std::string& text) const
    {
        const ZRKGraphNode& node = *item.node;
        const ZRKTypeInfo& type = node.object->typeInfo();
        const auto* registration = ZRKGraphObject::registry().find(type.uuid, type.name);
        text += fmt::format("<g>\n<title>{}</title>\n",
                            zrk::xmlText(registration ? registration->strings.description : type.name));
        text += fmt::format("<rect x=\"{0:.1f}\" y=\"{1:.1f}\" width=\"{2:.1f}\" height=\"{3:.1f}\" rx=\"5\" "
                            "fill=\"#f7f7f5\" stroke=\"#8c8c88\"/>\n"
                            "<path d=\"M{0:.1f} {4:.1f} h{2:.1f}\" stroke=\"#d4d4d0\"/>\n",
                            item.x, item.y, item.width, item.height, item.y + kTitleHeight - 2);
        drawText(text, item.x + 10, item.y + 17, titleOf(node), "fill=\"#111111\" font-weight=\"bold\"");
        for (std::size_t i = 0; i < node.inputs.size(); ++i) {
            const ZRKGraphPin& pin = node.inputs[i];
            const double y = pinY(item, i);
            const Pin_ref<1> from = _document.graph()->upstream(pin.handle);
            drawPin(text, item.x, y, from.isValid() ? effectiveTag(from) : pin.tag, from.isValid());
            drawText(text, item.x + 10, y + 4, pin.name);
        }
        for (std::size_t i = 0; i < node.outputs.size(); ++i) {
            drawOutput(item, i, text);
        }
        double y = item.y + kTitleHeight +
                   kRowHeight * static_cast<double>(std::max(node.inputs.size(), node.outputs.size())) + 14;
        for (const std::string& line : item.values) {
            drawText(text, item.x + 10, y, line, "fill=\"#777777\" font-size=\"11\"");
            y += kRowHeight;
        }
        text += "</g>\n";
    }

    void drawOutput(const Item& item, std::size_t index, std::string& text) const
    {
        const ZRKGraphPin& pin = item.node->outputs[index];
        const double x = item.x + item.width;
        const double y = pinY(item, index);
        const Tag tag = tagOf(pin.handle);
        const auto& output = _document.output();
        if (output && output->node == item.node->id && output->output == index) {
            text +=
                fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"8\" fill=\"none\" stroke=\"#111111\" "
                            "stroke-width=\"1.5\"/>\n",
                            x, y);
            drawText(text, x + 12, y - 8, "output", "fill=\"#111111\" font-style=\"italic\"");
        }
        drawPin(text, x, y, tag, true);
        drawText(text, x - 10, y + 4, pin.name, "fill=\"#333333\" text-anchor=\"end\"");
    }

    Tag tagOf(Pin_handle output) const
    {
        const auto node = _document.graph()->getNodePtr(output.node());
        return effectiveTag(outputPin({_document.graph(), node->object, node}, output.index()));
    }

    void drawLegend(std::string& text) const
    {
        double x = kMargin;
        for (const TagColour& one : kTagColours) {
            const double y = _height - kMargin / 2;
            text += fmt::format("<path d=\"M{:.1f} {:.1f} h18\" stroke=\"{}\" stroke-width=\"2\"/>\n", x,
                                y - 4, one.colour);
            drawText(text, x + 24, y, one.name);
            x += 24 + kLetter * static_cast<double>(std::string_view(one.name).size()) + 16;
        }
    }
};

} // namespace

std::string graphPicture(const GraphDocument& document) { return GraphPicture(document).svg(); }

} // namespace zrkmodel
