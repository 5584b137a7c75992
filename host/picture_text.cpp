#include "host/picture_text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace zrkmodel {

namespace {

constexpr int kColumns = 5;
constexpr int kRows = 7;
constexpr int kAdvance = kColumns + 1;

/// Seven rows of five points.
struct Glyph {
    char character;
    const char* points;
};

constexpr Glyph kGlyphs[] = {
    {'0', " ### #   ##  ### # ###  ##   # ### "}, {'1', "  #   ##    #    #    #    #   ### "},
    {'2', " ### #   #    #   #   #   #   #####"}, {'3', "#####   #   #     #     ##   # ### "},
    {'4', "   #   ##  # # #  # #####   #    # "}, {'5', "######    ####     #    ##   # ### "},
    {'6', "  ##  #   #    #### #   ##   # ### "}, {'7', "#####    #   #   #   #    #    #   "},
    {'8', " ### #   ##   # ### #   ##   # ### "}, {'9', " ### #   ##   # ####    #   #  ##  "},
    {'-', "               #####               "}, {'+', "       #    #  #####  #    #       "},
    {'.', "                          ##   ##  "}, {',', "                     ##   #   #    "},
    {'=', "          #####     #####          "}, {':', "      ##   ##        ##   ##       "},
    {'/', "         #   #   #   #   #         "}, {'%', "##   ##  #   #   #   #   #  ##   ##"},
    {'a', "           ###     # #####   # ####"}, {'b', "#    #    # ## ##  ##   ##   ##### "},
    {'c', "           ### #    #    #   # ### "}, {'d', "    #    # ## ##  ###   ##   # ####"},
    {'e', "           ### #   #######     ### "}, {'f', "  ##  #  # #   ###   #    #    #   "},
    {'g', "      #####   ##   # ####    # ### "}, {'h', "#    #    # ## ##  ##   ##   ##   #"},
    {'i', "  #        ##    #    #    #   ### "}, {'j', "   #        ##    #    # #  #  ##  "},
    {'k', "#    #    #  # # #  ##   # #  #  # "}, {'l', " ##    #    #    #    #    #   ### "},
    {'m', "          ## # # # ## # ##   ##   #"}, {'n', "          # ## ##  ##   ##   ##   #"},
    {'o', "           ### #   ##   ##   # ### "}, {'p', "          #### #   ##### #    #    "},
    {'q', "           ## ##  ## ####    #    #"}, {'r', "          # ## ##  ##    #    #    "},
    {'s', "           ### #     ###     ##### "}, {'t', " #    #   ###   #    #    #  #  ## "},
    {'u', "          #   ##   ##   ##  ## ## #"}, {'v', "          #   ##   ##   # # #   #  "},
    {'w', "          #   ##   ## # ## # # # # "}, {'x', "          #   # # #   #   # # #   #"},
    {'y', "          #   ##   # ####    # ### "}, {'z', "          #####   #   #   #   #####"},
};

const char* pointsOf(char character)
{
    const char small = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    const auto* glyph = std::find_if(std::begin(kGlyphs), std::end(kGlyphs),
                                     [&](const Glyph& g) { return g.character == small; });
    return glyph == std::end(kGlyphs) ? nullptr : glyph->points;
}

} // namespace

int textWidth(std::string_view text, int scale)
{
    return std::max(0, static_cast<int>(text.size()) * kAdvance - 1) * scale;
}

int textHeight(int scale) { return kRows * scale; }

void fillRectangle(zrk::Picture& picture, PixelPlace first, PixelPlace last, const zrk::Rgb& color)
{
    const int width = static_cast<int>(picture.dims[0]);
    const int height = static_cast<int>(picture.dims[1]);
    for (int y = std::max(first.y, 0); y < std::min(last.y, height); ++y) {
        for (int x = std::max(first.x, 0); x < std::min(last.x, width); ++x) {
            unsigned char* pixel =
                &picture.data[3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                   static_cast<std::size_t>(x))];
            for (std::size_t c = 0; c < 3; ++c) {
                pixel[c] = static_cast<unsigned char>(std::lround(255 * color[c]));
            }
        }
    }
}

void drawText(zrk::Picture& picture, PixelPlace at, std::string_view text, const zrk::Rgb& color, int scale)
{
    for (const char character : text) {
        const char* points = pointsOf(character);
        for (int i = 0; points && i < kColumns * kRows; ++i) {
            if (points[i] == '#') {
                const PixelPlace corner{at.x + i % kColumns * scale, at.y + i / kColumns * scale};
                fillRectangle(picture, corner, {corner.x + scale, corner.y + scale}, color);
            }
        }
        at.x += kAdvance * scale;
    }
}

} // namespace zrkmodel
