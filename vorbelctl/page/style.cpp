#include "vorbelctl/page/style.h"

namespace vorbelctl::page {

std::string_view style_sheet() {
  return R"css(
:root {
  color-scheme: light dark;
  --paper: #fbfaf8; --card: #ffffff; --ink: #1d2126; --soft: #666e78; --line: #e4e2dd; --grid: #efede9;
  --good: #1f7a4d; --lost: #c0392b; --disorder: #b26a00; --duplicate: #6a56c7; --halt: #0f7c80; --idle: #9aa3ad;
  --flow: #3a6ea5; --price: #2f5d8c; --range: #2f5d8c26; --cancel: #b3266b; --correction: #0d7d5f; --close: #1d2126;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #14171a; --card: #1b1f24; --ink: #e6e8ea; --soft: #98a1ab; --line: #2d333a; --grid: #252a30;
    --good: #5cc98f; --lost: #f0776a; --disorder: #e0a13c; --duplicate: #a594f5; --halt: #4dbec2; --idle: #69727c;
    --flow: #74a7dc; --price: #86b4e6; --range: #86b4e633; --cancel: #ef76ae; --correction: #54c9a4; --close: #e6e8ea;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; }
body {
  margin: 0; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", "DejaVu Sans", sans-serif;
  font-variant-numeric: tabular-nums;
}
main { max-width: 66rem; margin: 0 auto; padding: 3rem 1.5rem 4rem; }
h1, h2, h3, p, dl, dd, figure { margin: 0; }
h1 { font-size: 2.6rem; font-weight: 650; letter-spacing: -0.02em; line-height: 1.1; }
h2 { font-size: 1.15rem; font-weight: 600; margin: 3.5rem 0 0.35rem; }
h3 { font-size: 1rem; font-weight: 600; }
.equal h1 { color: var(--good); }
.different h1, .lost-messages h1 { color: var(--lost); }
.sentence { font-size: 1.15rem; margin-top: 0.6rem; overflow-wrap: anywhere; }
.quiet { color: var(--soft); }
.context { color: var(--soft); margin-top: 0.35rem; overflow-wrap: anywhere; }
.note { color: var(--soft); margin-bottom: 1rem; max-width: 46rem; }
.figures {
  display: grid; grid-template-columns: repeat(auto-fit, minmax(8.2rem, 1fr)); margin-top: 2rem;
  background: var(--card); border: 1px solid var(--line); border-radius: 10px; overflow: hidden;
}
.figures div { box-shadow: 0 0 0 0.5px var(--line); padding: 0.9rem 1rem 0.8rem; display: flex; flex-direction: column-reverse; }
.figures dt { color: var(--soft); font-size: 0.82rem; }
.figures dd { font-size: 1.45rem; font-weight: 600; letter-spacing: -0.01em; overflow-wrap: anywhere; }
.figures .lost dd { color: var(--lost); } .figures .disorder dd { color: var(--disorder); }
.figures .duplicate dd { color: var(--duplicate); } .figures .good dd { color: var(--good); }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 1.1rem 1.2rem 0.9rem; }
.chart { display: grid; grid-template-columns: 4.2rem minmax(0, 1fr); column-gap: 0.7rem; align-items: center; }
.timeline { grid-template-columns: 8.5rem minmax(0, 1fr); }
.unit { grid-column: 2; color: var(--soft); font-size: 0.78rem; margin-bottom: 0.5rem; }
.plot { width: 100%; height: 11rem; overflow: visible; display: block; }
.plot, .levels { margin-bottom: 0.6rem; }  /* half a label of the vertical axis reaches below its end */
.timeline .plot, .timeline .levels { margin-bottom: 0.9rem; }
.levels { position: relative; height: 11rem; color: var(--soft); font-size: 0.78rem; }
.levels span { position: absolute; right: 0; transform: translateY(-50%); }
.grid { stroke: var(--grid); stroke-width: 1; }
.messages rect { fill: var(--flow); }
.stretched { overflow: visible; }
.range { fill: var(--range); stroke: var(--range); stroke-width: 2; vector-effect: non-scaling-stroke; }
.last { fill: none; stroke: var(--price); stroke-width: 1.5; stroke-linejoin: round; vector-effect: non-scaling-stroke; }
.cancel { stroke: var(--cancel); stroke-width: 2; fill: none; }
.correction { fill: var(--card); stroke: var(--correction); stroke-width: 1.8; }
.beyond { opacity: 0.45; }
.halted { fill: var(--halt); fill-opacity: 0.14; }
line.close { stroke: var(--close); stroke-width: 1; stroke-dasharray: 3 3; }
.symbols { position: absolute; width: 0; height: 0; }
.lane-name { display: flex; flex-wrap: wrap; justify-content: space-between; gap: 0 0.5rem; color: var(--soft); font-size: 0.82rem; }
.lane-name b { font-weight: 600; color: var(--ink); }
.lane { width: 100%; height: 0.7rem; margin: 0.28rem 0; display: block; background: var(--grid); border-radius: 2px; }
.lane.lost { fill: var(--lost); } .lane.disorder { fill: var(--disorder); } .lane.duplicate { fill: var(--duplicate); }
.lane.lost { stroke: var(--lost); } .lane.disorder { stroke: var(--disorder); } .lane.duplicate { stroke: var(--duplicate); }
.lane rect { stroke: none; }
.lane .fault { stroke-width: 2; }
.shades { margin: 0.6rem 0 0; }
.legend .lane { display: inline-block; width: 2.4rem; height: 0.7rem; margin: 0 0.4rem 0 0; vertical-align: -0.05rem; overflow: hidden; }
.lane.mark { stroke: var(--ink); stroke-width: 2; }
.lane.halt { fill: var(--halt); } .lane.idle { fill: var(--idle); } .lane.close { fill: var(--close); }
.scale { position: relative; height: 1.4rem; margin-top: 0.1rem; color: var(--soft); font-size: 0.78rem; }
.tick { position: absolute; transform: translateX(-50%); white-space: nowrap; }
.nowrap { white-space: nowrap; }
.bonds { display: grid; grid-template-columns: repeat(2, minmax(0, 1fr)); gap: 1rem; }
.bonds .card { overflow-wrap: anywhere; }
.bonds .card > header { display: flex; flex-wrap: wrap; justify-content: space-between; gap: 0 1rem; }
.bonds .card > p { color: var(--soft); font-size: 0.85rem; margin-bottom: 0.8rem; }
.legend { display: flex; flex-wrap: wrap; gap: 0.2rem 1.4rem; color: var(--soft); font-size: 0.85rem; margin-bottom: 0.9rem; }
.legend svg { width: 1.3rem; height: 0.8rem; margin-right: 0.4rem; vertical-align: -0.05rem; overflow: visible; }
.table { overflow-x: auto; }
table { width: 100%; border-collapse: collapse; font-size: 0.9rem; }
th { text-align: left; font-weight: 500; color: var(--soft); font-size: 0.8rem; }
th, td { padding: 0.42rem 0.9rem 0.42rem 0; border-bottom: 1px solid var(--line); vertical-align: baseline; }
th:last-child, td:last-child { padding-right: 0; }
td.number, th.number { text-align: right; }
.tight { white-space: nowrap; width: 1%; }
td.value { font-family: ui-monospace, "SF Mono", Menlo, Consolas, "DejaVu Sans Mono", monospace; font-size: 0.85rem; overflow-wrap: anywhere; }
td.value small { font-family: system-ui, sans-serif; color: var(--soft); margin-right: 0.6rem; }
.kind { white-space: nowrap; }
.kind::before { content: ""; display: inline-block; width: 0.55rem; height: 0.55rem; border-radius: 50%; background: currentColor; margin-right: 0.5rem; }
.kind span { color: var(--ink); }
.kind.lost { color: var(--lost); } .kind.disorder { color: var(--disorder); } .kind.duplicate { color: var(--duplicate); }
.kind.other { color: var(--idle); }
summary { cursor: pointer; color: var(--soft); padding: 0.6rem 0; }
footer { margin-top: 3.5rem; color: var(--soft); font-size: 0.85rem; overflow-wrap: anywhere; }
@media (max-width: 66rem) {
  .bonds .tick.second { display: none; }
}
@media (max-width: 46rem) {
  main { padding: 2rem 1rem 3rem; }
  h1 { font-size: 2.1rem; }
  .figures { grid-template-columns: repeat(2, minmax(0, 1fr)); }
  .bonds { grid-template-columns: minmax(0, 1fr); }
  .card { padding: 0.9rem 0.8rem 0.7rem; }
  .chart { grid-template-columns: 3.4rem minmax(0, 1fr); column-gap: 0.5rem; }
  .timeline { grid-template-columns: 8.4rem minmax(0, 1fr); }
  .lane-name { font-size: 0.76rem; white-space: nowrap; }
  .bonds .tick.second { display: block; }
  .tick.third, .bonds .tick.third { display: none; }
  .when { display: none; }
  th, td { padding-right: 0.6rem; }
  td.value small { display: block; }
}
@media print {
  :root { --paper: #ffffff; }
  body { font-size: 11px; }
  main { max-width: none; padding: 0; }
  .card, .figures, tr { break-inside: avoid; }
  h2 { break-after: avoid; margin-top: 2rem; }
  .messages rect, .lane, .lane rect, .lane line, .kind::before { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)css";
}

}  // namespace vorbelctl::page
