#include "ymotion/text/html.h"

#include "ymotion/text/printable.h"

namespace ymotion {

// Plots are inverted on a dark page, and their hues turned back.
const std::string_view kPageStyle =
    ":root{color-scheme:light dark;--ink:#222;--faint:#666;--page:#fafafa;--sheet:#fff;--line:#e2e2e2;"
    "--code:#eee}"
    "body{font:15px/1.45 system-ui,-apple-system,'Segoe UI',Roboto,'DejaVu Sans',Arial,sans-serif;"
    "color:var(--ink);background:var(--page);margin:2em auto;max-width:1120px;padding:0 1em}"
    "h1{font-size:22px;overflow-wrap:anywhere}h2{font-size:17px;margin-top:2em}"
    ".scroll{overflow-x:auto}"
    "table{border-collapse:collapse;background:var(--sheet)}"
    "td,th{padding:.3em .9em;border-bottom:1px solid var(--line);text-align:right;vertical-align:top}"
    "th{color:var(--faint);font-weight:600}"
    "td.text,th.text{text-align:left;min-width:8em;overflow-wrap:anywhere}"
    "code{background:var(--code);padding:.15em .4em;border-radius:3px;overflow-wrap:anywhere}"
    "svg{display:block;max-width:100%;height:auto}.note{color:var(--faint);overflow-wrap:anywhere}"
    ".narrow{display:none}"
    "@media(max-width:760px){.wide{display:none}.narrow{display:block}body{padding:0 .6em;font-size:14px}"
    "table,tbody,tr,td{display:block}tr:first-child{display:none}"
    "tr{border-bottom:1px solid var(--line);padding:.4em .5em}"
    "td,td.text{border:0;padding:.1em 0;text-align:left;overflow-wrap:anywhere}"
    "td:first-child{font-weight:600}"
    "td:not(:first-child)::before{content:attr(data-head)': ';color:var(--faint)}}"
    "@media(prefers-color-scheme:dark){:root{--ink:#ddd;--faint:#a0a0a0;--page:#191919;--sheet:#141414;"
    "--line:#333;--code:#2a2a2a}svg{filter:invert(.92) hue-rotate(180deg)}}";

std::string HtmlEscaped(std::string_view text)
{
    std::string result;
    for (const char c : Printable(text)) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else if (c == '"') {
            result += "&quot;";
        } else {
            result += c;
        }
    }
    return result;
}

}  // namespace ymotion
