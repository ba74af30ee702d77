
"use strict";
// Shows a trace. The data stands in the page as JSON; from there it goes into typed arrays and into
// text nodes, never into markup. All lines are in memory, and only what is seen is drawn.
(() => {
const byId = (id) => document.getElementById(id);
const make = (name, className, text) => {
  const element = document.createElement(name);
  if (className) element.className = className;
  if (text !== undefined) element.textContent = text;
  return element;
};
const clamp = (value, low, high) => Math.max(low, Math.min(high, value));
const number = new Intl.NumberFormat("en");
const two = (value) => String(value).padStart(2, "0");
const three = (value) => String(value).padStart(3, "0");
const plural = (count, one, many) => number.format(count) + " " + (count === 1 ? one : many);

// ---- The data ----

performance.mark("trace-begin");
const data = JSON.parse(byId("data").textContent);
byId("data").remove();
const texts = data.text.split("\n");
texts.pop();
const count = texts.length;
const kinds = data.kind;
const threadOf = Int32Array.from(data.thread);
const placeOf = Int32Array.from(data.place);
const numberOf = Float64Array.from(data.number);
const when = new Float64Array(count);
for (let row = 0, sum = 0; row < count; ++row) when[row] = sum += data.when[row];
const own = new Map(data.own);
const untimed = new Set(data.untimed);
const unfinished = new Set(data.unfinished);
const parts = new Set(data.part);
const within = new Map(data.within);
const places = data.places.map(([name, line]) => ({ name, line: ":" + line }));

// What a line is: the first four are severities.
const kTitles = ["INFO", "WARNING", "ERROR", "CRITICAL", "not a line"];
const kClasses = ["info", "warning", "error", "critical", "odd"];
const kOdd = 4;
const kRolledOver = 5;
const classOf = new Uint8Array(count);
for (let row = 0; row < count; ++row) {
  const kind = kinds.charCodeAt(row);
  classOf[row] = kind >= 48 && kind <= 51 ? kind - 48 : kinds[row] === "r" ? kRolledOver : kOdd;
}
const isLine = (row) => classOf[row] < kOdd;
const isBad = (row) => classOf[row] === 2 || classOf[row] === 3 || within.get(row) >= 2;
const kReasons = {
  T: "it does not begin with a time", S: "no severity behind the time", H: "no thread behind the severity",
  P: "no place behind the thread", L: "the rest of a line that is too long",
};

// A line that is not one takes the time of the line before it; so does the first, of the next.
let first = 0, last = 0;
{
  let known = 0;
  while (known < count && untimed.has(known)) ++known;
  for (let row = 0; row < known && known < count; ++row) when[row] = when[known];
  if (count) { first = when[0]; last = when[count - 1]; }
}

// ---- Threads and the functions they are in ----

const lanes = data.threads.map(([file, thread], index) =>
  ({ index, file, thread, rows: [], calls: [], deepest: 0, open: [] }));
const depth = new Uint16Array(count);
const isBracket = new Uint8Array(count);
const names = new Map();
const idOf = (name) => {
  let id = names.get(name);
  if (id === undefined) names.set(name, id = names.size);
  return id;
};
const kDeepest = 4096;
for (let row = 0; row < count; ++row) {
  const lane = lanes[threadOf[row]];
  lane.rows.push(row);
  const open = lane.open;
  depth[row] = open.length;
  if (!isLine(row)) continue;
  const text = texts[row];
  if (text.startsWith("<Entering ")) {
    if (open.length < kDeepest) {
      const name = text.slice(10);
      const call = { name, id: idOf(name), begin: row, end: -1, level: open.length, worst: 0, isWhole: true };
      isBracket[row] = 1;
      lane.calls.push(call);
      open.push(call);
      lane.deepest = Math.max(lane.deepest, open.length);
    }
  } else if (text.startsWith("Exiting ") && text.endsWith(">")) {
    const name = text.slice(8, -1);
    let level = open.length - 1;
    while (level >= 0 && open[level].name !== name) --level;
    if (level >= 0) {
      // Calls inside it whose exits the trace lacks end with it.
      for (const call of open.splice(level)) {
        call.end = row;
        call.isWhole = call.level === level;
        if (level > 0) open[level - 1].worst = Math.max(open[level - 1].worst, call.worst);
      }
      depth[row] = level;
      isBracket[row] = 1;
    }
  } else if (open.length) {
    const inner = open[open.length - 1];
    inner.worst = Math.max(inner.worst, classOf[row]);
  }
}
for (const lane of lanes) {
  lane.rows = Int32Array.from(lane.rows);
  for (const call of lane.open) {
    call.end = lane.rows[lane.rows.length - 1];
    call.isWhole = false;
  }
}

// ---- Texts for a person ----

const clock = (instant, digits = 3) => {
  const date = new Date(instant);
  const hour = date.getUTCHours();
  const seconds = digits < 0 ? "" : ":" + two(date.getUTCSeconds());
  const rest = digits > 0 ? "." + three(date.getUTCMilliseconds()) : "";
  return (hour % 12 || 12) + ":" + two(date.getUTCMinutes()) + seconds + rest + (hour < 12 ? " AM" : " PM");
};
const day = (instant) => new Intl.DateTimeFormat("en-US", { dateStyle: "long", timeZone: "UTC" }).format(instant);
const span = (ms) => {
  if (ms < 1000) return ms + " ms";
  if (ms < 60000) return (ms / 1000).toFixed(3).replace(/0+$/, "").replace(/\.$/, "") + " s";
  const hours = Math.floor(ms / 3600000), minutes = Math.floor(ms / 60000) % 60, seconds = Math.floor(ms / 1000) % 60;
  return (hours ? hours + " h " : "") + minutes + " min " + seconds + " s";
};
const threadName = (lane) => lane.thread < 0 ? "no thread" : "T" + lane.thread;
const ownTime = (row) => own.has(row) ? own.get(row) : when[row];

// Characters that would not be seen, or would change how the text around them is seen.
const kControls = /[\u0000-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ue000-\uf8ff\ufeff]/g;
const controlName = (c) => {
  const code = c.charCodeAt(0);
  return code === 9 ? "\u2192" : code < 0x20 ? String.fromCharCode(0x2400 + code) : "U+" + code.toString(16).toUpperCase().padStart(4, "0");
};
// Appends text with its control characters visible.
function appendVisible(parent, text) {
  let done = 0;
  for (const match of text.matchAll(kControls)) {
    if (match.index > done) parent.append(text.slice(done, match.index));
    const control = make("span", "control", controlName(match[0]));
    control.title = "The character U+" + match[0].charCodeAt(0).toString(16).toUpperCase().padStart(4, "0");
    parent.append(control);
    done = match.index + 1;
  }
  if (done < text.length) parent.append(text.slice(done));
}
const visible = (text) => text.replace(kControls, controlName);
// The same, with the matches of the search marked.
function appendMarked(parent, text) {
  const matcher = search.matcher;
  if (!matcher) { appendVisible(parent, text); return; }
  let done = 0;
  for (const [from, to] of matcher.places(text)) {
    if (from > done) appendVisible(parent, text.slice(done, from));
    const mark = make("mark");
    appendVisible(mark, text.slice(from, to));
    parent.append(mark);
    done = to;
  }
  if (done < text.length) appendVisible(parent, text.slice(done));
}

// ---- Choosing lines ----

const shown = [true, true, true, true, true];
const search = { text: "", matcher: null, isWrong: false, only: true };
let onlyThread = -1;
let onlyModule = "";
let view = new Int32Array(0);      // The rows in the list.
let hits = new Int32Array(0);      // The rows among them that the search finds.
let chosen = -1;                   // The chosen row.
let lowered = null;                // All texts in small letters, made when the browser is idle.

function lowerAll() {
  if (!lowered) lowered = texts.map((text) => text.toLowerCase());
  return lowered;
}

// What finds a text: `finds(row)`, and `places(text)` for marking. Null for an empty one.
function matcherOf(text) {
  search.isWrong = false;
  if (!text) return null;
  const pattern = /^\/(.+)\/$/.exec(text);
  if (pattern) {
    try {
      const one = new RegExp(pattern[1], "iu"), all = new RegExp(pattern[1], "giu");
      return {
        finds: (row) => one.test(texts[row]),
        findsPlace: (place) => one.test(place.name + place.line),
        places: (shownText) => {
          const found = [];
          for (const match of shownText.matchAll(all)) if (match[0]) found.push([match.index, match.index + match[0].length]);
          return found;
        },
      };
    } catch {
      search.isWrong = true;
      return { finds: () => false, findsPlace: () => false, places: () => [] };
    }
  }
  const needle = text.toLowerCase();
  const all = lowerAll();
  return {
    finds: (row) => all[row].includes(needle),
    findsPlace: (place) => (place.name + place.line).toLowerCase().includes(needle),
    places: (shownText) => {
      const found = [], low = shownText.toLowerCase();
      // Small letters can be more than the large one was; then nothing is marked rather than the wrong.
      if (low.length !== shownText.length) return found;
      for (let at = low.indexOf(needle); at >= 0; at = low.indexOf(needle, at + needle.length)) found.push([at, at + needle.length]);
      return found;
    },
  };
}

function choose() {
  performance.mark("choose-begin");
  search.matcher = matcherOf(search.text);
  const matcher = search.matcher;
  const inPlace = matcher ? places.map(matcher.findsPlace) : null;
  const inModule = onlyModule ? places.map((place) => place.name === onlyModule) : null;
  const rows = new Int32Array(count), found = new Int32Array(count);
  let rowCount = 0, foundCount = 0;
  for (let row = 0; row < count; ++row) {
    const kind = classOf[row];
    if (kind <= kOdd && !shown[kind]) continue;
    if (onlyThread >= 0 && threadOf[row] !== onlyThread) continue;
    if (inModule && !(kind < kOdd && inModule[placeOf[row]])) continue;
    if (matcher) {
      if (matcher.finds(row) || (kind < kOdd && inPlace[placeOf[row]])) found[foundCount++] = row;
      else if (search.only) continue;
    }
    rows[rowCount++] = row;
  }
  view = rows.slice(0, rowCount);
  hits = found.slice(0, foundCount);
  performance.measure("choose", "choose-begin");
  tellHits();
  refreshList();
  draw();
}

function tellHits() {
  const output = byId("hits");
  output.classList.toggle("wrong", search.isWrong || (!!search.matcher && hits.length === 0));
  if (!search.matcher) output.textContent = "";
  else if (search.isWrong) output.textContent = "no regular expression";
  else {
    const at = lowerBound(hits, chosen);
    const isAt = at < hits.length && hits[at] === chosen;
    output.textContent = (isAt ? number.format(at + 1) + " of " : "") + plural(hits.length, "match", "matches");
  }
  byId("hit-back").disabled = byId("hit-on").disabled = hits.length === 0;
}

// The first index whose row is not before `row`.
function lowerBound(rows, row) {
  let low = 0, high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle] < row) low = middle + 1; else high = middle;
  }
  return low;
}
// The first index among `rows` whose time is not before `instant`.
function firstAt(rows, instant) {
  let low = 0, high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (when[rows[middle]] < instant) low = middle + 1; else high = middle;
  }
  return low;
}

