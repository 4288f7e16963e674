#include "workflow/pages/html_parts.h"

namespace clipchain {

// The colours of text keep a contrast of 4.5 and more to what they stand on, those of shapes 3 and
// more; tests/report/report_test.py reads them here and measures. `content-visibility` keeps a page
// of thousands of clips from being laid out where nobody looks; its sizes are guesses that the
// browser corrects. On paper grids are blocks: browsers break those between lines, and leave half a
// page empty before a grid.
const char kHtmlStyle[] = R"css(
:root {
  color-scheme: light dark;
  --paper: #f3f5f8; --card: #ffffff; --well: #e9edf2; --ink: #17202b; --soft: #4b5968;
  --line: #d3dae3; --link: #0b57b8; --focus: #0b57b8;
  --good: #0d6236; --good-back: #def3e6; --open: #8a4300; --open-back: #fcecd6;
  --bad: #a51d2d; --bad-back: #fde7e9;
  --hatch: #aab5c2;
  --v0: #1f6fd6; --v1: #c2570c; --v2: #0a7d71; --v3: #b0368f;
  --v4: #85690a; --v5: #6b4fd0; --v6: #c8323e; --v7: #4f6478;
  --shadow: 0 1px 2px rgb(20 35 55 / .08), 0 4px 14px rgb(20 35 55 / .06);
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --paper: #0e141b; --card: #182029; --well: #222c37; --ink: #e9eef4; --soft: #a9b7c6;
    --line: #303c49; --link: #8ec2ff; --focus: #8ec2ff;
    --good: #86e3ad; --good-back: #16382a; --open: #ffc877; --open-back: #40300f;
    --bad: #ffa3a8; --bad-back: #48191e;
    --hatch: #4d5b6a;
    --v0: #6fb0ff; --v1: #ff9d5c; --v2: #3fd0bd; --v3: #f08fd6;
    --v4: #dcc04a; --v5: #b39dff; --v6: #ff8a8f; --v7: #a9bccf;
    --shadow: none;
  }
}
*, *::before, *::after { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; text-size-adjust: 100%; scroll-padding-top: 1rem; }
body {
  margin: 0; background: var(--paper); color: var(--ink);
  font: 1rem/1.5 system-ui, sans-serif;
  font-variant-numeric: tabular-nums;
}
h1, h2, h3, p, ol, ul, dl, dd, figure { margin: 0; padding: 0; }
ol, ul { list-style: none; }
a { color: var(--link); }
:focus-visible { outline: 3px solid var(--focus); outline-offset: 2px; border-radius: 4px; }
.wide { max-width: 76rem; margin: 0 auto; padding: 0 clamp(.9rem, 3vw, 2rem); }
.hidden {
  position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%);
  white-space: nowrap;
}
.skip {
  position: absolute; left: .5rem; top: -4rem; z-index: 9; padding: .5rem .9rem;
  background: var(--card); border-radius: 0 0 8px 8px;
}
.skip:focus { top: 0; }
.glyph { width: .95em; height: .95em; fill: currentColor; flex: none; }

.top { padding-top: clamp(1.4rem, 4vw, 2.6rem); padding-bottom: .4rem; }
.top .mark { display: flex; align-items: center; gap: .5rem; color: var(--soft); font-weight: 600;
  letter-spacing: .02em; }
.top .mark svg { width: 1.5rem; height: 1.5rem; fill: none; stroke: var(--link); stroke-width: 2; }
h1 { font-size: clamp(1.6rem, 4.5vw, 2.4rem); line-height: 1.15; letter-spacing: -.02em;
  margin-top: .35rem; }
h2 { font-size: 1.25rem; letter-spacing: -.01em; margin: 2.2rem 0 .8rem; }
h3 { font-size: 1.05rem; line-height: 1.3; }
.made { color: var(--soft); margin-top: .25rem; }
.lead { color: var(--soft); margin-bottom: .8rem; max-width: 46rem; }
.sums { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.2rem, 1fr)); gap: .7rem;
  margin-top: 1.3rem; }
