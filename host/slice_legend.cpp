#include "host/slice_legend.h"

#include "host/picture_text.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace zrkmodel {

namespace {

using zrk::Rgb;

constexpr Rgb kPaper = {1, 1, 1};
constexpr Rgb kTextInk = {0.07, 0.08, 0.11};
constexpr Rgb kGrey = {0.45, 0.46, 0.49};
constexpr int kMargin = 8; ///< these lengths are in points of the letters
constexpr int kGap = 4;
constexpr int kBarHeight = 10;
constexpr int kRuleHeight = 3;
constexpr int kPixelsAPoint = 480; ///< of the picture's width

int widthOf(const zrk::Picture& picture) { return static_cast<int>(picture.dims[0]); }
int heightOf(const zrk::Picture& picture) { return static_cast<int>(picture.dims[1]); }

/// Pixels of a point of letters in a picture.
int textScale(int width) { return std::max(1, static_cast<int>(std::lround(double(width) / kPixelsAPoint))); }

/// A bar of a round length with its text.
struct Rule {
    std::string text;
    int pixels = 0;

    /// @param most  pixels that it may have
    Rule(const SliceScale& scale, int most)
    {
        const double length = roundLengthWithin(scale.unitsPerPixel * most);
        if (std::isnormal(length)) {
            text = scaleText(length, scale.unit);
            pixels = static_cast<int>(std::lround(length / scale.unitsPerPixel));
        }
    }
    int width(int s) const { return std::max(pixels, textWidth(text, s)); }
    int height(int s) const { return textHeight(s) + (kGap + kRuleHeight) * s; }

    /// @param at  the upper left corner
    void draw(zrk::Picture& picture, PixelPlace at, int s) const
    {
        drawText(picture, at, text, kTextInk, s);
        const int top = at.y + textHeight(s) + kGap * s;
        fillRectangle(picture, {at.x, top}, {at.x + pixels, top + kRuleHeight * s}, kTextInk);
    }
};

/// A value to four digits, and not finer than the colours of a range tell.
std::string number(double value, const ValueRange& range)
{
    const double step = (range.high - range.low) * 1e-4;
    const double shown = std::isnormal(step) ? std::round(value / step) * step : value;
    return fmt::format("{:.4g}", shown == 0 ? 0 : shown);
}

/// The strip below a slice, whose upper edge is the row `top`.
class Strip {
public:
    Strip(zrk::Picture& picture, int top) : _picture(picture), _s(textScale(widthOf(picture))), _y(top) {}

    static int height(int width)
    {
        return (2 * kMargin + kBarHeight + 2 * kGap + 7 + kMargin + 7 + kGap + kRuleHeight) *
               textScale(width);
    }

    void draw(const SlicePicture& slice, const SliceStyle& style, int components, const SliceScale& scale)
    {
        const int left = kMargin * _s;
        const int right = widthOf(_picture) - left;
        _y += kMargin * _s;
        if (components == 1) {
            drawScalars(slice.range, style, left, right);
        } else {
            drawComponents(slice.range, components, left, right);
        }
        _y += (kBarHeight + kGap + 7 + kMargin) * _s;
        Rule(scale, (right - left) / 3).draw(_picture, {left, _y}, _s);
    }

private:
    zrk::Picture& _picture;
    int _s;
    int _y;