// ---- The list ----

const kRowHeight = 22;
const list = byId("list"), listAll = byId("list-all");
let isListDue = false;

function refreshList() {
  listAll.style.height = view.length * kRowHeight + "px";
  byId("nothing").hidden = view.length !== 0;
  const at = lowerBound(view, chosen);
  if (at < view.length && view[at] === chosen) scrollTo(at);
  drawList();
}

function scrollTo(index, isCentred) {
  const top = index * kRowHeight, height = list.clientHeight;
  if (isCentred && (top < list.scrollTop || top > list.scrollTop + height - kRowHeight)) list.scrollTop = top - height / 2;
  else if (top < list.scrollTop) list.scrollTop = top;
  else if (top > list.scrollTop + height - kRowHeight) list.scrollTop = top - height + kRowHeight;
}

function rowElement(index) {
  const row = view[index], kind = classOf[row];
  const element = make("div", "row " + (kClasses[kind] || "odd"));
  element.id = "row-" + row;
  element.dataset.row = row;
  element.setAttribute("role", "option");
  element.setAttribute("aria-selected", row === chosen);
  element.setAttribute("aria-posinset", index + 1);
  element.setAttribute("aria-setsize", view.length);
  element.style.top = index * kRowHeight + "px";
  const lane = lanes[threadOf[row]];
  element.append(make("span", "time", isLine(row) && !untimed.has(row) ? clock(ownTime(row)) : ""));
  element.append(make("span", "severity", kind === kRolledOver ? "" : kTitles[kind]));
  element.append(make("span", "thread", isLine(row) ? threadName(lane) : ""));
  const place = make("span", "place");
  if (isLine(row)) {
    const name = make("b");
    appendMarked(name, places[placeOf[row]].name);
    place.append(name, places[placeOf[row]].line);
  }
  element.append(place);
  const message = make("span", isBracket[row] ? "call" : "");
  if (isLine(row)) message.append("\u00a0\u00a0".repeat(Math.min(depth[row], 20)));
  appendMarked(message, texts[row].slice(0, 1000));
  if (own.has(row)) message.append(make("span", "badge", "earlier than a line before it"));
  if (unfinished.has(row)) message.append(make("span", "badge", "cut here"));
  if (parts.has(row)) message.append(make("span", "badge", "goes on"));
  if (within.has(row)) message.append(make("span", "badge", "another line stands in it: " + kTitles[within.get(row)]));
  element.append(message);
  return element;
}