.sums > div { display: flex; flex-direction: column-reverse; justify-content: flex-end; background: var(--card);
  border: 1px solid var(--line); border-radius: 12px; padding: .7rem .9rem;
  box-shadow: var(--shadow); }
.sums dt { color: var(--soft); font-size: .85rem; }
.sums dd { font-size: 1.35rem; font-weight: 650; line-height: 1.3; letter-spacing: -.01em; }
nav ul { display: flex; flex-wrap: wrap; gap: .3rem 1.2rem; margin-top: 1.1rem; font-size: .95rem; }
nav a { display: inline-block; padding: .15rem 0; }

.panel { background: var(--card); border: 1px solid var(--line); border-radius: 14px;
  box-shadow: var(--shadow); }
.c0 { --v: var(--v0); } .c1 { --v: var(--v1); } .c2 { --v: var(--v2); } .c3 { --v: var(--v3); }
.c4 { --v: var(--v4); } .c5 { --v: var(--v5); } .c6 { --v: var(--v6); } .c7 { --v: var(--v7); }
.chip { display: inline-flex; align-items: center; gap: .35em; white-space: nowrap; }
.chip .glyph { color: var(--v); }

.attentions li { display: grid; grid-template-columns: auto 1fr; gap: .2rem .7rem; padding: .6rem 1rem;
  align-items: start; }
.attentions li + li { border-top: 1px solid var(--line); }
.attention .glyph { color: var(--open); margin-top: .3rem; }
.attention.grave .glyph { color: var(--bad); }
.note.calm { color: var(--good); background: var(--good-back); border-color: transparent; }
.find { display: flex; flex-wrap: wrap; align-items: center; gap: .4rem .8rem; margin-bottom: .9rem; }
.find label { display: flex; align-items: center; gap: .5rem; flex: 0 1 26rem; min-width: 0; font-weight: 600; }
.find input { font: inherit; font-weight: 400; flex: 1; width: 100%; min-width: 0; padding: .4rem .7rem; color: var(--ink);
  background: var(--card); border: 1px solid var(--soft); border-radius: 8px; }
.find output { color: var(--soft); }
[hidden] { display: none !important; }
.fold > summary { cursor: pointer; padding: .4rem 0; font-weight: 600; }

.volumes li { display: grid; grid-template-columns: auto 1fr auto; gap: .2rem .8rem;
  align-items: baseline; padding: .65rem 1rem; }
.volumes li + li { border-top: 1px solid var(--line); }
.volumes .chip { font-weight: 600; }
.volumes .count { color: var(--soft); font-size: .9rem; white-space: nowrap; }
.path { overflow-wrap: anywhere; }

.day { padding: .9rem 1rem 1rem; }
.day + .day { border-top: 1px solid var(--line); }
.day h3 { display: flex; flex-wrap: wrap; gap: .1rem .7rem; align-items: baseline; }
.day h3 span { color: var(--soft); font-weight: 400; font-size: .9rem; }
.scale { position: relative; margin: .6rem .7rem 0; padding-bottom: 1.6rem; }
.lanes { position: relative; z-index: 1; height: calc(var(--lanes) * 2.9rem + .3rem); }
.lanes li { position: absolute; top: calc(var(--lane) * 2.9rem); min-width: .8rem; }
.bar { display: block; text-decoration: none; color: var(--ink); border-radius: 5px; }
.bar .name { display: block; font-size: .8rem; font-weight: 600; line-height: 1.25rem;
  white-space: nowrap; }
.lanes .late .name { float: right; }
.lanes .late .strip { clear: both; }
.bar.dim { opacity: .25; }
.lanes .tie { height: 2.9rem; min-width: 0; pointer-events: none; font-size: .75rem;
  line-height: 1.25rem; text-align: center; white-space: nowrap; }
.lanes .tie::before { content: ""; position: absolute; left: 0; right: 0; top: 1.82rem;
  border-top: 3px dashed var(--soft); z-index: -1; }
