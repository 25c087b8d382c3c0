// The page of a running test: takes the monitor's messages, draws, and sends what is asked for.

import { BeatDialog, Tiles } from "./beats.js";
import { Link } from "./link.js";
import { Alarms, enableControls, openLimits, showEvents, wireControls } from "./panel.js";
import { Paper } from "./paper.js";
import { filterDelayMs, LiveSignal, overviewOf, stretchOf } from "./signal.js";
import { Trends } from "./trends.js";
import { clock, language, setLanguage, word } from "./words.js";

const kLiveSeconds = 40;       // that are kept here for the running display
const kFilterSeconds = 3;      // ahead of a frozen stretch, for the filters to settle
const kMostMarks = 2000, kMostEvents = 500;
const kWholeSeconds = 120;     // a recording that is longer is shown as a whole at first
const kOverviewSeconds = 60;   // from which on a stretch is shown by its bounds: two columns a pixel, so that none is empty
const kMostColumns = 4096;     // that the monitor gives at once

const byId = (id) => document.getElementById(id);
const paper = new Paper(byId("paper"));
const trends = new Trends(byId("trends"));
const kept = (name, otherwise) => localStorage.getItem(`qzstress-${name}`) ?? otherwise;
const keep = (name, value) => localStorage.setItem(`qzstress-${name}`, value);

let hello = null, state = null, beats = null, live = null, tiles = null, selected = 0;
let frozen = null;  // { end: frame at the right edge, stretch } while the display stands
let events = [], latestMs = NaN, isLinked = false, isNew = true, results = null, answerTimer = 0, finds = null;
let marks = [], keptMarks = null;  // of beats: the latest, and of the stretch that was asked for last

const link = new Link({
  opened: () => { isLinked = true; showLink(); },
  closed: () => {
    isLinked = false;
    showLink();
    byId("strip-link").replaceChildren();
  },
  signal: (head, samples) => {
    if (!live) return;
    live.add(head.firstFrame, samples);
    latestMs = head.wallMs;
    isNew = true;
  },
  object: (message) => {
    const take = takers[message.type];
    if (take) take(message);
  },
});
/** False where there is no connection: the answer says so. */
const command = (object) => {
  const isSent = link.send(object);
  if (!isSent) answer(word("disconnected"));
  return isSent;
};
const alarms = new Alarms((number) => command({ do: "acknowledge", value: number }));
const dialog = new BeatDialog((name, ms) => command(ms === null ? { do: `${name}-point` } : { do: `${name}-point`, value: ms }));

const takers = {
  hello(message) {
    const signalOf = ({ fs, leads, uVpb, started, view }) => JSON.stringify([fs, leads, uVpb, started, view]);
    if (hello && signalOf(hello) !== signalOf(message)) return location.reload();  // another test is there now
    const isFirst = hello === null;
    hello = message;
    live = new LiveSignal(hello.leads.length, hello.fs, hello.uVpb, kLiveSeconds);
    marks = [];
    // What is chosen stays when the connection comes back.
    if (frozen) moveTo(shownTo());
    if (!isFirst) return;
    paper.fs = hello.fs;
    paper.names = hello.leads;
    paper.shownLeads = hello.leads.map((_, lead) => lead);
    if (hello.leads.length <= 6) byId("columns").value = "1";
    paper.columns = Number(byId("columns").value);
    tiles = new Tiles(byId("tiles"), hello.leads, select);
    select(Math.max(0, hello.leads.indexOf("V5")), false);
    byId("lead-boxes").replaceChildren(...hello.leads.map(leadBox));
    document.body.classList.toggle("view", hello.view);
  },
  state(message) {
    state = message;
    if (!hello) return;
    const mains = /(50|60) Hz/.exec(state.conditioning);
    live.setMains(mains ? Number(mains[1]) : 0);
    tiles.show(state);
    if (!hello.view) alarms.show(state.alarms);
    enableControls(state);
    trends.stages = state.stages;
    showFigures();
    showLink();
    if (hello.view) showView();
    byId("position").max = state.kept_s.toFixed(1);
    if (!frozen) byId("position").value = byId("position").max;
    if (state.ended && !results) byId("result-links").textContent = word("working");
    byId("results").hidden = !state.ended || hello.view;
    document.body.classList.toggle("ended", state.ended);
    dialog.show(beats, state);
  },
  beats(message) {
    beats = message;
    if (tiles) tiles.draw(beats);
    dialog.show(beats, state);
  },
  trend(message) {
    trends.take(message);
    trends.draw();
  },
  marks(message) {
    if (message.request > 0) keptMarks = message;
    else marks = marks.concat(message.marks).slice(-kMostMarks);
  },
  events(message) {
    events = (message.whole ? [] : events).concat(message.events).slice(-kMostEvents);
    showEvents(events);
  },
  finds(message) {
    finds = message;
    byId("to-largest").disabled = finds.largest_s === null;
    byId("to-ventricular").disabled = finds.ventricular.length === 0;
    byId("to-gap").disabled = finds.gaps.length === 0;
  },
  done(message) {
    answer(message.do === "acknowledge" ? "" : message.ok ? word("done") : word("refused"));
  },
  strip(message) {
    if (message.file) byId("strip-link").replaceChildren(linkTo(message.file));
    else byId("strip-link").textContent = word("noStrip") + message.why;
    byId("strip-link").title = byId("strip-link").textContent;
  },
  results(message) {
    results = message;
    byId("result-links").replaceChildren(...message.files.map(linkTo));
    if (message.files.length === 0) byId("result-links").textContent = word("noResults") + message.why;
    byId("results").hidden = false;
  },
};