function drawList() {
  isListDue = false;
  const from = Math.max(0, Math.floor(list.scrollTop / kRowHeight) - 4);
  const to = Math.min(view.length, Math.ceil((list.scrollTop + list.clientHeight) / kRowHeight) + 4);
  const rows = [];
  for (let index = from; index < to; ++index) rows.push(rowElement(index));
  listAll.replaceChildren(...rows);
  if (chosen >= 0) list.setAttribute("aria-activedescendant", "row-" + chosen);
}
const drawListSoon = () => {
  if (!isListDue) { isListDue = true; requestAnimationFrame(() => { drawList(); draw(); }); }
};
list.addEventListener("scroll", drawListSoon);
list.addEventListener("click", (event) => {
  const element = event.target.closest(".row");
  if (element) select(+element.dataset.row, false);
});

// ---- The chosen line ----

function select(row, isCentred = true) {
  if (row < 0 || row >= count) return;
  const before = focused();
  chosen = row;
  showDetail();
  if (focused() !== before) layLanes();
  const at = lowerBound(view, row);
  if (at < view.length && view[at] === row) scrollTo(at, isCentred);
  const isOutside = when[row] < range.from || when[row] > range.to;
  if (isOutside) setRange(when[row] - (range.to - range.from) / 2, when[row] + (range.to - range.from) / 2);
  showLane(threadOf[row]);
  tellHits();
  drawList();
  draw();
}

function fact(all, name, text) {
  const div = make("div");
  div.append(make("dt", "", name));
  const value = make("dd");
  if (typeof text === "string") appendVisible(value, text); else value.append(...text);
  div.append(value);
  all.append(div);
}

function showDetail() {
  const row = chosen, detail = byId("detail"), lane = lanes[threadOf[row]], all = make("dl");
  detail.replaceChildren();
  detail.hidden = false;
  if (isLine(row)) {
    fact(all, "Time", untimed.has(row) ? "in another language" : day(ownTime(row)) + ", " + clock(ownTime(row)));
    fact(all, "Severity", kTitles[classOf[row]]);
    fact(all, "Thread", threadName(lane));
    fact(all, "Place", places[placeOf[row]].name + places[placeOf[row]].line);
  }
  fact(all, "File", data.files[lane.file] + ", line " + number.format(numberOf[row]));
  const at = lowerBound(lane.rows, row);
  if (at > 0) fact(all, "After", span(when[row] - when[lane.rows[at - 1]]));
  if (at + 1 < lane.rows.length) fact(all, "Until the next", span(when[lane.rows[at + 1]] - when[row]));
  const around = callsAround(row);
  if (around.length) {
    fact(all, "In", around.flatMap((call, index) => {
      const button = make("button", "", visible(call.name));
      button.type = "button";
      button.title = span(when[call.end] - when[call.begin]);
      button.addEventListener("click", () => { zoomTo(call); select(call.begin); });
      return index ? [" \u203a ", button] : [button];
    }));
  }
  detail.append(all);
  if (classOf[row] === kOdd) detail.append(make("p", "odd", "Not a line of a trace: " + kReasons[kinds[row]] + "."));
  if (own.has(row)) detail.append(make("p", "odd", "Earlier than a line before it in its file: the clock was set, or something has written what looks like a line."));
  if (within.has(row)) detail.append(make("p", "odd", "Another line stands in its message, " + kTitles[within.get(row)] + ": the line feed between them was swallowed, or something has written what looks like a line."));
  const text = make("pre");
  const kAtMost = 100000;
  appendMarked(text, texts[row].slice(0, kAtMost));
  detail.append(text);
  if (texts[row].length > kAtMost) detail.append(make("p", "odd", "The rest of its " + number.format(texts[row].length) + " characters is not shown."));
}

// The functions that the line stands in, the outermost first.
function callsAround(row) {
  const around = [];
  for (const call of lanes[threadOf[row]].calls) {
    if (call.begin > row) break;
    if (call.end >= row) around.push(call);
  }
  return around;
}

function step(rows, direction) {
  if (!rows.length) return;
  const at = lowerBound(rows, chosen);
  const isAt = at < rows.length && rows[at] === chosen;
  let next = direction > 0 ? at + (isAt ? 1 : 0) : at - 1;
  if (next >= rows.length) next = 0;
  if (next < 0) next = rows.length - 1;
  select(rows[next]);
}
const stepInView = (by) => {
  if (!view.length) return;
  const at = chosen < 0 ? -1 : lowerBound(view, chosen);
  select(view[clamp(at + by, 0, view.length - 1)], false);
};
const badRows = () => view.filter(isBad);