.lanes .tie a { pointer-events: auto; color: var(--soft); background: var(--card); padding: 0 .25rem; }
.lanes .tie.crowded { text-align: left; }
.lanes .tie.crowded.late { text-align: right; direction: rtl; }
.lanes .tie.crowded a { color: var(--ink); font-weight: 600; font-size: .8rem; padding: 0; }
.lanes .in-tie { min-width: 3px; padding-top: 1.25rem; }
.undated { display: flex; flex-wrap: wrap; gap: .2rem 1.2rem; margin-top: .4rem; }
.bar:hover .name { text-decoration: underline; }
.strip { display: flex; height: 1.2rem; }
.piece { flex: 1 1 0; min-width: 3px; background: var(--v) var(--s) 0 50% / 1.4rem .84rem round no-repeat;
  border-right: 2px solid var(--card); }
.piece:last-of-type { border-right: 0; }
.many .piece { border-right: 0; min-width: 0; }
.piece.start { border-radius: 5px 0 0 5px; } .piece.end { border-radius: 0 5px 5px 0; }
.piece.start.end { border-radius: 5px; }
.torn { flex: none; width: .85rem; border: 2px dashed var(--open); border-radius: 5px;
  background: repeating-linear-gradient(135deg, var(--open-back) 0 3px, var(--card) 3px 6px); }
.torn.head { border-right: 0; border-radius: 5px 0 0 5px; margin-right: 2px; }
.torn.tail { border-left: 0; border-radius: 0 5px 5px 0; margin-left: 2px; }
.lanes .torn { position: absolute; top: 1.25rem; height: 1.2rem; width: .6rem; }
.lanes .torn.head { right: 100%; } .lanes .torn.tail { left: 100%; }
.tick { position: absolute; top: 0; bottom: 0; width: 0; border-left: 1px solid var(--line);
  color: var(--soft); font-size: .8rem; line-height: 1.25rem; }
.tick span { position: absolute; bottom: 0; transform: translateX(-50%); background: var(--card);
  padding: 0 .2rem; white-space: nowrap; }
.tick.first span { transform: none; left: -.2rem; }
.tick.last span { transform: none; right: -.2rem; }

.list { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 14.5rem), 1fr));
  gap: 1rem; }
.sequence, .job, .proposal { padding: 1rem; grid-column: 1 / -1; min-width: 0; }
.inputs { margin-top: .6rem; display: grid; gap: .1rem; }
.inputs li { padding-left: .9rem; border-left: 3px solid var(--line); overflow-wrap: anywhere; }
.result { margin-top: .5rem; font-weight: 600; overflow-wrap: anywhere; }
.findings { margin-top: .6rem; display: grid; gap: .3rem; color: var(--soft); font-size: .93rem;
  overflow-wrap: anywhere; }
.findings b { color: var(--ink); }
.sequence.one { grid-column: auto; }
.sequence:target { border-color: var(--link); box-shadow: 0 0 0 2px var(--link); }
.head-line { display: flex; flex-wrap: wrap; align-items: center; gap: .3rem .8rem; }
.state { display: inline-flex; align-items: center; gap: .35em; font-size: .85rem; font-weight: 600;
  padding: .1rem .6rem; border-radius: 99px; color: var(--good); background: var(--good-back); }
.state.unknown { color: var(--soft); background: var(--well); }
.state.failed { color: var(--bad); background: var(--bad-back); }
.state a { color: inherit; }
.state.open { color: var(--open); background: var(--open-back); }
.facts { display: flex; flex-wrap: wrap; gap: .1rem 1.1rem; color: var(--soft); font-size: .93rem;
  margin-top: .25rem; }
.facts strong { color: var(--ink); font-weight: 600; }
.sequence .strip { height: 1rem; margin-top: .8rem; }
.clips { display: grid; grid-template-columns: repeat(auto-fill, minmax(12.5rem, 1fr));
  gap: 1rem .9rem; margin-top: .9rem; }
.clip, .missing { break-inside: avoid; min-width: 0; }
.view { position: relative; aspect-ratio: 16 / 9; border-radius: 8px; overflow: hidden;
  background: var(--well); display: grid; place-items: center; color: var(--soft);
  font-size: .85rem; }
