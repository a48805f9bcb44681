// The last requests of gateways and what they were answered.

import { livePart, refresh } from "./live.js";
import { api, badge, build, clock, empty, field } from "./parts.js";

const kTraceLines = 100;

const statusKind = (status) => (status === 0 || status >= 500 ? "bad" : status >= 400 && status !== 426 ? "warn" : "good");

function exchangeLine(entry) {
  const block = (title, text) => (text ? [build("h2", null, title), build("pre", null, text)] : []);
  return build("details", { class: "exchange", "data-key": "exchange " + entry.id },
    build("summary", { "data-key": "summary " + entry.id },
      build("span", { class: "small" }, clock(entry.time)),
      badge(entry.status || "no answer", statusKind(entry.status)),
      build("span", { class: "target" }, build("b", null, entry.method || "?"), " ", entry.target || entry.scheme),
      entry.fault ? badge(entry.fault, "bad") : null,
      build("span", { class: "note" }, entry.note)),
    build("p", { class: "small" }, `${entry.scheme} from ${entry.address}, ${entry.request_bytes} bytes in the body, ` +
      `${entry.answer_bytes} bytes answered after ${entry.milliseconds} ms by ${entry.process}`),
    block("Request head", entry.request_headers), block("Request body", entry.request_body),
    block("Answer", entry.answer_body));
}

export function traceView() {
  let entries = [], shown = [], paused = false, wanted = "";
  const pause = build("button", { type: "button", class: "plain", "aria-pressed": "false", click: () => {
    paused = !paused;
    pause.setAttribute("aria-pressed", String(paused));
    pause.textContent = paused ? "Go on" : "Pause";
  } }, "Pause");
  const filter = build("input", { type: "search", placeholder: "gateway, path, note …", input: () => { wanted = filter.value.toLowerCase(); refresh(); } });
  const list = livePart(async () => {
    if (!paused) {
      const fresh = await api("/trace?after=" + (entries.length ? entries[entries.length - 1].id : 0));
      if (paused) return shown;
      // A server that was started again counts from one.
      if (fresh.length === 0 && entries.length && (await api("/trace")).length === 0) entries = [];
      entries = entries.concat(fresh).slice(-300);
    }
    shown = entries.filter((entry) => !wanted || [entry.sn, entry.target, entry.note, entry.fault, entry.address]
      .some((text) => text.toLowerCase().includes(wanted))).slice(-kTraceLines);
    return shown;
  }, (lines) => (lines.length === 0 ? empty("No requests yet.")
    : build("div", { class: "panel" }, lines.slice().reverse().map(exchangeLine))));
  return { title: "Trace", parts: [list], content: [build("h1", null, "Trace"),
    build("p", { class: "under" }, "The last requests of gateways and what they were answered, newest first."),
    build("div", { class: "panel row end" }, field("Show only", filter), pause), list.place] };
}