// ---- The picture ----

const overview = byId("overview"), lanesBox = byId("lanes"), lanesAll = byId("lanes-all"), lanesSeen = byId("lanes-seen");
const kGutter = 190, kAxis = 24, kDensity = 17, kBracket = 15, kBracketLow = 4, kBracketReadable = 12, kGap = 5, kBracketsSeen = 12;
const levelsOf = (lane) => Math.min(lane.deepest, kBracketsSeen);
// Those of a file stand together.
const sortedLanes = [...lanes].sort((left, right) => left.file - right.file || left.index - right.index);
// Brackets are as low as they must be for all threads to be seen, unless one wants to read them.
let isTall = false;
let lowHeight = kBracket;
// The chosen line's thread is always high enough to read.
const focused = () => chosen < 0 ? null : lanes[threadOf[chosen]];
const bracketHeightOf = (lane) => lane === focused() ? kBracket : lowHeight;
const range = { from: first, to: last };
let laneTops = [];
let seenLanes = [];
let colours = {};
let isDrawDue = false;

function readColours() {
  const style = getComputedStyle(document.documentElement);
  for (const name of ["back", "panel", "text", "soft", "faint", "line", "accent", "info", "warning", "error", "critical", "odd", "lane", "window", "match", "bracket-text", "chosen"]) colours[name] = style.getPropertyValue("--" + name).trim();
  colours.light = style.getPropertyValue("--bracket-light").trim();
  colours.rich = style.getPropertyValue("--bracket-rich").trim();
  colours.brackets = [];
  colours.kinds = [colours.info, colours.warning, colours.error, colours.critical, colours.odd, colours.odd];
}
const fileColour = (file) => "hsl(" + (file * 137 + 210) % 360 + " 60% 50%)";
const bracketColour = (id) => colours.brackets[id % 360] ??= "hsl(" + (id * 137 + 200) % 360 + " " + colours.rich + " " + colours.light + ")";

function layLanes() {
  seenLanes = onlyThread < 0 ? sortedLanes : [lanes[onlyThread]];
  const focus = focused();
  let levels = 0, room = lanesBox.clientHeight - kAxis;
  for (const lane of seenLanes) {
    room -= kDensity + kGap + (lane === focus ? levelsOf(lane) * kBracket : 0);
    levels += lane === focus ? 0 : levelsOf(lane);
  }
  lowHeight = isTall || !levels ? kBracket : clamp(Math.floor(room / levels), kBracketLow, kBracket);
  let top = kAxis;
  laneTops = seenLanes.map((lane) => {
    const mine = top;
    top += kDensity + levelsOf(lane) * bracketHeightOf(lane) + kGap;
    return mine;
  });
  lanesAll.style.height = top + "px";
}

const pixelOf = (instant, width) => kGutter + (instant - range.from) / (range.to - range.from) * (width - kGutter - 10);
const instantOf = (pixel, width) => range.from + (pixel - kGutter) / (width - kGutter - 10) * (range.to - range.from);

function setRange(from, to) {
  const whole = Math.max(last - first, 1), margin = whole * .01;
  const length = clamp(to - from, Math.min(2, whole), whole + 2 * margin);
  const middle = (from + to) / 2;
  from = clamp(middle - length / 2, first - margin, last + margin - length);
  range.from = from;
  range.to = from + length;
  draw();
}
const showEverything = () => setRange(first - 1e15, last + 1e15);
function zoom(factor, around = (range.from + range.to) / 2) {
  setRange(around - (around - range.from) * factor, around + (range.to - around) * factor);
}
function zoomTo(call) {
  const middle = (when[call.begin] + when[call.end]) / 2, half = Math.max((when[call.end] - when[call.begin]) * .6, 5);
  setRange(middle - half, middle + half);
}
const moveBy = (share) => setRange(range.from + (range.to - range.from) * share, range.to + (range.to - range.from) * share);

function prepare(canvas, width, height) {
  const ratio = window.devicePixelRatio || 1;
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    canvas.style.width = width + "px";
    canvas.style.height = height + "px";
  }
  const context = canvas.getContext("2d");
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.clearRect(0, 0, width, height);
  context.font = "11px system-ui, 'Segoe UI', Roboto, 'Noto Sans', 'DejaVu Sans', sans-serif";
  context.textBaseline = "middle";
  return context;
}

function draw() {
  if (isDrawDue) return;
  isDrawDue = true;
  requestAnimationFrame(() => { isDrawDue = false; drawOverview(); drawLanes(); });
}

// How many lines of each kind fall into each of `width` columns between two times.
function countColumns(rows, from, to, width) {
  const sums = new Uint32Array(width), worst = new Uint8Array(width);
  const scale = width / (to - from || 1);
  for (let index = firstAt(rows, from); index < rows.length; ++index) {
    const row = rows[index];
    if (when[row] > to) break;
    const column = Math.min(width - 1, Math.floor((when[row] - from) * scale));
    ++sums[column];
    const kind = classOf[row];
    if (kind < kRolledOver && rank(kind) > worst[column]) worst[column] = rank(kind);
  }
  return { sums, worst };
}
// Which of the kinds is shown when several fall together: the worst.
const rank = (kind) => kind === kOdd ? 1 : kind === 0 ? 0 : kind + 1;
const kindOfRank = [0, kOdd, 1, 2, 3];