function answer(text) {
  byId("answer").textContent = text;
  clearTimeout(answerTimer);
  answerTimer = setTimeout(() => { byId("answer").textContent = ""; }, 5000);
}

function linkTo(name) {
  const anchor = document.createElement("a");
  anchor.href = `/results/${name}`;
  anchor.textContent = name;
  anchor.target = "_blank";
  return anchor;
}

function showFigures() {
  byId("bpm").textContent = state.bpm === null ? "–" : Math.round(state.bpm);
  byId("clock").textContent = clock(state.s);
  const stage = state.stages[state.stages.length - 1];
  byId("stage").textContent = byId("stage").title = stage.power ? `${stage.name} · ${stage.power}` : word(stage.name);
  const next = state.next_stage_s === null ? "" : ` / ${clock(Math.max(0, state.next_stage_s - state.s))}`;
  byId("stage-clock").textContent = clock(state.s - stage.s) + next;
  byId("counts").textContent = `${state.beats} (${state.supraventricular}, ${state.ventricular})`;
}

function showLink() {
  const element = byId("link");
  let text = word("connected"), isBad = false, share = NaN;
  if (!isLinked) {
    text = word("disconnected");
    isBad = true;
  } else if (hello && hello.view) {
    const isRead = state && state.s > 0;
    text = word(state && state.ended ? "viewing" : isRead ? "analysing" : "reading");
    if (state && !state.ended) share = isRead ? state.s / state.kept_s : state.kept_s / hello.whole_s;
  } else if (state && !state.ended) {
    const { there, what, hz } = state.source;
    isBad = !there || state.trouble !== "";
    if (state.trouble) text = state.trouble;
    else if (!there) text = `${word("noSource")} ${clock(state.gap_s)}: ${what}`;
    else if (hz > 0) text = `${word("wrongRate")} ${hz.toFixed(0)} Hz`;
    else if (!state.learned) text = state.not_learned || word("learning");
  }
  element.classList.toggle("bad", isBad);
  if (element.textContent !== text) element.textContent = element.title = text;
  byId("percent").textContent = Number.isFinite(share) ? `${Math.floor(100 * share)} %` : "";
}

function select(lead, isOpened = true) {
  selected = lead;
  tiles.tiles.forEach((tile, i) => tile.setAttribute("aria-pressed", String(i === lead)));
  trends.lead = lead;
  trends.name = hello.leads[lead];
  trends.draw();
  if (isOpened) dialog.open(lead, hello.leads[lead]);
}

