#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/render_options.h"
#include "core/picture/picture.h"
#include "formats/points.h"
#include "formats/text_words.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <utility>

namespace zrkcli {

namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& text, const std::string& expected,
                         const std::string& remedy)
{
    throw zrk::FaultError({option, zrk::quotation(text), expected, remedy});
}

struct PictureSize {
    std::int32_t width;
    std::int32_t height;
};

PictureSize parseSize(const std::string& text)
{
    constexpr std::uint32_t kLeast = 16;
    const std::size_t cross = text.find('x');
    const std::uint32_t width = zrk::wholeNumber<std::uint32_t>(text.substr(0, cross)).value_or(0);
    const std::uint32_t height =
        cross == std::string::npos ? 0 : zrk::wholeNumber<std::uint32_t>(text.substr(cross + 1)).value_or(0);
    if (std::min(width, height) < kLeast || std::max(width, height) > zrk::kMaxPictureSide ||
        std::uint64_t{width} * height > zrk::kMaxPicturePixels) {
        refuse("--size", text,
               fmt::format("WIDTHxHEIGHT, each from {} to {}, at most {} pixels together", kLeast,
                           zrk::kMaxPictureSide, zrk::kMaxPicturePixels),
               "write it as 1920x1080");
    }
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

zrk::Vector3 parseDirection(const std::string& text)
{
    static const std::pair<const char*, zrk::Vector3> kNamed[] = {
        {"front", {0, -1, 0}}, {"back", {0, 1, 0}},    {"left", {-1, 0, 0}}, {"right", {1, 0, 0}},
        {"top", {0, 0, 1}},    {"bottom", {0, 0, -1}}, {"iso", {1, -1, 1}}};
    std::string names;
    for (const auto& [name, direction] : kNamed) {
        if (text == name) {
            return direction;
        }
        names += std::string(name) + ", ";
    }
    const auto n = zrk::parseNumbers(text, 3);
    zrk::Vector3 direction = n ? zrk::Vector3{(*n)[0], (*n)[1], (*n)[2]} : zrk::Vector3{};
    const double largest = std::max({std::abs(direction[0]), std::abs(direction[1]), std::abs(direction[2])});
    if (largest == 0) {
        refuse("--from", text, "one of " + names + "or three finite numbers x,y,z, not all 0",
               "name the side that the viewer stands on, e.g. --from front or --from 1,-2,1");
    }
    // Squares and reciprocals of very large and very small numbers are out of range.
    for (double& coordinate : direction) {
        coordinate /= largest;
    }
    return direction * (1 / zrk::length(direction));
}

/// Cuts the half of the box away that is on the viewer's side of the plane.
void cut(zrk::PositionBox& region, const std::string& text, const zrk::Vector3& from)
{
    const auto axis =
        text.size() > 2 && text[1] == '=' ? std::string("xyz").find(text[0]) : std::string::npos;
    const auto n = axis != std::string::npos ? zrk::parseNumbers(text.substr(2), 1) : std::nullopt;
    if (!n) {
        refuse("--section", text, "AXIS=VALUE", "name an axis and where it is cut, e.g. --section x=0.2");
    }
    const zrk::Interval<double>& extent = region[axis];
    const double value = (*n)[0];
    if (!(value > extent.lower && value < extent.upper)) {
        refuse("--section", text,
               fmt::format("a value between {:g} and {:g}, what is left of the bounds along {}", extent.lower,
                           extent.upper, text[0]),
               "cut within the bounds");
    }
    zrkmodel::cutTowardsViewer(region, axis, value, from);
}

void setBackground(zrk::PictureSettings& settings, const std::string& text)
{
    if (text == "studio") {
        settings.backdrop = zrk::Backdrop::Studio;
        return;
    }
    if (text == "transparent") {
        settings.backdrop = zrk::Backdrop::Transparent;
        return;
    }
    const auto hex = text == "white"   ? std::optional<std::uint32_t>(0xffffff)
                     : text == "black" ? std::optional<std::uint32_t>(0)
                     : text.size() == 7 && text[0] == '#'
                         ? zrk::wholeNumber<std::uint32_t>(text.substr(1), 16)
                         : std::nullopt;
    if (!hex) {
        refuse("--background", text, "studio, transparent, white, black or a colour #rrggbb",
               "write a colour as six hexadecimal digits, e.g. '#f0f4ff'");
    }
    settings.backdrop = zrk::Backdrop::Plain;
    settings.backdropColor = {(*hex >> 16) / 255.0, (*hex >> 8 & 0xff) / 255.0, (*hex & 0xff) / 255.0};
}

/// The view, and so many more around the z axis.
std::vector<zrk::Vector3> turned(const zrk::Vector3& from, int count)
{
    std::vector<zrk::Vector3> views;
    for (int i = 0; i < std::max(count, 1); ++i) {
        const double angle = 2 * std::numbers::pi * i / std::max(count, 1);
        views.push_back({from[0] * std::cos(angle) - from[1] * std::sin(angle),
                         from[0] * std::sin(angle) + from[1] * std::cos(angle), from[2]});
    }
    return views;
}

/// part.png becomes part_007.png.
std::string numbered(const std::string& file, std::size_t number, int count)
{
    const int digits = std::max(3, static_cast<int>(std::to_string(count - 1).size()));
    return fmt::format("{}_{:0{}}.png", file.substr(0, file.size() - 4), number, digits);
}

/// What the options tell without the document.
zrk::PictureSettings lookOf(const RenderOptions& options)
{
    zrk::PictureSettings settings;
    const PictureSize size = parseSize(options.size);
    settings.width = size.width;
    settings.height = size.height;
    settings.threads = options.threads;
    settings.projection =
        options.isPerspective ? zrk::Projection::Perspective : zrk::Projection::Orthographic;
    settings.fadesByWeight = options.fadesByWeight;
    settings.views =
        turned(options.from.empty() ? settings.views[0] : parseDirection(options.from), options.turntable);
    setBackground(settings, options.background);
    return settings;
}

} // namespace