let viewColumns = { key: "", value: null };
function drawOverview() {
  const width = overview.clientWidth, height = 38, context = prepare(overview, width, height);
  const inner = width - kGutter - 10;
  if (inner < 10) return;
  const key = inner + ":" + view.length + ":" + search.text;
  if (viewColumns.key !== key || viewColumns.view !== view) viewColumns = { key, view, value: countColumns(view, first, last, Math.floor(inner)) };
  const { sums, worst } = viewColumns.value;
  let most = 1;
  for (const sum of sums) most = Math.max(most, sum);
  for (let column = 0; column < sums.length; ++column) {
    if (!sums[column]) continue;
    const size = Math.max(2, sums[column] / most * (height - 12));
    context.fillStyle = colours.info;
    context.fillRect(kGutter + column, height - size - 1, 1, size);
  }
  // What is bad stands on top: a tick for a warning, the whole height for an error.
  for (let column = 0; column < sums.length; ++column) {
    if (!worst[column]) continue;
    const isError = worst[column] >= 3;
    context.fillStyle = colours.kinds[kindOfRank[worst[column]]];
    context.fillRect(kGutter + column, 1, isError ? 2 : 1, isError ? height - 2 : 7);
  }
  const whole = last - first || 1;
  const left = kGutter + clamp((range.from - first) / whole, 0, 1) * inner, right = kGutter + clamp((range.to - first) / whole, 0, 1) * inner;
  context.fillStyle = colours.window;
  context.fillRect(left, 0, Math.max(2, right - left), height);
  context.fillStyle = colours.accent;
  context.fillRect(left, 0, 1.5, height);
  context.fillRect(Math.max(left + 1, right - 1.5), 0, 1.5, height);
  if (chosen >= 0) {
    context.fillStyle = colours.text;
    context.fillRect(kGutter + (when[chosen] - first) / whole * inner, 0, 1, height);
  }
  context.fillStyle = colours.soft;
  context.fillText(plural(view.length, "line", "lines"), 14, 13);
  context.fillStyle = colours.faint;
  context.fillText(span(Math.round(last - first)) + " in all", 14, 27);
}

const kSteps = [1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 15000, 30000, 60000, 120000, 300000, 600000, 900000, 1800000, 3600000, 7200000, 10800000, 21600000, 43200000, 86400000, 172800000, 604800000, 2592000000, 31536000000];
function drawAxis(context, width, height) {
  context.fillStyle = colours.panel;
  context.fillRect(0, 0, width, kAxis);
  const room = 105, length = range.to - range.from;
  const least = length / Math.max(1, (width - kGutter) / room);
  const stepSize = kSteps.find((size) => size >= least) || kSteps[kSteps.length - 1];
  const digits = stepSize < 1000 ? 3 : stepSize < 60000 ? 0 : -1;
  context.textAlign = "center";
  for (let tick = Math.ceil(range.from / stepSize) * stepSize; tick <= range.to; tick += stepSize) {
    const x = pixelOf(tick, width);
    context.fillStyle = colours.line;
    context.fillRect(Math.round(x), kAxis - 5, 1, height);
    const label = stepSize >= 86400000 ? new Date(tick).toISOString().slice(0, 10) : clock(tick, digits);
    const half = context.measureText(label).width / 2;
    context.fillStyle = colours.soft;
    context.fillText(label, clamp(x, kGutter + half, width - half - 4), 10);
  }
  context.textAlign = "left";
  context.fillStyle = colours.faint;
  context.fillText(span(Math.round(length)) + " seen", 14, 10);
}

function drawLanes() {
  const width = lanesBox.clientWidth, height = lanesBox.clientHeight, context = prepare(lanesSeen, width, height);
  if (width < kGutter + 40) return;
  const top = lanesBox.scrollTop;
  context.save();
  context.beginPath();
  context.rect(0, kAxis, width, height);
  context.clip();
  for (let index = 0; index < seenLanes.length; ++index) {
    const y = laneTops[index] - top, end = (laneTops[index + 1] ?? parseFloat(lanesAll.style.height)) - top;
    if (end < kAxis || y > height) continue;
    drawLane(context, seenLanes[index], y, end - y - kGap, width);
  }
  context.restore();
  drawAxis(context, width, height);
  if (chosen >= 0) {
    const x = pixelOf(when[chosen], width);
    if (x >= kGutter && x <= width) {
      context.fillStyle = colours.text;
      context.fillRect(Math.round(x), kAxis - 4, 1, height);
    }
  }
}

function drawLane(context, lane, y, height, width) {
  const inner = Math.floor(width - kGutter - 10);
  context.fillStyle = colours.lane;
  context.fillRect(kGutter, y, width - kGutter, height);
  drawBrackets(context, lane, y + kDensity, width);
  const { sums, worst } = countColumns(lane.rows, range.from, range.to, inner);
  let most = 1;
  for (const sum of sums) most = Math.max(most, sum);
  // Two passes, so that what is bad is never hidden behind what is not.
  for (const isWorse of [false, true]) {
    for (let column = 0; column < inner; ++column) {
      if (!sums[column] || (worst[column] > 0) !== isWorse) continue;
      const size = Math.max(3, Math.log1p(sums[column]) / Math.log1p(most) * (kDensity - 3));
      context.fillStyle = colours.kinds[kindOfRank[worst[column]]];
      if (!isWorse) { context.fillRect(kGutter + column, y + kDensity - size, 1, size); continue; }
      const isError = worst[column] >= 3;
      context.fillRect(kGutter + column - (isError ? .5 : 0), y + 1, isError ? 2 : 1, isError ? height - 1 : kDensity - 1);
      if (isError) {
        context.beginPath();
        context.moveTo(kGutter + column - 3.5, y);
        context.lineTo(kGutter + column + 4.5, y);
        context.lineTo(kGutter + column + .5, y + 6);
        context.fill();
      }
    }
  }
  drawRollOvers(context, lane, y, height, width);
  drawHits(context, lane, y, width);
  drawGutter(context, lane, y);
}

