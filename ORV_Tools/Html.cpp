#include "Html.h"

#include "Svg.h"
#include "Words.h"

namespace orv {
namespace {

constexpr const char *STYLE = R"(
:root{color-scheme:light dark;--paper:#ffffff;--ground:#f3f5f8;--ink:#1f2328;--faint:#59636e;--line:#dfe4ea;
--head:#f6f8fa;--good:#1a7f37;--good-bg:#dafbe1;--warn:#8a5a00;--warn-bg:#fff3cd;--bad:#b3202c;--bad-bg:#ffebe9;
--link:#0a58ca}
@media (prefers-color-scheme:dark){:root{--paper:#0d1117;--ground:#05080c;--ink:#e6edf3;--faint:#9ba4ae;--line:#262d36;
--head:#141a22;--good:#56d364;--good-bg:#10301a;--warn:#e3b341;--warn-bg:#33270a;--bad:#ff7b72;--bad-bg:#3a1214;
--link:#6cb0ff}}
*{box-sizing:border-box}
html{scroll-behavior:smooth}
body{margin:0;background:var(--ground);color:var(--ink);
font:14px/1.5 system-ui,-apple-system,"Segoe UI","DejaVu Sans",sans-serif;font-variant-numeric:tabular-nums}
.r-page{display:grid;grid-template-columns:210px minmax(0,1fr);gap:24px;max-width:1480px;margin:0 auto;padding:24px}
.r-head{grid-column:1/-1;border-bottom:3px solid var(--line);padding-bottom:16px}
.r-head h1{font-size:24px;line-height:1.25;margin:0 0 4px}
.r-head p{margin:4px 0}
nav{position:sticky;top:24px;align-self:start}
nav ol{list-style:none;margin:0;padding:0;border-left:2px solid var(--line)}
nav a{display:block;padding:4px 12px;color:var(--faint);text-decoration:none}
nav a:hover,nav a:focus{color:var(--link)}
section{background:var(--paper);border:1px solid var(--line);border-radius:8px;padding:16px 20px;margin:0 0 20px}
section h2{font-size:17px;margin:0 0 12px}
section h3{font-size:14px;margin:18px 0 8px}
p{margin:8px 0}
.r-scroll{overflow-x:auto}
table{border-collapse:collapse;width:100%}
th{background:var(--head);color:var(--faint);font-weight:600;font-size:12px;text-align:left;white-space:nowrap}
th,td{padding:5px 10px;border-bottom:1px solid var(--line);vertical-align:top}
tr:last-child td{border-bottom:0}
.r-facts td:first-child{color:var(--faint);white-space:nowrap;width:1%}
code,pre{font-family:ui-monospace,"SFMono-Regular","DejaVu Sans Mono",Menlo,Consolas,monospace;font-size:12px}
td code{white-space:nowrap}
td code.r-long{white-space:normal;overflow-wrap:anywhere;display:inline-block;min-width:240px}
pre{background:var(--head);border:1px solid var(--line);border-radius:6px;padding:10px 12px;margin:8px 0;overflow-x:auto}
.r-good{color:var(--good)}.r-warn{color:var(--warn)}.r-bad{color:var(--bad)}.r-faint{color:var(--faint)}
td.r-good,td.r-warn,td.r-bad{font-weight:600}
p.r-good,p.r-warn,p.r-bad{display:inline-block;border-radius:6px;padding:6px 12px;font-weight:600}
p.r-good{background:var(--good-bg)}p.r-warn{background:var(--warn-bg)}p.r-bad{background:var(--bad-bg)}
details{margin:8px 0}
summary{cursor:pointer;color:var(--link)}
svg{display:block;max-width:100%;height:auto}
@media (max-width:900px){.r-page{grid-template-columns:minmax(0,1fr);padding:12px}nav{position:static}}
@media print{:root{color-scheme:light;--paper:#fff;--ground:#fff;--ink:#000;--faint:#444;--line:#bbb;--head:#f4f4f4;
--good:#0b5c22;--good-bg:#fff;--warn:#6b4600;--warn-bg:#fff;--bad:#8f1620;--bad-bg:#fff}
.r-page{display:block;padding:0}nav{position:static;margin-bottom:16px}section{border:0;padding:0}
h2,h3{break-after:avoid}tr,pre,svg{break-inside:avoid}pre,.r-scroll{overflow:visible;white-space:pre-wrap}
summary{color:inherit}}
)";

const char *classOf(Tone tone) {
  switch (tone) {
    case Tone::PLAIN:
      return "";
    case Tone::GOOD:
      return " class=\"r-good\"";
    case Tone::WARN:
      return " class=\"r-warn\"";
    case Tone::BAD:
      return " class=\"r-bad\"";
    case Tone::FAINT:
      return " class=\"r-faint\"";
  }
  return "";
}

std::string cellHtml(const HtmlCell &cell) {
  const std::string text = html(cell.text);
  // A path may be broken where a name is better left whole.
  constexpr size_t LONGEST_NAME = 40;
  const std::string code = cell.text.size() > LONGEST_NAME ? "<code class=\"r-long\">" : "<code>";
  return std::string("<td") + classOf(cell.tone) + ">" + (cell.isCode ? code + text + "</code>" : text) + "</td>";
}

std::string rowsHtml(const std::vector<HtmlRow> &rows) {
  std::string text;
  for (const HtmlRow &row : rows) {
    text += "<tr>";
    for (const HtmlCell &cell : row)
      text += cellHtml(cell);
    text += "</tr>\n";
  }
  return text;
}

}  // namespace

std::string html(std::string_view text) {
  return xmlText(printable(text));
}

std::string htmlTable(const std::vector<std::string> &head, const std::vector<HtmlRow> &rows) {
  std::string text = "<div class=\"r-scroll\"><table><thead><tr>";
  for (const std::string &title : head)
    text += "<th scope=\"col\">" + html(title) + "</th>";
  return text + "</tr></thead><tbody>\n" + rowsHtml(rows) + "</tbody></table></div>\n";
}

std::string htmlFacts(const std::vector<HtmlRow> &rows) {
  return "<div class=\"r-scroll\"><table class=\"r-facts\"><tbody>\n" + rowsHtml(rows) + "</tbody></table></div>\n";
}

std::string htmlParagraph(const HtmlCell &cell) {
  return std::string("<p") + classOf(cell.tone) + ">" + html(cell.text) + "</p>\n";
}

std::string htmlLines(const std::vector<HtmlCell> &lines) {
  std::string text = "<pre>";
  for (const HtmlCell &line : lines) {
    const std::string escaped = html(line.text);
    text += line.tone == Tone::PLAIN ? escaped : std::string("<span") + classOf(line.tone) + ">" + escaped + "</span>";
    text += "\n";
  }
  return text + "</pre>\n";
}

std::string htmlDetails(const std::string &summary, const std::string &contentHtml) {
  return "<details><summary>" + html(summary) + "</summary>\n" + contentHtml + "</details>\n";
}

std::string htmlPage(const std::string &title, const std::string &headHtml, const std::vector<HtmlSection> &sections) {
  std::string contents;
  std::string body;
  for (const HtmlSection &section : sections) {
    contents += "<li><a href=\"#" + html(section.id) + "\">" + html(section.title) + "</a></li>\n";
    body += "<section id=\"" + html(section.id) + "\">\n<h2>" + html(section.title) + "</h2>\n" + section.contentHtml +
            "</section>\n";
  }
  // The policy keeps even a browser that is mistaken about a text from loading anything.
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
         html(title) + "</title>\n<style>" + STYLE + "</style>\n</head>\n<body>\n<div class=\"r-page\">\n" +
         "<header class=\"r-head\">\n<h1>" + html(title) + "</h1>\n" + headHtml + "</header>\n<nav><ol>\n" + contents +
         "</ol></nav>\n<main>\n" + body + "</main>\n</div>\n</body>\n</html>\n";
}

}  // namespace orv
