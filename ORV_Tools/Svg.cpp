#include "Svg.h"

#include <algorithm>
#include <cstdio>

#include "Utf8.h"

namespace orv {
namespace {

// The colours of the two schemes differ, everything else does not. Classes and no variables: not every program that
// shows SVG knows those.
constexpr const char *STYLE = R"(
text{font:12px system-ui,-apple-system,"Segoe UI","DejaVu Sans",sans-serif;fill:#1f2328;font-variant-numeric:tabular-nums}
text.name{font-family:ui-monospace,"SFMono-Regular","DejaVu Sans Mono",Menlo,Consolas,monospace}
text.title{font-size:20px;font-weight:600}
text.subtitle{font-size:13px;fill:#59636e}
text.label{font-size:11px;fill:#59636e}
text.muted{fill:#59636e}
text.bad{fill:#b3202c;font-weight:600}
text.inbar{font-size:10px;font-weight:600;fill:#1f2328}
.background{fill:#ffffff}
.stripe{fill:#f6f8fa}
.plain{fill:#ffffff}
.row:hover .stripe,.row:hover .plain{fill:#eaeef2}
.grid{stroke:#dfe4ea;stroke-width:1}
.axis{stroke:#8c959f;stroke-width:1}
.created{fill:none;stroke:#8c959f;stroke-width:1;stroke-dasharray:2 2}
.starting{fill:#8db8ee}
.online{fill:#a6dab4}
.running{fill:#d3d9e0}
.waited{fill:#f08c2e}
.late{fill:#e5534b}
.ready{fill:#1a7f37}
.path{fill:none;stroke:#d9730d;stroke-width:1.5}
.arrow{fill:#d9730d}
.complete{stroke:#1f2328;stroke-width:1;stroke-dasharray:5 3}
.cross{fill:none;stroke:#cf222e;stroke-width:2.5;stroke-linecap:round}
.error{fill:#cf222e;stroke:#ffffff;stroke-width:1}
.reset{fill:#8250df;stroke:#ffffff;stroke-width:1}
.held{fill:#ffffff;stroke:#8250df;stroke-width:2}
.done{fill:#59636e}
.base{fill:#8c959f;fill-opacity:.75}
.median{stroke:#59636e;stroke-width:2}
.spread{fill:#d3d9e0}
.same{fill:#1f6feb;stroke:#ffffff;stroke-width:1}
.slower{fill:#cf222e;stroke:#ffffff;stroke-width:1}
.faster{fill:#1a7f37;stroke:#ffffff;stroke-width:1}
@media (prefers-color-scheme:dark){
text{fill:#e6edf3}
text.subtitle,text.label,text.muted{fill:#9ba4ae}
text.bad{fill:#ff7b72}
text.inbar{fill:#10151c}
.background,.plain{fill:#0d1117}
.stripe{fill:#141a22}
.row:hover .stripe,.row:hover .plain{fill:#1f2731}
.grid{stroke:#262d36}
.axis{stroke:#6b7580}
.created{stroke:#8b949e}
.starting{fill:#3f74bd}
.online{fill:#26713b}
.running{fill:#3a434e}
.waited{fill:#f0923e}
.late{fill:#f8615a}
.ready{fill:#56d364}
.path{stroke:#f0923e}
.arrow{fill:#f0923e}
.complete{stroke:#e6edf3}
.cross{stroke:#ff7b72}
.error{fill:#f85149;stroke:#0d1117}
.reset{fill:#bc8cff;stroke:#0d1117}
.held{fill:#0d1117;stroke:#bc8cff}
.done{fill:#9ba4ae}
.base{fill:#8b949e}
.median{stroke:#b6bec7}
.spread{fill:#2d3540}
.same{fill:#58a6ff;stroke:#0d1117}
.slower{fill:#ff7b72;stroke:#0d1117}
.faster{fill:#56d364;stroke:#0d1117}
}
)";

std::string attribute(const char *name, std::string_view value) {
  return std::string(" ") + name + "=\"" + std::string(value) + "\"";
}

std::string attribute(const char *name, double value) {
  return attribute(name, svgNumber(value));
}

std::string element(const std::string &start, const char *name, std::string_view title) {
  if (title.empty()) return "<" + start + "/>\n";
  return "<" + start + "><title>" + xmlText(title) + "</title></" + name + ">\n";
}

const char *anchorName(Anchor anchor) {
  switch (anchor) {
    case Anchor::START:
      return "start";
    case Anchor::MIDDLE:
      return "middle";
    case Anchor::END:
      break;
  }
  return "end";
}

std::string escaped(std::string_view character) {
  constexpr std::string_view SPECIAL = "&<>\"'";
  constexpr const char *ENTITIES[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
  const size_t at = SPECIAL.find(character);
  if (at != std::string_view::npos) return ENTITIES[at];
  constexpr const char *REPLACEMENT = "\xef\xbf\xbd";  // U+FFFD
  if (character == "\xef\xbf\xbe" || character == "\xef\xbf\xbf") return REPLACEMENT;
  const bool isControl = character.size() == 1 && static_cast<unsigned char>(character[0]) < ' ' && character != "\n";
  return isControl ? REPLACEMENT : std::string(character);
}

}  // namespace

std::string xmlText(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const size_t length = utf8Length(text);
    result += length == 0 ? "\xef\xbf\xbd" : escaped(text.substr(0, length));
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return result;
}

std::string svgNumber(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.2f", value);
  std::string number = text;
  number.erase(number.find_last_not_of('0') + 1);
  if (number.ends_with('.')) number.pop_back();
  return number == "-0" ? "0" : number;
}

std::string svgBegin(double width, double height, std::string_view title, std::string_view description) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"" +
         attribute("width", width) + attribute("height", height) +
         attribute("viewBox", "0 0 " + svgNumber(width) + " " + svgNumber(height)) +
         " role=\"img\" aria-labelledby=\"chart-title chart-description\">\n<title id=\"chart-title\">" +
         xmlText(title) + "</title>\n<desc id=\"chart-description\">" + xmlText(description) + "</desc>\n<style>" +
         STYLE + "</style>\n" + svgRect(0, 0, width, height, "background");
}

std::string svgEnd() {
  return "</svg>\n";
}

std::string svgRect(double x, double y, double width, double height, std::string_view kind, std::string_view title) {
  return element("rect" + attribute("class", kind) + attribute("x", x) + attribute("y", y) + attribute("width", width) +
                     attribute("height", height),
                 "rect", title);
}

std::string svgLine(double x1, double y1, double x2, double y2, std::string_view kind) {
  return element("line" + attribute("class", kind) + attribute("x1", x1) + attribute("y1", y1) + attribute("x2", x2) +
                     attribute("y2", y2),
                 "line", "");
}

std::string svgPath(std::string_view commands, std::string_view kind, std::string_view title) {
  return element("path" + attribute("class", kind) + attribute("d", commands), "path", title);
}

std::string svgText(double x, double y, std::string_view kind, std::string_view text, Anchor anchor) {
  return "<text" + attribute("class", kind) + attribute("x", x) + attribute("y", y) +
         (anchor == Anchor::START ? "" : attribute("text-anchor", anchorName(anchor))) + ">" + xmlText(text) +
         "</text>\n";
}

std::string svgGroupBegin(std::string_view kind, std::string_view title) {
  return "<g" + attribute("class", kind) + ">" + (title.empty() ? "" : "<title>" + xmlText(title) + "</title>") + "\n";
}

std::string svgGroupEnd() {
  return "</g>\n";
}

std::string svgCross(double x, double y, std::string_view title) {
  constexpr double HALF = 4;
  const std::string left = svgNumber(x - HALF);
  const std::string right = svgNumber(x + HALF);
  const std::string top = svgNumber(y - HALF);
  const std::string bottom = svgNumber(y + HALF);
  return svgPath(
      "M" + left + " " + top + "L" + right + " " + bottom + "M" + left + " " + bottom + "L" + right + " " + top,
      "cross", title);
}

std::string svgDiamond(double x, double y, std::string_view kind, std::string_view title) {
  constexpr double HALF = 6;
  return svgPath("M" + svgNumber(x) + " " + svgNumber(y - HALF) + "L" + svgNumber(x + HALF) + " " + svgNumber(y) + "L" +
                     svgNumber(x) + " " + svgNumber(y + HALF) + "L" + svgNumber(x - HALF) + " " + svgNumber(y) + "Z",
                 kind, title);
}

std::string svgCircle(double x, double y, double radius, std::string_view kind, std::string_view title) {
  return element("circle" + attribute("class", kind) + attribute("cx", x) + attribute("cy", y) + attribute("r", radius),
                 "circle", title);
}

}  // namespace orv