function drawBrackets(context, lane, y, width) {
  const ends = [], full = bracketHeightOf(lane), height = full - (full > 6 ? 2 : 1);
  for (const call of lane.calls) {
    if (call.level >= kBracketsSeen || when[call.end] < range.from || when[call.begin] > range.to) continue;
    const left = Math.max(kGutter, pixelOf(when[call.begin], width)), right = Math.min(width, pixelOf(when[call.end], width));
    // What is narrower than the column that was drawn last cannot be seen.
    if (right < (ends[call.level] ?? -1)) continue;
    const size = Math.max(1.5, right - left - .5), top = y + call.level * full;
    ends[call.level] = left + size;
    context.fillStyle = bracketColour(call.id);
    if (size > 6 && height > 6) {
      context.beginPath();
      context.roundRect(left, top, size, height, call.isWhole ? 3 : [3, 0, 0, 3]);
      context.fill();
    } else {
      context.fillRect(left, top, size, height);
    }
    if (call.worst >= 2) {
      context.fillStyle = colours.kinds[call.worst];
      context.fillRect(left, top + height - 2, size, 2);
    }
    if (size > 24 && height >= kBracketReadable - 2) {
      const label = labelOf(context, call.name, size - 9);
      context.fillStyle = colours["bracket-text"];
      context.fillText(label, left + 5, top + height / 2 + .5);
    }
  }
}

// A function's name as it has room: whole, its last part alone, or nothing.
const labels = new Map();
function labelOf(context, name, width) {
  let known = labels.get(name);
  if (!known) {
    const whole = visible(name.slice(0, 120)), last = whole.slice(Math.max(whole.lastIndexOf(":"), whole.lastIndexOf(".")) + 1) || whole;
    known = { whole, last, wholeWidth: context.measureText(whole).width, lastWidth: context.measureText(last).width };
    labels.set(name, known);
  }
  return known.wholeWidth <= width ? known.whole : known.lastWidth <= width ? known.last : "";
}

const rolledOver = [];
for (let row = 0; row < count; ++row) if (classOf[row] === kRolledOver) rolledOver.push(row);
function drawRollOvers(context, lane, y, height, width) {
  for (const row of rolledOver) {
    if (lanes[threadOf[row]].file !== lane.file || when[row] < range.from || when[row] > range.to) continue;
    context.strokeStyle = colours.odd;
    context.setLineDash([3, 3]);
    context.beginPath();
    context.moveTo(pixelOf(when[row], width), y);
    context.lineTo(pixelOf(when[row], width), y + height);
    context.stroke();
    context.setLineDash([]);
  }
}

function drawHits(context, lane, y, width) {
  if (!search.matcher || !hits.length) return;
  context.fillStyle = colours.accent;
  const inLane = lane.index;
  let lastX = -1;
  for (let index = firstAt(hits, range.from); index < hits.length && when[hits[index]] <= range.to; ++index) {
    if (threadOf[hits[index]] !== inLane) continue;
    const x = Math.round(pixelOf(when[hits[index]], width));
    if (x !== lastX) context.fillRect(x - 1, y + kDensity - 2, 3, 3);
    lastX = x;
  }
}

// As much of a text as has room.
function fitted(context, text, width) {
  if (context.measureText(text).width <= width) return text;
  let size = Math.min(text.length, 60);
  while (size > 0 && context.measureText(text.slice(0, size) + "\u2026").width > width) --size;
  return size ? text.slice(0, size) + "\u2026" : "";
}

function drawGutter(context, lane, y) {
  context.fillStyle = colours.panel;
  context.fillRect(0, y - 2, kGutter, kDensity + 4 + levelsOf(lane) * bracketHeightOf(lane));
  const isChosen = chosen >= 0 && lanes[threadOf[chosen]] === lane;
  context.fillStyle = fileColour(lane.file);
  context.beginPath();
  context.arc(18, y + kDensity / 2, 4, 0, 7);
  context.fill();
  context.fillStyle = isChosen ? colours.accent : colours.text;
  context.fillText(threadName(lane), 29, y + kDensity / 2 + .5);
  context.textAlign = "right";
  context.fillStyle = colours.faint;
  context.fillText(number.format(lane.rows.length), kGutter - 10, y + kDensity / 2 + .5);
  context.textAlign = "left";
  if (data.files.length > 1) {
    const from = 36 + context.measureText(threadName(lane)).width, to = kGutter - 18 - context.measureText(number.format(lane.rows.length)).width;
    context.fillText(fitted(context, visible(data.files[lane.file]), to - from), from, y + kDensity / 2 + .5);
  }
}

function showLane(index) {
  const at = seenLanes.indexOf(lanes[index]);
  if (at < 0) return;
  const top = laneTops[at] - kAxis, bottom = (laneTops[at + 1] ?? parseFloat(lanesAll.style.height));
  if (top < lanesBox.scrollTop) lanesBox.scrollTop = top;
  else if (bottom > lanesBox.scrollTop + lanesBox.clientHeight) lanesBox.scrollTop = bottom - lanesBox.clientHeight;
}

// What stands at a point of the picture: the lane, perhaps a call, and the nearest line.
function findAt(event) {
  const box = lanesBox.getBoundingClientRect(), width = lanesBox.clientWidth;
  const x = event.clientX - box.left, y = event.clientY - box.top + lanesBox.scrollTop;
  let index = laneTops.length - 1;
  while (index >= 0 && laneTops[index] > y) --index;
  if (index < 0 || event.clientY - box.top < kAxis) return null;
  const lane = seenLanes[index], instant = instantOf(x, width);
  if (x < kGutter) return { lane, isName: true };
  const level = Math.floor((y - laneTops[index] - kDensity) / bracketHeightOf(lane)), slack = 2 * (range.to - range.from) / width;
  let call = null;
  if (level >= 0) for (const one of lane.calls) if (one.level === level && when[one.begin] - slack <= instant && when[one.end] + slack >= instant) call = one;
  let at = firstAt(lane.rows, instant);
  if (at === lane.rows.length || (at > 0 && instant - when[lane.rows[at - 1]] < when[lane.rows[at]] - instant)) --at;
  let row = lane.rows[at];
  // Of those within a few pixels the worst is meant.
  const near = 4 * (range.to - range.from) / width;
  for (let other = firstAt(lane.rows, instant - near); other < lane.rows.length && when[lane.rows[other]] <= instant + near; ++other) {
    if (rank(Math.min(classOf[lane.rows[other]], kOdd)) > rank(Math.min(classOf[row], kOdd))) row = lane.rows[other];
  }
  return { lane, call, row, isNear: Math.abs(when[row] - instant) <= near };
}