    void drawScalars(const ValueRange& range, const SliceStyle& style, int left, int right)
    {
        const int bottom = _y + kBarHeight * _s;
        const int width = std::max(right - left, 1);
        const auto valueAt = [&](int x) {
            return range.low + (range.high - range.low) * (x - left + 0.5) / width;
        };
        for (int x = left; x < right; ++x) {
            fillRectangle(_picture, {x, _y}, {x + 1, bottom}, scalarColor(valueAt(x), range, style));
        }
        const int textTop = bottom + kGap * _s;
        const std::string low = number(range.low, range), high = number(range.high, range);
        const int highAt = right - textWidth(high, _s);
        drawText(_picture, {left, textTop}, low, kTextInk, _s);
        drawText(_picture, {highAt, textTop}, high, kTextInk, _s);
        if (!style.contour || !(range.low < *style.contour && *style.contour < range.high)) {
            return;
        }
        const double share = (*style.contour - range.low) / (range.high - range.low);
        const int middle = left + static_cast<int>(std::lround(share * width));
        fillRectangle(_picture, {middle - _s / 2, _y}, {middle - _s / 2 + _s, bottom + 2 * _s}, kTextInk);
        const std::string level = number(*style.contour, range);
        const int levelAt = middle - textWidth(level, _s) / 2;
        const int space = 2 * kGap * _s;
        if (levelAt > left + textWidth(low, _s) + space && levelAt + textWidth(level, _s) + space < highAt) {
            drawText(_picture, {levelAt, textTop}, level, kTextInk, _s);
        }
    }

    void drawComponents(const ValueRange& range, int components, int left, int right)
    {
        struct Name {
            Rgb color;
            const char* text;
        };
        constexpr Name kNames[] = {
            {{0.84, 0.15, 0.16}, "x red"}, {{0.13, 0.6, 0.2}, "y green"}, {{0.16, 0.35, 0.8}, "z blue"}};
        int x = left;
        for (const Name& name : kNames) {
            const char* text = components == 3 ? name.text : name.text + 2;
            fillRectangle(_picture, {x, _y}, {x + 7 * _s, _y + 7 * _s}, name.color);
            drawText(_picture, {x + 10 * _s, _y}, text, kTextInk, _s);
            x += 10 * _s + textWidth(text, _s) + 2 * kGap * _s;
        }
        const std::string ends = number(range.low, range) + " to " + number(range.high, range);
        const int below = _y + (kBarHeight + kGap) * _s;
        const bool isRoomBeside = x + textWidth(ends, _s) < right;
        drawText(_picture, {isRoomBeside ? x : left, isRoomBeside ? _y : below}, ends, kGrey, _s);
    }
};

} // namespace

double roundLengthWithin(double longest)
{
    const double decade = std::pow(10, std::floor(std::log10(longest)));
    const double steps = longest / decade;
    return decade * (steps >= 5 ? 5 : steps >= 2 ? 2 : 1);
}

std::string scaleText(double length, const std::string& unit)
{
    return fmt::format("{:g} {}", length, !unit.empty() ? unit : length == 1 ? "unit" : "units");
}

void drawScaleBar(zrk::Picture& picture, const SliceScale& scale)
{
    const int width = widthOf(picture);
    const int s = textScale(width);
    const Rule rule(scale, width / 3);
    const int pad = kGap * s;
    const PixelPlace corner{2 * pad, heightOf(picture) - 2 * pad - rule.height(s)};
    if (rule.pixels < 2 || corner.x + rule.width(s) + 2 * pad > width || corner.y < 2 * pad) {
        return;
    }
    fillRectangle(picture, {corner.x - pad, corner.y - pad},
                  {corner.x + rule.width(s) + pad, corner.y + rule.height(s) + pad}, kPaper);
    rule.draw(picture, corner, s);
}

zrk::Picture withLegend(const SlicePicture& slice, const SliceStyle& style, int components,
                        const SliceScale& scale)
{
    const int width = widthOf(slice.picture);
    const int height = heightOf(slice.picture);
    zrk::Picture whole(static_cast<std::size_t>(width),
                       static_cast<std::size_t>(height + Strip::height(width)));
    std::copy(slice.picture.data.begin(), slice.picture.data.end(), whole.data.begin());
    fillRectangle(whole, {0, height}, {width, heightOf(whole)}, kPaper);
    Strip(whole, height).draw(slice, style, components, scale);
    return whole;
}

zrk::Picture finishedSlice(const SlicePicture& slice, const SliceStyle& style, int components,
                           const SliceScale& scale, bool hasLegend)
{
    if (hasLegend) {
        return withLegend(slice, style, components, scale);
    }
    zrk::Picture picture = slice.picture;
    if (!scale.unit.empty()) {
        drawScaleBar(picture, scale);
    }
    return picture;
}

} // namespace zrkmodel