.view > svg[role="img"], .view img { width: 100%; height: 100%; object-fit: contain; display: block; }
.view .none { display: grid; justify-items: center; gap: .2rem; }
.view .none svg { width: 1.9rem; height: 1.9rem; fill: none; stroke: currentColor;
  stroke-width: 1.6; }
.tag { position: absolute; bottom: .4rem; padding: 0 .45rem; border-radius: 5px; font-size: .8rem;
  font-weight: 600; line-height: 1.4rem; color: #ffffff; background: #1b222b; }
.tag.place { left: .4rem; } .tag.length { right: .4rem; }
.clip .file { font-weight: 600; line-height: 1.3; margin-top: .45rem; overflow-wrap: anywhere; }
.clip .more { display: flex; flex-wrap: wrap; gap: 0 .9rem; color: var(--soft); font-size: .85rem;
  overflow-wrap: anywhere; }
.clip .more .chip { color: var(--ink); }
.clip .where { color: var(--soft); font-size: .85rem; overflow-wrap: anywhere; }
.missing .view { border: 2px dashed var(--open); color: var(--open); font-weight: 600;
  font-size: 1.6rem; border-radius: 0; overflow: visible;
  background: repeating-linear-gradient(135deg, var(--open-back) 0 10px, var(--card) 10px 20px); }
.missing .view b { background: var(--card); border-radius: 99px; width: 2.4rem; line-height: 2.4rem;
  text-align: center; }
.missing.head .view { border-right: 0; border-radius: 8px 0 0 8px;
  clip-path: polygon(0 0, 100% 0, 95% 10%, 100% 20%, 95% 30%, 100% 40%, 95% 50%, 100% 60%, 95% 70%,
  100% 80%, 95% 90%, 100% 100%, 0 100%); }
.missing.tail .view { border-left: 0; border-radius: 0 8px 8px 0;
  clip-path: polygon(0 0, 100% 0, 100% 100%, 0 100%, 5% 90%, 0 80%, 5% 70%, 0 60%, 5% 50%, 0 40%,
  5% 30%, 0 20%, 5% 10%); }
.missing p { color: var(--soft); font-size: .85rem; }
.missing p.file { color: var(--open); font-weight: 600; font-size: 1rem; line-height: 1.3;
  margin-top: .45rem; }

.proposal { border-style: dashed; border-color: var(--soft); margin-bottom: 1rem; }
.chain { display: flex; flex-wrap: wrap; gap: .6rem 0; margin-top: .8rem; }
.chain li { border: 2px dashed var(--soft); border-radius: 8px; padding: .25rem .6rem; min-width: 0;
  overflow-wrap: anywhere; font-size: .93rem; }
.chain li + li { margin-left: 1.4rem; position: relative; }
.chain li + li::before { content: ""; position: absolute; right: calc(100% + 2px); top: 1rem;
  width: 1.4rem; border-top: 2px dashed var(--soft); }
.evidence { color: var(--soft); margin-top: .8rem; display: grid; gap: .2rem; font-size: .93rem; }
.evidence li { display: grid; grid-template-columns: 8.5rem 1fr; gap: .6rem; }
.evidence .kind { font-weight: 600; white-space: nowrap; }
.evidence [data-agrees="true"] { color: var(--ink); }
.evidence [data-agrees="true"] .kind::after { content: " ✓"; color: var(--good); }
.evidence [data-agrees="false"] .kind::after { content: " ✗"; color: var(--bad); }
.rejected li { padding: .65rem 1rem; }
.rejected li + li { border-top: 1px solid var(--line); }
.rejected .path { font-weight: 600; }
.note { padding: .7rem 1rem; margin-top: .8rem; }
.note.bad { color: var(--bad); background: var(--bad-back); border-color: var(--bad); }
footer { color: var(--soft); font-size: .85rem; }
footer p { padding: 1.6rem 0 2.4rem; }

@media (min-width: 34rem) {
  .sequence.two { grid-column: auto / span 2; }
}
@media (max-width: 34rem) {
  .tick.minor span { display: none; }
  .evidence li { grid-template-columns: 1fr; gap: 0; }
  .sums { grid-template-columns: repeat(auto-fit, minmax(6.4rem, 1fr)); gap: .5rem; }
  .sums > div { padding: .5rem .7rem; }
  .sums dd { font-size: 1.1rem; }
  .view .said { position: absolute; width: 1px; height: 1px; overflow: hidden;
    clip-path: inset(50%); }
  .tag.place { bottom: auto; top: .3rem; left: .3rem; }
  .tag.length { bottom: .3rem; right: .3rem; }
  .clips { grid-template-columns: 1fr; gap: .8rem; }
  .clip, .missing { display: grid; grid-template-columns: 8.2rem 1fr; gap: 0 .8rem;
    align-content: start; }
  .view { align-self: start; }
  .clip .file, .missing p.file { margin-top: 0; }
  .words { min-width: 0; }
  .volumes li { grid-template-columns: auto 1fr; }
  .volumes .path { grid-column: 1 / -1; grid-row: 2; }
  .volumes .count { text-align: right; }
  .missing .view b { width: 2rem; line-height: 2rem; font-size: 1.2rem; }
}
@media (max-width: 23rem) {
  .tick:not(.first):not(.last) span { display: none; }
  .clip, .missing { grid-template-columns: 6.4rem 1fr; }
  .day, .sequence, .job, .proposal { padding-left: .7rem; padding-right: .7rem; }
}
@media screen {
  .sequence { content-visibility: auto; contain-intrinsic-size: auto 24rem; }
  .day { content-visibility: auto; contain-intrinsic-size: auto 8rem; }
}
@media print {
  @page { margin: 12mm; }
  :root { --paper: #ffffff; --shadow: none; }
  body { font-size: 9pt; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  nav, .skip, .find { display: none; }
  a { color: inherit; text-decoration: none; }
  h2 { margin: 1.2rem 0 .5rem; break-after: avoid; }
  h3, .head-line, .facts, .sequence .strip { break-after: avoid; }
  .fold > :not(summary) { display: grid; }
  .list { display: block; }
  .sequence, .job, .proposal { margin-bottom: .7rem; padding: .6rem; }
  .sequence.one { break-inside: avoid; }
  .day, .sums > div, .clip, .missing, .attention, .volumes li { break-inside: avoid; }
  .clips { display: block; font-size: 0; margin-top: .5rem; }
  .clip, .missing { display: inline-block; vertical-align: top; width: 23.500%; margin: 0 1.500% .5rem 0;
    font-size: 9pt; }
  .lanes li { min-width: .5rem; }
  .tick.minor span, .view .said { display: none; }
  .sums { grid-template-columns: repeat(auto-fit, minmax(2.4cm, 1fr)); gap: .4rem; }
  .sums > div { padding: .4rem .6rem; }
  .sums dd { font-size: 1.1rem; }
}
@media (forced-colors: active) {
  .panel, .sums > div, .view, .state, .find input { border: 1px solid CanvasText; }
  .piece, .piece:last-of-type { border: 2px solid CanvasText; background: Canvas; }
  .piece + .piece { border-left: 0; }
  .torn, .missing .view { border: 2px dashed CanvasText; background: Canvas; clip-path: none; }
  .torn.head { border-right: 0; } .torn.tail { border-left: 0; }
  .lanes .tie::before { border-top-color: CanvasText; }
  .tick { border-left-color: GrayText; }
  .glyph, .chip .glyph, .attention .glyph, .attention.grave .glyph { color: CanvasText; fill: currentColor; forced-color-adjust: preserve-parent-color; }
  .tag { border: 1px solid CanvasText; }
  .sequence:target { outline: 3px solid Highlight; }
  .bar.dim { opacity: 1; }
  .bar.dim .strip { visibility: hidden; }
}
@media (prefers-contrast: more) {
  :root { --soft: var(--ink); --line: var(--soft); }
}
)css";

}  // namespace clipchain
