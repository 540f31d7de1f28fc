"use strict";

/* What came over the network is only ever put into the page as text. */

const refreshMilliseconds = 2000;
const byId = (id) => document.getElementById(id);
const view = { session: null, chunk: null, detail: null, night: null, list: "", seen: "", logs: "" };

function element(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) {
    made.textContent = text;
  }
  if (className) {
    made.className = className;
  }
  return made;
}

async function load(path, kind = "json") {
  const response = await fetch(path, { cache: "no-store" });
  if (!response.ok) {
    throw new Error(path + " answered " + response.status);
  }
  return kind === "json" ? (await response.json()).result : response.arrayBuffer();
}

const sessionPath = (id) => "inspect/sessions/" + encodeURIComponent(id);

/* Times are shown as a clock in the sleeper's time zone would show them. */
function localTime(session, secondsFromStart = 0) {
  const milliseconds = Date.parse(session.start_time) + (session.utc_offset + secondsFromStart) * 1000;
  return new Date(milliseconds).toISOString();
}
const clockText = (session, seconds) => localTime(session, seconds).slice(11, 19);
const dayText = (session) => localTime(session).slice(0, 10);

function durationText(seconds) {
  const hours = Math.floor(seconds / 3600);
  const minutes = Math.floor(seconds / 60) % 60;
  return (hours ? hours + " h " : "") + (hours || minutes ? minutes + " min " : "") + (seconds % 60) + " s";
}

function endOf(session) {
  return session.end_time || session.unexpected_end_time || null;
}
const lengthOf = (session) => (Date.parse(endOf(session)) - Date.parse(session.start_time)) / 1000;

function fillFacts(list, rows) {
  list.replaceChildren(...rows.filter(([, value]) => value !== undefined && value !== "").map(([name, value, style]) => {
    const row = element("div");
    row.append(element("dt", name), element("dd", value, style));
    return row;
  }));
}

/* ---- sessions ---- */

function showSessions(sessions) {
  byId("welcome").hidden = sessions.length > 0;
  byId("sessions").replaceChildren(...sessions.map((session) => {
    const link = element("a", dayText(session) + " " + clockText(session, 0).slice(0, 5));
    link.href = "#" + new URLSearchParams({ session: session.id });
    if (session.id === view.session) {
      link.setAttribute("aria-current", "true");
    }
    const missing = session.expected - session.received;
    const note = element("small", session.state + ", " + session.received + " of " + session.expected + " chunks");
    if (missing > 0) {
      note.append(", ", element("span", missing + " missing", "bad"));
    }
    link.append(note);
    const item = element("li");
    item.append(link);
    return item;
  }));
}

function showFacts(session) {
  byId("title").textContent = "Night of " + dayText(session);
  document.title = "Night of " + dayText(session) + " - Velmor local service";
  const end = endOf(session);
  fillFacts(byId("facts"), [
    ["State", session.state, "state-" + session.state],
    ["Start", clockText(session, 0)],
    ["End", end ? clockText(session, lengthOf(session)) + (session.unexpected_end_time ? " (unexpected)" : "") : "still open"],
    ["Length", end ? durationText(lengthOf(session)) : ""],
    ["Time zone", session.timezone],
    ["User", session.user, "mono"],
    ["Service", session.service],
    ["Data", session.data_type],
    ["Callback", session.callback_url, "mono"],
    ["Session id", session.id, "mono"],
  ]);
}

/* ---- the night ---- */

function rangeText([first, last]) {
  return first === last ? String(first) : first + " to " + last;
}

function coverageText(session) {
  if (session.expected === 0) {
    return "No chunk has arrived yet.";
  }
  const percent = (100 * session.missing_data_ratio).toFixed(1);
  const shown = session.missing.slice(0, 12).map(rangeText).join(", ");
  const more = session.missing.length > 12 ? " and " + (session.missing.length - 12) + " more gaps" : "";
  const count = session.received + " of " + session.expected + " chunks arrived.";
  return session.missing.length ? count + " Missing (" + percent + " %): " + shown + more + "." : count + " None is missing.";
}

function parsedOverview(buffer) {
  const bytes = new DataView(buffer);
  const size = 4 + Mel.bands * Mel.columns;
  const levels = new Map();
  for (let at = 0; at + size <= buffer.byteLength; at += size) {
    levels.set(bytes.getUint32(at, true), new Uint8Array(buffer, at + 4, size - 4));
  }
  return levels;
}

