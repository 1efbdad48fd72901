// The parts that charts are drawn with: a picture in SVG that needs nothing else, in light and in dark colours as the
// reader's system asks for, and readable to who does not see it.
//
// Lengths are in user units, one pixel where the picture is shown in its own size. Texts are escaped here; they have to
// be printable (Words.h) already.
#ifndef ORV_TOOLS_SVG_H
#define ORV_TOOLS_SVG_H

#include <string>
#include <string_view>

namespace orv {

// How wide a character of a chart's texts is: of names, which are set in a typewriter's characters, and of other texts,
// of which a line is narrower than that.
constexpr double NAME_CHARACTER_WIDTH = 7.3;
constexpr double TEXT_CHARACTER_WIDTH = 6.6;

// `text` as it stands in a document: & < > " ' and what XML has no place for.
std::string xmlText(std::string_view text);

// "12.5": at most two decimals.
std::string svgNumber(double value);

// The beginning of a picture: its size, what it shows in a line and in a few sentences, its style, its background.
std::string svgBegin(double width, double height, std::string_view title, std::string_view description);
std::string svgEnd();

// Elements of a class of the style; `title` is what shows when one points at it, if anything.
std::string svgRect(double x, double y, double width, double height, std::string_view kind,
                    std::string_view title = "");
std::string svgLine(double x1, double y1, double x2, double y2, std::string_view kind);
std::string svgPath(std::string_view commands, std::string_view kind, std::string_view title = "");

enum class Anchor { START, MIDDLE, END };
std::string svgText(double x, double y, std::string_view kind, std::string_view text, Anchor anchor = Anchor::START);

// What belongs together, with a title of its own.
std::string svgGroupBegin(std::string_view kind, std::string_view title = "");
std::string svgGroupEnd();

// The signs, about 10 high, around a point.
std::string svgCross(double x, double y, std::string_view title = "");                           // failed
std::string svgDiamond(double x, double y, std::string_view kind, std::string_view title = "");  // an error
std::string svgCircle(double x, double y, double radius, std::string_view kind, std::string_view title = "");

}  // namespace orv

#endif