function showHint(event) {
  const found = findAt(event), hint = byId("hint");
  hint.hidden = !found || (!found.isName && !found.call && !found.isNear);
  if (hint.hidden) return;
  hint.replaceChildren();
  if (found.isName) {
    hint.append(make("b", "", threadName(found.lane)), visible(data.files[found.lane.file]), make("br"), make("span", "", "Click to see it alone"));
  } else if (found.call) {
    const { call } = found;
    hint.append(make("b", "", visible(call.name)), make("span", "", span(when[call.end] - when[call.begin]) + (call.isWhole ? "" : ", its exit is not in the trace") + " \u00b7 " + clock(when[call.begin])));
  } else {
    hint.append(make("b", "", (isLine(found.row) ? kTitles[classOf[found.row]] + " \u00b7 " : "") + clock(when[found.row])));
    hint.append(visible(texts[found.row].slice(0, 300)));
  }
  const box = hint.getBoundingClientRect();
  hint.style.left = Math.min(event.clientX + 14, innerWidth - box.width - 8) + "px";
  hint.style.top = (event.clientY + 18 + box.height > innerHeight ? event.clientY - box.height - 10 : event.clientY + 18) + "px";
}

// ---- Hands on the picture ----

{
  let drag = null;
  lanesBox.addEventListener("pointerdown", (event) => {
    if (event.button !== 0 || event.offsetX > lanesBox.clientWidth) return;
    drag = { x: event.clientX, from: range.from, to: range.to, isMoved: false };
    lanesBox.setPointerCapture(event.pointerId);
  });
  lanesBox.addEventListener("pointermove", (event) => {
    if (!drag) { showHint(event); return; }
    if (Math.abs(event.clientX - drag.x) > 3) drag.isMoved = true;
    if (!drag.isMoved) return;
    byId("hint").hidden = true;
    lanesBox.classList.add("dragged");
    const by = (drag.x - event.clientX) / (lanesBox.clientWidth - kGutter - 10) * (drag.to - drag.from);
    setRange(drag.from + by, drag.to + by);
  });
  lanesBox.addEventListener("pointerup", (event) => {
    const wasMoved = drag && drag.isMoved;
    drag = null;
    lanesBox.classList.remove("dragged");
    const found = wasMoved ? null : findAt(event);
    if (!found) return;
    if (found.isName) setThread(onlyThread < 0 ? found.lane.index : -1);
    else select(found.call ? found.call.begin : found.row);
  });
  lanesBox.addEventListener("dblclick", (event) => {
    const found = findAt(event);
    if (found && found.call) zoomTo(found.call);
    else if (found && !found.isName) zoom(.3, instantOf(event.clientX - lanesBox.getBoundingClientRect().left, lanesBox.clientWidth));
  });
  lanesBox.addEventListener("pointerleave", () => { byId("hint").hidden = true; });
  lanesBox.addEventListener("wheel", (event) => {
    const isHigher = lanesBox.scrollHeight > lanesBox.clientHeight + 1;
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      moveBy((event.deltaX || event.deltaY) / lanesBox.clientWidth);
    } else if (event.ctrlKey || event.metaKey || !isHigher) {
      zoom(Math.exp(clamp(event.deltaY, -200, 200) / 300), instantOf(event.clientX - lanesBox.getBoundingClientRect().left, lanesBox.clientWidth));
    } else {
      return;
    }
    event.preventDefault();
  }, { passive: false });
  lanesBox.addEventListener("scroll", draw);
}
{
  let begin = null;
  const at = (event) => first + clamp((event.clientX - overview.getBoundingClientRect().left - kGutter) / (overview.clientWidth - kGutter - 10), 0, 1) * (last - first);
  overview.addEventListener("pointerdown", (event) => { begin = { x: event.clientX, at: at(event) }; overview.setPointerCapture(event.pointerId); });
  overview.addEventListener("pointermove", (event) => {
    if (begin && Math.abs(event.clientX - begin.x) > 3) setRange(Math.min(begin.at, at(event)), Math.max(begin.at, at(event)));
  });
  overview.addEventListener("pointerup", (event) => {
    if (begin && Math.abs(event.clientX - begin.x) <= 3) {
      const half = (range.to - range.from) / 2;
      setRange(begin.at - half, begin.at + half);
      const row = view[Math.min(view.length - 1, firstAt(view, begin.at))];
      if (row !== undefined) select(row);
    }
    begin = null;
  });
  overview.addEventListener("dblclick", showEverything);
}
{
  const split = byId("split"), times = byId("times");
  let begin = null;
  const setHeight = (height) => { times.style.height = clamp(height, 90, innerHeight - 260) + "px"; layLanes(); draw(); drawList(); };
  split.addEventListener("pointerdown", (event) => { begin = { y: event.clientY, height: times.offsetHeight }; split.setPointerCapture(event.pointerId); });
  split.addEventListener("pointermove", (event) => { if (begin) setHeight(begin.height + event.clientY - begin.y); });
  split.addEventListener("pointerup", () => { begin = null; });
  split.addEventListener("keydown", (event) => {
    const by = event.key === "ArrowUp" ? -24 : event.key === "ArrowDown" ? 24 : 0;
    if (by) { setHeight(times.offsetHeight + by); event.preventDefault(); event.stopPropagation(); }
  });
}
byId("zoom-in").addEventListener("click", () => zoom(.5));
byId("zoom-out").addEventListener("click", () => zoom(2));
byId("zoom-all").addEventListener("click", showEverything);
function setTall(value) {
  isTall = value;
  byId("tall").setAttribute("aria-pressed", isTall);
  layLanes();
  if (chosen >= 0) showLane(threadOf[chosen]);
  draw();
}
byId("tall").addEventListener("click", () => setTall(!isTall));

// ---- The tools ----