function leadBox(name, lead) {
  const label = document.createElement("label"), box = document.createElement("input");
  label.className = "check";
  box.type = "checkbox";
  box.checked = true;
  box.addEventListener("change", () => {
    const boxes = [...byId("lead-boxes").querySelectorAll("input")];
    paper.shownLeads = boxes.flatMap((one, i) => one.checked ? [i] : []);
    isNew = true;
  });
  label.append(box, name);
  return label;
}

// Freezing: the running display stands still and every place of the test can be shown; the test goes on.

function freeze(isFrozen, seconds = live ? live.end / hello.fs : 0) {
  if (isFrozen === (frozen !== null) || !live) return;
  frozen = isFrozen ? { end: live.end, stretch: live, marks } : null;
  byId("freeze").setAttribute("aria-pressed", String(isFrozen));
  byId("freeze").textContent = word(isFrozen ? "live" : "freeze");
  byId("shown").textContent = "";
  measure(null);
  if (!isFrozen) setZoom("0");
  if (isFrozen) moveTo(seconds);
  isNew = true;
}

const wholeSeconds = () => Math.max(state ? state.kept_s : 0, live.end / hello.fs);
/** Where the right edge of the frozen paper stands, and its middle, s. */
const shownTo = () => frozen.end / hello.fs;
const middleSeconds = () => shownTo() - paper.seconds / 2;

// How much a lane shows: as much as the speed has, or a fixed time, of which only the bounds are drawn.
function setZoom(value) {
  byId("zoom").value = value;
  paper.span = value === "all" ? wholeSeconds() : Number(value);
  byId("speed").disabled = paper.span > 0;
  isNew = true;
}

function zoomTo(value, seconds = middleSeconds()) {
  if (!frozen) return;
  setZoom(value);
  moveTo(seconds + paper.seconds / 2);
}

function zoomBy(steps) {
  const zoom = byId("zoom");
  let at = zoom.selectedIndex + steps;
  while (Number(zoom.options[at]?.value) > wholeSeconds()) at += steps;
  if (at >= 0 && at < zoom.options.length) zoomTo(zoom.options[at].value);
}

// A recording is shown as a whole while it comes, if it is long, until somebody looks closer.
function showView() {
  if (!frozen && (state.kept_s > paper.seconds || state.s > 0)) {
    if (state.kept_s > kWholeSeconds) setZoom("all");
    freeze(true, paper.seconds);
  } else if (frozen && byId("zoom").value === "all" && state.kept_s > paper.span) {
    zoomTo("all");
  }
}

async function moveTo(seconds) {
  const place = frozen;
  measure(null);
  const whole = wholeSeconds();
  if (byId("zoom").value === "all") paper.span = whole;
  const at = Math.min(Math.max(seconds, Math.min(paper.seconds, whole)), whole);
  place.end = Math.round(at * hello.fs);
  byId("position").max = whole.toFixed(1);
  byId("position").value = at;
  byId("shown").textContent = `${clock(at - paper.seconds)} – ${clock(at)}`;
  const end = place.end;
  if (paper.seconds >= kOverviewSeconds) {
    const columns = Math.min(kMostColumns, Math.ceil(2 * byId("paper").clientWidth / paper.columns));
    const { head, samples } = await link.askOverview(end - Math.ceil(paper.seconds * hello.fs), end, columns);
    if (frozen !== place || place.end !== end || paper.seconds < kOverviewSeconds) return;
    place.marks = finds ? finds.ventricular.map((time) => [time, "V"]) : [];
    place.stretch = overviewOf(head, samples, hello.uVpb);
    isNew = true;
    return;
  }
  const { head, samples } = await link.askSignal(end - Math.ceil((paper.seconds + kFilterSeconds) * hello.fs), end);
  if (frozen !== place || place.end !== end || paper.seconds >= kOverviewSeconds) return;
  place.marks = keptMarks && keptMarks.request === head.request ? keptMarks.marks : [];
  place.stretch = stretchOf(head, samples, hello.uVpb, hello.fs, live.mainsHz);
  isNew = true;
}