function colours() {
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(name).trim();
  return { good: colour("--good"), gap: colour("--gap"), gapGround: colour("--gap-ground"),
           twice: colour("--twice"), accent: colour("--accent") };
}

function drawStrip() {
  if (view.night) {
    drawNight(byId("strip"), view.night, view.chunk, colours());
  }
}

function showTicks(session) {
  const seconds = session.expected * Mel.seconds;
  const steps = [60, 300, 600, 1800, 3600, 7200, 14400, 86400, 864000];
  const step = steps.find((each) => seconds / each <= 9) || seconds;
  const offset = (Date.parse(session.start_time) / 1000 + session.utc_offset) % step;
  const ticks = [];
  for (let at = (step - offset) % step; at <= seconds && seconds > 0; at += step) {
    const tick = element("span", clockText(session, at).slice(0, 5));
    const place = at / seconds;
    tick.style.left = 100 * place + "%";
    tick.className = place < 0.03 ? "first" : place > 0.97 ? "last" : "";
    ticks.push(tick);
  }
  byId("ticks").replaceChildren(...ticks);
}

function describe(number) {
  const chunk = view.detail.chunks.find((each) => each.sequence === number);
  const times = chunk && chunk.receives > 1 ? ", received " + chunk.receives + " times" : "";
  return "Chunk " + number + ", " + clockText(view.detail, number * Mel.seconds) + ": " + (chunk ? "received" : "missing") + times;
}

function showNight(session, levels) {
  const twice = new Set(session.chunks.filter((chunk) => chunk.receives > 1).map((chunk) => chunk.sequence));
  view.night = { expected: session.expected, gaps: session.missing, levels, twice };
  byId("coverage").textContent = coverageText(session);
  byId("strip").setAttribute("aria-valuemax", String(Math.max(0, session.expected - 1)));
  showTicks(session);
  drawStrip();
}

/* ---- one chunk ---- */

async function showChunk() {
  const number = view.chunk;
  const session = view.detail;
  byId("chunk").hidden = number === null;
  drawStrip();
  if (number === null) {
    return;
  }
  const chunk = session.chunks.find((each) => each.sequence === number);
  byId("strip").setAttribute("aria-valuenow", String(number));
  byId("strip").setAttribute("aria-valuetext", describe(number));
  byId("chunk-title").textContent = "Chunk " + number;
  byId("chunk-figure").hidden = !chunk;
  const span = clockText(session, number * Mel.seconds) + " to " + clockText(session, (number + 1) * Mel.seconds);
  if (!chunk) {
    fillFacts(byId("chunk-facts"), [["Time", span], ["State", "missing: it never arrived", "bad"]]);
    return;
  }
  fillFacts(byId("chunk-facts"), [
    ["Time", span],
    ["Size", chunk.size.toLocaleString("en") + " bytes"],
    ["Upload", "number " + chunk.arrival + " of this session"],
    ["Received", chunk.receives === 1 ? "once" : chunk.receives + " times, the last one is kept", chunk.receives > 1 ? "bad" : ""],
  ]);
  const path = sessionPath(session.id) + "/chunks/" + number;
  const decibels = decibelsOf(await load(path, "bytes"));
  if (view.chunk !== number) {
    return;
  }
  const [low, high] = drawChunk(byId("spectrogram"), decibels);
  byId("spectrogram").setAttribute("aria-label", "Mel spectrogram of chunk " + number);
  const link = element("a", "Download the array");
  link.href = path;
  link.download = session.id + "-" + number + ".npy";
  byId("range").replaceChildren("20 mel bands, 1201 frames; dark " + low.toFixed(0) + " dB, bright " + high.toFixed(0) + " dB. ", link);
}

function select(number) {
  const most = view.detail ? view.detail.expected - 1 : -1;
  if (most < 0) {
    return;
  }
  const hash = new URLSearchParams({ session: view.session, chunk: String(Math.min(Math.max(number, 0), most)) });
  history.replaceState(null, "", "#" + hash);
  readHash();
}

function numberAt(event) {
  const box = byId("strip").getBoundingClientRect();
  const place = Math.floor(((event.clientX - box.left) / box.width) * view.night.expected);
  return Math.min(Math.max(place, 0), view.night.expected - 1);
}