void drawSolid(const RenderOptions& options, std::vector<std::filesystem::path>* files)
{
    checkPictureName(options.file);
    zrk::PictureSettings settings = lookOf(options);
    const Job job(options, files);
    job.checkTarget(options.turntable > 0 ? numbered(options.file, 0, options.turntable) : options.file);
    for (int i = 1; i < options.turntable; ++i) {
        checkIsNotRead(numbered(options.file, static_cast<std::size_t>(i), options.turntable), job.inputs);
    }
    const zrkmodel::Solid solid = solidOf(options, job);
    settings.region =
        zrk::valueOrThrow(zrkmodel::regionOf(solid.bounds, "give --bounds, or modelBounds in the document"));
    for (const std::string& section : options.sections) {
        cut(settings.region, section, settings.views[0]);
    }
    settings.iso = solid.iso;
    settings.solid = solid.side;
    Paint paint = paintOf(options.paint, job.document);
    settings.paint = std::move(paint.field);
    settings.paintRange = paint.range;

    const bool isTransparent = settings.backdrop == zrk::Backdrop::Transparent;
    std::vector<std::string> written;
    std::optional<zrk::Interval<double>> scale;
    const auto show = [&](const zrk::ShadedPicture& picture, const zrk::PictureStep& step) {
        const std::string file =
            options.turntable > 0 ? numbered(options.file, step.view, options.turntable) : options.file;
        if (isInterrupted()) {
            throw zrk::FaultError(zrk::interruptedAt(file));
        }
        zrk::valueOrThrow(
            zrkmodel::writeShaded(file, picture, isTransparent, [](double) { return !isInterrupted(); }));
        written.push_back(file);
        scale = step.paintRange;
    };
    const auto outcome = withProgress("rendering", options.quiet, [&](ProgressBar& bar) {
        return zrk::drawPictures(zrk::PreparedField(job.output().field), settings, show, &bar);
    });
    if (outcome == zrk::PictureOutcome::Interrupted) {
        throw zrk::FaultError(zrk::interruptedAt(options.file));
    }
    if (outcome == zrk::PictureOutcome::NoSolid) {
        throw zrk::FaultError(zrkmodel::nothingSolid(
            options.document, solid, settings.region,
            "give other bounds with --bounds or another value with --iso; `zrk slice` shows the values"));
    }
    if (!options.quiet) {
        tell("{}{}: {} x {} pixels, surface at {:g}{}\n", zrk::printable(written.front()),
             written.size() > 1 ? " to " + zrk::printable(written.back()) : "", settings.width,
             settings.height, settings.iso, shownScale(scale));
    }
}

void addRenderCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("render", "draw the solid of a field as a shaded picture");
    auto options = std::make_shared<RenderOptions>();
    options->addTo(*command);
    command->add_option("-o,--output", options->file, "picture to write, .png")->required();
    command->add_option("--size", options->size, "pixels, WIDTHxHEIGHT (default 1024x768)");
    command->add_option("--from", options->from,
                        "where the viewer stands: front, back, left, right, top, bottom, iso or a direction "
                        "x,y,z (default: the front, 35 degrees to the right and 28 up)");
    command->add_flag("--perspective", options->isPerspective, "a view in perspective, else without");
    command->add_option("--section", options->sections,
                        "cuts the viewer's side away at AXIS=VALUE, e.g. x=0.2; may be repeated");
    options->paint.addTo(*command);
    command->add_option("--background", options->background,
                        "studio (default), transparent, white, black or a colour #rrggbb");
    command->add_option("--turntable", options->turntable, "draws N numbered pictures around the z axis")
        ->check(CLI::Range(1, 10000));
    command->add_flag("--fade-by-weight", options->fadesByWeight, "the field's weight is its opacity");
    command->callback([&work = program.work, options] { work = [options] { drawSolid(*options); }; });
}

} // namespace zrkcli