byId("freeze").addEventListener("click", () => freeze(frozen === null));
byId("position").addEventListener("input", () => {
  const seconds = Number(byId("position").value);
  freeze(true);
  moveTo(seconds);
});
for (const [id, part] of [["back", -0.5], ["forward", 0.5]]) {
  byId(id).addEventListener("click", () => {
    if (!live) return;
    freeze(true);
    moveTo(shownTo() + part * paper.seconds);
  });
}
byId("to-largest").addEventListener("click", () => {
  freeze(true);
  select(hello.leads.indexOf(finds.largest_lead), false);
  zoomTo("0", finds.largest_s);
});
// The first place behind what is shown in the middle; behind the last the first again.
function jump(places) {
  freeze(true);
  const now = paper.span ? -1 : middleSeconds();
  zoomTo("0", places.find((seconds) => seconds > now + 0.5) ?? places[0]);
}
byId("to-ventricular").addEventListener("click", () => jump(finds.ventricular));
byId("to-gap").addEventListener("click", () => jump(finds.gaps.map((gap) => gap[0])));
byId("strip").addEventListener("click", () => {
  if (!live) return;
  freeze(true);
  if (command({ strip: middleSeconds(), language: language() })) byId("strip-link").textContent = word("drawing");
});
byId("trends").addEventListener("click", (event) => {
  if (!live) return;
  freeze(true);
  zoomTo("0", trends.secondsAt(event.offsetX));
});
byId("paper").addEventListener("keydown", (event) => {
  const steps = { ArrowLeft: -0.2, ArrowRight: 0.2, PageUp: -paper.seconds, PageDown: paper.seconds, Home: -1e9, End: 1e9 };
  if (paper.calipers && moveCalipers(event)) isNew = true;
  else if (event.key === " ") freeze(frozen === null || hello.view);
  else if (event.key.toLowerCase() === "m") toggleCalipers();
  else if (frozen && event.key === "+") zoomBy(-1);
  else if (frozen && event.key === "-") zoomBy(1);
  else if (frozen && event.key in steps) moveTo(shownTo() + steps[event.key]);
  else return;
  event.preventDefault();
});

// Calipers: a box over the frozen paper, drawn by dragging or moved by keys corner by corner.
const kCaliperMs = 10, kCaliperMv = 0.05, kFineSteps = 5;  // a step of an arrow; with Shift a fifth of it

function measure(calipers) {
  paper.calipers = calipers;
  byId("measure").setAttribute("aria-pressed", String(calipers !== null));
  isNew = true;
  if (calipers === null) return byId("calipers").textContent = "";
  const { ms, mV } = paper.measured();
  const rate = ms > 100 ? `, ${Math.round(60000 / ms)}/min` : "";
  byId("calipers").textContent = `${Math.round(ms)} ms, ${mV.toFixed(2)} mV${rate}`;
}

function toggleCalipers() {
  if (paper.calipers) return measure(null);
  freeze(true);
  const x = byId("paper").clientWidth / 2, y = byId("paper").clientHeight / 2;
  measure({ x0: x, y0: y, x1: x + paper.pxOfMs(200), y1: y - paper.pxOfMv(0.5) });
}

function moveCalipers(event) {
  const part = event.shiftKey ? kFineSteps : 1, dx = paper.pxOfMs(kCaliperMs) / part, dy = paper.pxOfMv(kCaliperMv) / part;
  const moves = { ArrowLeft: [-dx, 0], ArrowRight: [dx, 0], ArrowUp: [0, -dy], ArrowDown: [0, dy] };
  const { x0, y0, x1, y1 } = paper.calipers;
  if (event.key === "Escape") measure(null);
  else if (event.key === "Enter") measure({ x0: x1, y0: y1, x1: x0, y1: y0 });
  else if (event.key in moves) measure({ x0, y0, x1: x1 + moves[event.key][0], y1: y1 + moves[event.key][1] });
  else return false;
  return true;
}

