// The fixed parts of the page that shows an evaluation: its head and its look, on phones and desktops, light and dark.
#ifndef VELQ_KIT_EVALUATION_REPORT_STYLE_H
#define VELQ_KIT_EVALUATION_REPORT_STYLE_H

#include <string_view>

namespace velq::kit {

// Nothing may be loaded from elsewhere.
inline constexpr std::string_view pageStart = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
)html";

// Spam is orange and ham is blue throughout: a pair that most colour-blind readers can tell apart.
inline constexpr std::string_view pageStyle = R"css(<style>
:root {
  --page: #f6f7f9; --card: #ffffff; --ink: #1b2129; --soft: #5a6675; --line: #d9dee5;
  --spam: #c4500b; --spam-soft: #fbe3d3; --ham: #1f6fb2; --ham-soft: #dcebf8; --unsure: #6b7280; --unsure-soft: #e8eaee;
  --right: #dbf0e4; --wrong: #f9dcdc;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #12161b; --card: #1b2128; --ink: #e7ebf0; --soft: #9aa7b5; --line: #333c47;
    --spam: #f2935a; --spam-soft: #47270f; --ham: #6fb1ea; --ham-soft: #12324e; --unsure: #aab3be; --unsure-soft: #2b333d;
    --right: #14402a; --wrong: #562023;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 16px/1.5 system-ui, sans-serif; }
main { max-width: 62rem; margin: 0 auto; padding: 1rem; }
h1 { font-size: 1.45rem; line-height: 1.25; margin: .5rem 0; overflow-wrap: anywhere; }
h2 { font-size: 1.1rem; margin: 0 0 .6rem; }
h3 { font-size: 1rem; margin: 1.2rem 0 .5rem; }
p { margin: .3rem 0; }
.soft { color: var(--soft); font-size: .875rem; }
.card { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .9rem; margin: 1rem 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: .6rem; margin: 1rem 0; }
.tile { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .6rem .8rem; }
.tile b { display: block; font-size: 1.4rem; line-height: 1.3; font-variant-numeric: tabular-nums; }
.tile span { color: var(--soft); font-size: .8rem; }
.charts { display: grid; gap: 1rem; } .charts .card { margin: 0; }
@media (min-width: 52rem) { .charts { grid-template-columns: 1fr 1fr; } }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; font-size: .9rem; }
caption { text-align: left; color: var(--soft); font-size: .875rem; padding-bottom: .3rem; }
th, td { padding: .3rem .45rem; text-align: right; border-bottom: 1px solid var(--line); vertical-align: top; }
td { white-space: nowrap; }
th { font-weight: 600; } th .soft { font-weight: normal; }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
tr:last-child > * { border-bottom: 0; }
thead th { color: var(--soft); font-size: .8rem; vertical-align: bottom; }
.spam { color: var(--spam); } .ham { color: var(--ham); } .unsure { color: var(--unsure); }
td.right { background: var(--right); } td.wrong { background: var(--wrong); } td.open { background: var(--unsure-soft); }
svg { display: block; width: 100%; height: auto; max-width: 34rem; margin: 0 auto; }
svg text { fill: var(--soft); font: 11px system-ui, sans-serif; }
.grid { stroke: var(--line); stroke-width: 1; } .axis { stroke: var(--soft); stroke-width: 1; }
.bar-spam { fill: var(--spam); } .bar-ham { fill: var(--ham); }
.curve { fill: none; stroke: var(--spam); stroke-width: 2; stroke-linejoin: round; }
.chance { stroke: var(--soft); stroke-dasharray: 3 4; } .point { fill: var(--ink); stroke: var(--card); stroke-width: 1.5; }
.key { display: inline-block; width: .75em; height: .75em; border-radius: .15em; margin: 0 .3em 0 .8em; }
.key:first-child { margin-left: 0; }
.key.spam { background: var(--spam); } .key.ham { background: var(--ham); }
details { border-top: 1px solid var(--line); padding: .55rem 0; }
summary { cursor: pointer; overflow-wrap: anywhere; }
summary bdi { white-space: pre-wrap; }
.badge { display: inline-block; font-size: .75rem; padding: 0 .45em; border-radius: 1em; margin-right: .35em; white-space: nowrap; }
.badge.spam { background: var(--spam-soft); } .badge.ham { background: var(--ham-soft); } .badge.unsure { background: var(--unsure-soft); }
.meter { display: inline-block; width: 3.5rem; height: .55em; margin-left: .4em; border-radius: .2em; background: var(--unsure-soft); vertical-align: middle; }
.meter i { display: block; height: 100%; border-radius: .2em; background: var(--unsure); }
.counted .meter i.spam { background: var(--spam); } .counted .meter i.ham { background: var(--ham); }
.range { display: block; height: .3em; margin-top: .2em; border-radius: .2em; background: var(--unsure-soft); overflow: hidden; }
.range i { display: block; height: 100%; min-width: 2px; background: var(--soft); }
@media (max-width: 30rem) {
  main { padding: .6rem; } .card { padding: .75rem; }
  table { font-size: .82rem; } th, td { padding: .28rem .3rem; } thead th { font-size: .72rem; }
}
tr.idle { color: var(--soft); }
td.token { font-family: ui-monospace, monospace; white-space: pre; }
</style>
)css";

} // namespace velq::kit

#endif