function setThread(index) {
  onlyThread = index;
  byId("thread").value = index < 0 ? "" : String(index);
  layLanes();
  choose();
}
byId("thread").addEventListener("change", (event) => setThread(event.target.value === "" ? -1 : +event.target.value));
byId("module").addEventListener("change", (event) => { onlyModule = event.target.value; choose(); });
byId("only").addEventListener("change", (event) => { search.only = event.target.checked; choose(); });
byId("search").addEventListener("input", (event) => { search.text = event.target.value; choose(); });
byId("hit-on").addEventListener("click", () => step(hits, 1));
byId("hit-back").addEventListener("click", () => step(hits, -1));
byId("error-on").addEventListener("click", () => step(badRows(), 1));
byId("error-back").addEventListener("click", () => step(badRows(), -1));
byId("help-on").addEventListener("click", () => byId("help").showModal());

function clearSearch() {
  byId("search").value = search.text = "";
  choose();
}

document.addEventListener("keydown", (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey || byId("help").open) return;
  const target = event.target, isTyping = target === byId("search");
  if (isTyping) {
    if (event.key === "Enter") { step(hits, event.shiftKey ? -1 : 1); event.preventDefault(); }
    else if (event.key === "Escape") { clearSearch(); list.focus(); event.preventDefault(); }
    else if (event.key === "ArrowDown") { list.focus(); if (chosen < 0) stepInView(1); event.preventDefault(); }
    return;
  }
  if (target.tagName === "SELECT") return;
  const page = Math.max(1, Math.floor(list.clientHeight / kRowHeight) - 1);
  const inLanes = target === lanesBox;
  const acts = {
    "/": () => { byId("search").focus(); byId("search").select(); },
    "?": () => byId("help").showModal(),
    n: () => step(hits, 1), N: () => step(hits, -1),
    e: () => step(badRows(), 1), E: () => step(badRows(), -1),
    j: () => stepInView(1), k: () => stepInView(-1),
    ArrowDown: () => stepInView(1), ArrowUp: () => stepInView(-1),
    PageDown: () => stepInView(page), PageUp: () => stepInView(-page),
    Home: () => { if (view.length) select(view[0], false); }, End: () => { if (view.length) select(view[view.length - 1], false); },
    ArrowLeft: () => moveBy(event.shiftKey ? -1 : -.1), ArrowRight: () => moveBy(event.shiftKey ? 1 : .1),
    "+": () => zoom(.5), "=": () => zoom(.5), "-": () => zoom(2), "0": showEverything,
    b: () => setTall(!isTall),
    z: () => { const around = chosen < 0 ? [] : callsAround(chosen); if (around.length) zoomTo(around[around.length - 1]); },
    t: () => { if (onlyThread >= 0) setThread(-1); else if (chosen >= 0) setThread(threadOf[chosen]); },
    Escape: () => { if (search.text) clearSearch(); },
  };
  const act = acts[event.key] || (inLanes ? undefined : acts[event.key.toLowerCase()]);
  if (!act || (target.tagName === "BUTTON" && event.key === " ")) return;
  act();
  event.preventDefault();
});

// ---- The beginning ----

function fillHead() {
  document.title = "Trace: " + visible(data.files.join(", "));
  for (const [index, name] of data.files.entries()) {
    const item = make("li"), dot = document.createElementNS("http://www.w3.org/2000/svg", "svg"), circle = document.createElementNS("http://www.w3.org/2000/svg", "circle");
    dot.setAttribute("width", "9");
    dot.setAttribute("height", "9");
    for (const key of ["cx", "cy", "r"]) circle.setAttribute(key, "4.5");
    circle.setAttribute("fill", fileColour(index));
    dot.append(circle);
    const text = make("span", "", visible(name));
    text.title = visible(name);
    item.append(dot, text);
    byId("files").append(item);
  }
  byId("extent").textContent = count === 0 ? "no lines" : plural(count, "line", "lines") + " \u00b7 " + day(first) + ", " + clock(first) + " to " + (day(first) === day(last) ? "" : day(last) + ", ") + clock(last);
  const notes = [];
  if (data.query) notes.push("Only lines that were asked for: " + visible(data.query) + ".");
  if (data.leftOut) notes.push("Left out: the first " + plural(data.leftOut.count, "line", "lines") + (data.leftOut.from === undefined ? "" : ", from " + day(data.leftOut.from) + ", " + clock(data.leftOut.from) + " to " + day(data.leftOut.to) + ", " + clock(data.leftOut.to)) + ". A page holds no more than these.");
  byId("notice").textContent = notes.join(" ");
  byId("notice").hidden = notes.length === 0;
}

function fillTools() {
  const sums = new Array(6).fill(0);
  for (let row = 0; row < count; ++row) ++sums[classOf[row]];
  kTitles.forEach((title, kind) => {
    if (kind === kOdd && !sums[kind]) return;
    const button = make("button", kClasses[kind], title[0] + title.slice(1).toLowerCase() + " ");
    button.type = "button";
    button.setAttribute("aria-pressed", "true");
    button.append(make("b", "", number.format(sums[kind])));
    button.addEventListener("click", () => {
      shown[kind] = !shown[kind];
      button.setAttribute("aria-pressed", shown[kind]);
      choose();
    });
    byId("kinds").append(button);
  });
  byId("error-on").disabled = byId("error-back").disabled = sums[2] + sums[3] === 0;
  for (const [index, lane] of lanes.entries()) {
    const option = make("option", "", threadName(lane) + (data.files.length > 1 ? " \u00b7 " + visible(data.files[lane.file]) : "") + " (" + number.format(lane.rows.length) + ")");
    option.value = index;
    byId("thread").append(option);
  }
  for (const name of [...new Set(places.map((place) => place.name))].sort()) {
    const option = make("option", "", visible(name));
    option.value = name;
    byId("module").append(option);
  }
}

readColours();
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => { readColours(); draw(); });
fillHead();
fillTools();
{
  const wanted = 44 + kAxis + lanes.reduce((sum, lane) => sum + kDensity + kGap + levelsOf(lane) * kBracket, 0);
  byId("times").style.height = clamp(wanted, 110, Math.max(140, innerHeight * .45)) + "px";
}
layLanes();
showEverything();
choose();
new ResizeObserver(() => { draw(); drawListSoon(); }).observe(document.body);
(window.requestIdleCallback || setTimeout)(lowerAll);
performance.mark("trace-ready");
})();