function onStripKey(event) {
  const page = Math.max(1, Math.round(view.night.expected / 20));
  const now = view.chunk ?? -1;
  const moves = { ArrowRight: now + 1, ArrowUp: now + 1, ArrowLeft: now - 1, ArrowDown: now - 1,
                  PageUp: now + page, PageDown: now - page, Home: 0, End: view.night.expected - 1 };
  if (event.key in moves) {
    event.preventDefault();
    select(moves[event.key]);
  }
}

/* ---- logs ---- */

function showLogs(logs) {
  const list = byId("logs");
  if (logs.length === 0) {
    list.replaceChildren(element("p", "No log was shipped for this session.", "note"));
    return;
  }
  list.replaceChildren(...logs.map((log, index) => {
    const details = element("details");
    const text = element("pre");
    text.tabIndex = 0;
    details.append(element("summary", (log.service || "unnamed service") + ", " + log.size.toLocaleString("en") + " bytes"),
                   element("p", log.tags, "note mono"), text);
    details.addEventListener("toggle", async () => {
      if (details.open && !text.textContent) {
        text.textContent = (await load("inspect/logs/" + log.log)).message;
      }
    });
    details.open = index === 0;
    return details;
  }));
}

/* ---- keeping up ---- */

async function refreshSession() {
  const path = sessionPath(view.session);
  const detail = await load(path);
  const seen = JSON.stringify(detail);
  if (seen !== view.seen) {
    const [levels, report] = await Promise.all([load(path + "/overview", "bytes"), load(path + "/report")]);
    if (detail.id !== view.session) {
      return;
    }
    view.detail = detail;
    view.seen = seen;
    byId("session").hidden = false;
    showFacts(detail);
    showNight(detail, parsedOverview(levels));
    byId("report").textContent = JSON.stringify(report, null, 2);
    await showChunk();
  }
  const logs = await load(path + "/logs");
  if (JSON.stringify(logs) !== view.logs) {
    view.logs = JSON.stringify(logs);
    showLogs(logs);
  }
}

async function refresh() {
  try {
    const sessions = await load("inspect/sessions");
    const known = sessions.some((session) => session.id === view.session);
    if (!known) {
      forget(sessions.length ? sessions[0].id : null);
    }
    const list = JSON.stringify([sessions, view.session]);
    if (list !== view.list) {
      view.list = list;
      showSessions(sessions);
    }
    if (view.session !== null) {
      await refreshSession();
    }
    setConnection("");
  } catch (error) {
    setConnection(error instanceof TypeError ? "The service does not answer." : error.message);
  }
}

/* Written only when it changes: a status region that is set again is read out again. */
function setConnection(problem) {
  const status = byId("connection");
  const text = problem || "Up to date";
  if (status.textContent !== text) {
    status.textContent = text;
    status.className = problem ? "lost" : "";
  }
}

function forget(session) {
  Object.assign(view, { session, chunk: null, detail: null, night: null, seen: "", logs: "" });
  byId("session").hidden = true;
}

function readHash() {
  const hash = new URLSearchParams(location.hash.slice(1));
  const session = hash.get("session");
  const chunk = hash.has("chunk") ? Number.parseInt(hash.get("chunk"), 10) : null;
  if (session !== null && session !== view.session) {
    forget(session);
    refresh();
  }
  view.chunk = Number.isSafeInteger(chunk) && chunk >= 0 ? chunk : null;
  if (view.detail) {
    showChunk().catch((error) => setConnection(error.message));
  }
}

function start() {
  const strip = byId("strip");
  byId("origin").textContent = location.origin;
  byId("example").textContent = "velmor track --synthetic 1h --speed max --base-url " + location.origin;
  strip.addEventListener("click", (event) => select(numberAt(event)));
  strip.addEventListener("keydown", onStripKey);
  strip.addEventListener("pointermove", (event) => {
    byId("readout").textContent = view.night && view.night.expected ? describe(numberAt(event)) : "";
  });
  strip.addEventListener("pointerleave", () => { byId("readout").textContent = ""; });
  window.addEventListener("hashchange", readHash);
  new ResizeObserver(drawStrip).observe(strip);
  window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawStrip);
  readHash();
  refresh();
  window.setInterval(() => { if (!document.hidden) { refresh(); } }, refreshMilliseconds);
}

start();