function drag(event) {
  if (event.buttons === 0) return;
  if (event.type === "pointerdown") {
    byId("paper").setPointerCapture(event.pointerId);
    freeze(true);
    paper.calipers = { x0: event.offsetX, y0: event.offsetY };
  }
  if (paper.calipers) measure({ ...paper.calipers, x1: event.offsetX, y1: event.offsetY });
}
byId("paper").addEventListener("dblclick", (event) => {
  const lane = byId("paper").clientWidth / paper.columns;
  if (frozen && paper.span) zoomTo("0", shownTo() - paper.seconds * (1 - event.offsetX % lane / lane));
});
byId("zoom").addEventListener("change", () => {
  const value = byId("zoom").value;
  freeze(true);
  zoomTo(value);
});
byId("measure").addEventListener("click", () => { toggleCalipers(); byId("paper").focus(); });
byId("paper").addEventListener("pointerdown", drag);
byId("paper").addEventListener("pointermove", drag);
// A touch that drags nothing measures nothing: arrows go on scrolling.
byId("paper").addEventListener("pointerup", () => {
  if (paper.calipers && paper.calipers.x0 === paper.calipers.x1 && paper.calipers.y0 === paper.calipers.y1) measure(null);
});

// Settings.

for (const [id, set] of [["speed", (value) => { paper.mmPerS = value; }], ["gain", (value) => { paper.mmPerMv = value; }],
  ["columns", (value) => { paper.columns = value; }]]) {
  byId(id).addEventListener("change", () => {
    set(Number(byId(id).value));
    if (frozen) moveTo(shownTo());
    isNew = true;
  });
}
byId("filters").addEventListener("change", () => { paper.isFiltered = byId("filters").checked; isNew = true; });
byId("choose-leads").addEventListener("click", () => byId("leads-dialog").showModal());
byId("limits").addEventListener("click", () => state && openLimits(state.limits));
byId("calibrate").addEventListener("click", () => {
  byId("ruler").style.width = `${100 * paper.pxPerMm}px`;
  byId("ruler-mm").value = "100";
  byId("calibrate-dialog").returnValue = "";
  byId("calibrate-dialog").showModal();
});
byId("calibrate-dialog").addEventListener("close", () => {
  if (byId("calibrate-dialog").returnValue !== "set") return;
  paper.pxPerMm *= 100 / Number(byId("ruler-mm").value);
  keep("px-per-mm", paper.pxPerMm);
  isNew = true;
});
byId("language").addEventListener("click", () => chooseLanguage(language() === "en" ? "de" : "en"));
byId("theme").addEventListener("click", () => chooseTheme(document.documentElement.dataset.theme === "dark" ? "light" : "dark"));

function chooseLanguage(name) {
  keep("language", name);
  setLanguage(name);
  byId("freeze").textContent = word(frozen ? "live" : "freeze");
  showLink();
  if (state && hello) takers.state(state);
  showEvents(events);
}

function chooseTheme(name) {
  keep("theme", name);
  document.documentElement.dataset.theme = name;
  isNew = true;
  if (beats && tiles) tiles.draw(beats);
  trends.draw();
}

// Drawing, as often as the screen asks and something is new.
let delayShownAt = 0;
function draw(now) {
  requestAnimationFrame(draw);
  if (!isNew || !hello) return;
  isNew = false;
  paper.marks = frozen ? frozen.marks : marks;
  if (frozen) paper.draw(frozen.stretch, frozen.end);
  else paper.draw(live, live.end);
  if (state && state.ended) byId("delay").textContent = "–";
  if (now - delayShownAt < 500 || Number.isNaN(latestMs) || (state && state.ended)) return;
  delayShownAt = now;
  const ms = Math.max(0, Date.now() - latestMs) + (paper.isFiltered ? filterDelayMs : 0);
  byId("delay").textContent = `${Math.round(ms)} ms`;
}

paper.pxPerMm = Number(kept("px-per-mm", paper.pxPerMm)) || paper.pxPerMm;
wireControls(command);
setLanguage(kept("language", navigator.language.startsWith("de") ? "de" : "en"));
chooseTheme(kept("theme", matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light"));
addEventListener("resize", () => { isNew = true; trends.draw(); if (beats && tiles) tiles.draw(beats); });
requestAnimationFrame(draw);

/** For whoever tests the page in a browser. */
window.qzstress = { state: () => state, hello: () => hello, beats: () => beats, live: () => live, frozen: () => frozen, link, delayMs: () => Date.now() - latestMs };
