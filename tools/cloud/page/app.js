"use strict";

// Everything that comes from a gateway enters the page as the text of a node or as an attribute's
// value, never as markup: build() is the only place that makes elements.

const kPollMilliseconds = 2000;
const kSvg = "http://www.w3.org/2000/svg";
const kTraceLines = 100;

// ---- building ------------------------------------------------------------------------------------

function build(tag, attributes, ...children) {
  const isSvg = ["svg", "path", "line", "circle", "text", "g"].includes(tag);
  const element = isSvg ? document.createElementNS(kSvg, tag) : document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value === null || value === undefined || value === false) continue;
    if (typeof value === "function") element.addEventListener(name, value);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

const badge = (text, kind) => build("span", { class: "badge " + (kind || "") }, text);
const empty = (text) => build("p", { class: "empty" }, text);

/** A table whose cells carry their heading, so that a wide one can become a list on a phone. */
function table(caption, headings, rows, kind = "wide") {
  const cell = (content, i) => {
    const isNumber = content !== null && typeof content === "object" && content.number !== undefined;
    return build("td", { "data-label": headings[i], class: isNumber ? "number" : null },
      build("div", null, isNumber ? content.number : content));
  };
  return build("table", { class: kind, "aria-label": caption },
    build("thead", null, build("tr", null, headings.map((text) => build("th", { scope: "col" }, text)))),
    build("tbody", null, rows.map((row) => build("tr", null, row.map(cell)))));
}

function field(label, input) {
  return build("label", null, label, input);
}

// ---- texts ---------------------------------------------------------------------------------------

function ago(utc) {
  if (!utc) return "never";
  const seconds = Math.max(0, Math.round((Date.now() - Date.parse(utc)) / 1000));
  if (seconds < 60) return seconds + " s ago";
  if (seconds < 3600) return Math.floor(seconds / 60) + " min ago";
  if (seconds < 172800) return Math.floor(seconds / 3600) + " h ago";
  return Math.floor(seconds / 86400) + " days ago";
}

function contactKind(utc) {
  if (!utc) return "";
  const seconds = (Date.now() - Date.parse(utc)) / 1000;
  return seconds < 600 ? "good" : seconds < 86400 ? "warn" : "bad";
}

/** A time of the server in this browser's zone, spelt like the gateways' times. */
function hereText(utc) {
  const time = Date.parse(utc);
  return localText(time / 1000 - new Date(time).getTimezoneOffset() * 60);
}
const moment = (utc) => build("time", { datetime: utc, title: utc }, hereText(utc));
const clock = (utc) => hereText(utc).slice(11);
const count = (number, what, more) => `${number} ${what}${number === 1 ? "" : "s"}${more ? " " + more : ""}`;
const orDash = (text) => (text === null || text === "" ? "–" : text);
const size = (bytes) => (bytes < 10000 ? bytes + " bytes"
  : bytes < 10e6 ? Math.round(bytes / 1000) + " kB" : Math.round(bytes / 1e6) + " MB");

/** "2024-03-05 07:08:09" as seconds on the gateway's own clock. */
const localSeconds = (text) => Date.parse(text.replace(" ", "T") + "Z") / 1000;
const localText = (seconds) => new Date(seconds * 1000).toISOString().slice(0, 19).replace("T", " ");

// ---- talking to the server -----------------------------------------------------------------------

async function api(path, options) {
  const answer = await fetch("api" + path, options);
  if (!answer.ok) {
    const text = await answer.text();
    let reason = text.trim();
    try { reason = JSON.parse(text).error || reason; } catch { /* no JSON */ }
    throw new Error(reason || answer.statusText);
  }
  return answer.status === 204 ? null : answer.json();
}

const gatewayPath = (sn) => "/gateways/" + encodeURIComponent(sn);

function say(text, kind) {
  const message = build("div", { class: "message " + (kind || "") }, text);
  document.getElementById("messages").append(message);
  setTimeout(() => message.remove(), kind === "bad" ? 9000 : 4000);
}

/** Does something, says how it went, and shows what is new. */
async function act(work, success) {
  try {
    const result = await work();
    say(typeof success === "function" ? success(result) : success);
    await refresh();
    return true;
  } catch (error) {
    say(error.message, "bad");
    return false;
  }
}

function button(text, label, work, success) {
  return build("button", {
    type: "button", class: "plain small", "aria-label": label, "data-key": label,
    click: () => act(work, success),
  }, text);
}

// ---- parts that are drawn again when their data change -------------------------------------------

/** Puts new content into a place; focus and opened details stay with what has the same key. */
function redraw(place, content) {
  const focused = document.activeElement && place.contains(document.activeElement)
    ? document.activeElement.closest("[data-key]") : null;
  const key = focused ? focused.dataset.key : null;
  const opened = new Set([...place.querySelectorAll("details[open]")].map((one) => one.dataset.key));
  place.replaceChildren(...[content].flat());
  for (const one of place.querySelectorAll("details")) one.open = opened.has(one.dataset.key);
  if (key !== null) {
    const again = [...place.querySelectorAll("[data-key]")].find((one) => one.dataset.key === key);
    if (again) again.focus({ preventScroll: true });
  }
}

/** A place that fetches its data and is drawn when they differ from the last ones. */
function livePart(fetchData, draw) {
  const place = build("div", null, empty("loading"));
  let last = null;
  return {
    place,
    forget() { last = null; },
    async refresh() {
      const data = await fetchData();
      const text = JSON.stringify(data);
      if (text !== last) {
        last = text;
        redraw(place, draw(data));
      }
    },
  };
}

// ---- gateways ------------------------------------------------------------------------------------

function gatewayCard(gateway) {
  const waiting = [
    gateway.recalls_waiting ? badge(count(gateway.recalls_waiting, "recall", "waiting"), "warn") : null,
    gateway.files_waiting ? badge(count(gateway.files_waiting, "file", "waiting"), "warn") : null,
  ];
  return build("a", {
    class: "panel card", href: "#/gateway/" + encodeURIComponent(gateway.sn) + "/points",
    "data-key": "gateway " + gateway.sn,
  },
  build("h2", null, gateway.name || gateway.sn),
  build("div", { class: "sn" }, gateway.sn, gateway.site ? " · " + gateway.site : ""),
  build("div", { class: "row" },
    build("span", { class: "ago badge " + contactKind(gateway.last_contact),
      "data-utc": gateway.last_contact || "" }, ago(gateway.last_contact)), waiting),
  build("ul", { class: "numbers" },
    [["device", gateway.devices], ["point", gateway.points], ["alarm", gateway.alarms]]
      .map(([name, number]) => build("li", null, count(number, name)))));
}

function gatewaysView() {
  const list = livePart(() => api("/gateways"), (gateways) => (gateways.length === 0
    ? build("div", { class: "panel" }, empty("No gateway has called yet."),
      build("p", { class: "small" }, "Gateways find this server at the addresses at the foot of the page."))
    : build("div", { class: "cards" }, gateways.map(gatewayCard))));
  return { title: "Gateways", content: [build("h1", null, "Gateways"), list.place], parts: [list] };
}

// ---- one gateway ---------------------------------------------------------------------------------

const kTabs = [["points", "Devices"], ["alarms", "Alarms"], ["recalls", "Recalls"],
  ["files", "Files"], ["about", "About"]];

function gatewayFrame(sn, current, content, parts) {
  const head = livePart(() => api(gatewayPath(sn)), (gateway) => [
    build("div", { class: "row between" },
      build("h1", null, gateway.name || gateway.sn),
      build("span", { class: "ago badge " + contactKind(gateway.last_contact),
        "data-utc": gateway.last_contact || "", "data-before": "last contact " },
      "last contact " + ago(gateway.last_contact))),
    build("p", { class: "under" }, gateway.sn, gateway.site ? " · " + gateway.site : "",
      gateway.version ? " · version " + gateway.version.trim() : ""),
  ]);
  const tabs = build("nav", { class: "tabs", "aria-label": "Gateway" }, kTabs.map(([name, text]) =>
    build("a", { href: `#/gateway/${encodeURIComponent(sn)}/${name}`,
      "aria-current": name === current ? "page" : null }, text)));
  return { title: sn, content: [head.place, tabs, ...content], parts: [head, ...parts] };
}

const isStatusPoint = (point) => point.dblink.slice(4) === "0100" && point.name === "Comm_Status";

function devicePanel(sn, device, points) {
  const status = points.find(isStatusPoint);
  const down = status && Number(status.value) < 0.1;
  const rows = points.filter((point) => !isStatusPoint(point)).map((point) => [
    build("a", { href: `#/gateway/${encodeURIComponent(sn)}/point/${point.dblink}`,
      "data-key": "point " + point.dblink }, point.name || point.dblink),
    { number: [build("b", null, orDash(point.value)), " " + point.unit] },
    { number: orDash(point.time) },
    build("code", { class: "small" }, point.dblink),
  ]);
  return build("section", { class: "panel" },
    build("div", { class: "row between" },
      build("h2", null, device.name || `Device ${device.device}`),
      build("div", { class: "row" },
        build("span", { class: "small" }, `channel ${device.channel}, device ${device.device}`),
        status ? build("a", { href: `#/gateway/${encodeURIComponent(sn)}/point/${status.dblink}`,
          "data-key": "status " + status.dblink },
        badge(down ? "line down" : "line up", down ? "bad" : "good")) : null)),
    device.description ? build("p", { class: "under" }, device.description) : null,
    rows.length === 0 ? empty(down ? "The line to this device is down." : "No values yet.")
      : table("Points of " + (device.name || "device " + device.device),
        ["Point", "Value", "Sampled", "Data id"], rows));
}

function pointsView(sn) {
  const list = livePart(
    () => Promise.all([api(gatewayPath(sn) + "/devices"), api(gatewayPath(sn) + "/points")]),
    ([devices, points]) => {
      const known = new Map(devices.map((device) => [device.channel * 256 + device.device, device]));
      for (const point of points) {
        const key = point.channel * 256 + point.device;
        if (!known.has(key)) known.set(key, { channel: point.channel, device: point.device, name: "", description: "" });
      }
      const keys = [...known.keys()].sort((a, b) => a - b);
      return keys.length === 0 ? empty("No devices and no data yet.") : keys.map((key) =>
        devicePanel(sn, known.get(key), points.filter((point) => point.channel * 256 + point.device === key)));
    });
  return gatewayFrame(sn, "points", [list.place], [list]);
}

function aboutView(sn) {
  const names = [["sn", "Serial number"], ["name", "Name"], ["version", "Version"], ["site", "Station"],
    ["longitude", "Longitude"], ["latitude", "Latitude"], ["owner", "Owner"],
    ["owner_description", "About the owner"], ["room", "Room"], ["room_description", "About the room"],
    ["camera", "Camera"], ["address", "Address"], ["scheme", "Scheme"], ["last_exchange", "Last exchange"]];
  const about = livePart(() => api(gatewayPath(sn)), (gateway) => build("div", { class: "panel" },
    table("About the gateway", ["What", "Value"], names.map(([key, text]) => [text, orDash(gateway[key])])
      .concat([["Registered", gateway.registered ? moment(gateway.registered) : "not yet"]]))));
  const forget = build("div", { class: "panel row between" },
    build("span", null, "Forget this gateway and everything it has sent."),
    build("button", { type: "button", class: "plain", click: () => {
      if (confirm("Forget " + sn + " and all its data?")) {
        act(() => api(gatewayPath(sn), { method: "DELETE" }), "Forgotten.").then(() => { location.hash = "#/gateways"; });
      }
    } }, "Forget"));
  return gatewayFrame(sn, "about", [about.place, forget], [about]);
}

// ---- a point's course ----------------------------------------------------------------------------

const kHeight = 300, kLeft = 64, kRight = 10, kTop = 12, kBottom = 28;

/** As wide as it is shown, so that its texts keep their size on every screen. */
const plotWidth = () => Math.min(1136, Math.max(260, document.getElementById("main").clientWidth - 72));

function niceStep(span, steps) {
  const raw = span / steps, power = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 5, 10].map((one) => one * power).find((one) => one >= raw);
}

function axis(lowest, highest) {
  if (lowest === highest) { lowest -= Math.abs(lowest) * 0.05 || 1; highest += Math.abs(highest) * 0.05 || 1; }
  const step = niceStep(highest - lowest, 5);
  const first = Math.floor(lowest / step) * step, marks = [];
  for (let mark = first; mark < highest + step; mark += step) marks.push(Number(mark.toPrecision(12)));
  return marks;
}

const markText = (mark) => (Math.abs(mark) >= 1e7 || (mark !== 0 && Math.abs(mark) < 1e-3)
  ? mark.toExponential(1) : String(mark));

function plot(samples, unit, name) {
  const values = samples.map((sample) => ({ time: localSeconds(sample.time), value: Number(sample.value), text: sample }))
    .filter((sample) => Number.isFinite(sample.value));
  if (values.length === 0) return empty("No numbers to draw.");
  const width = plotWidth();
  const lowest = Math.min(...values.map((one) => one.value)), highest = Math.max(...values.map((one) => one.value));
  const marks = axis(lowest, highest), bottom = marks[0], top = marks[marks.length - 1];
  const start = values[0].time, end = Math.max(values[values.length - 1].time, start + 1);
  const x = (time) => kLeft + (time - start) / (end - start) * (width - kLeft - kRight);
  const y = (value) => kHeight - kBottom - (value - bottom) / (top - bottom) * (kHeight - kTop - kBottom);

  const cursor = build("line", { class: "cursor", y1: kTop, y2: kHeight - kBottom, visibility: "hidden" });
  const dot = build("circle", { class: "dot", r: 5, visibility: "hidden" });
  const reading = build("p", { class: "reading", "aria-live": "polite" });
  let at = values.length - 1;
  const show = (index) => {
    at = Math.min(values.length - 1, Math.max(0, index));
    const one = values[at];
    cursor.setAttribute("x1", x(one.time)); cursor.setAttribute("x2", x(one.time));
    dot.setAttribute("cx", x(one.time)); dot.setAttribute("cy", y(one.value));
    cursor.removeAttribute("visibility"); dot.removeAttribute("visibility");
    reading.textContent = `${one.text.time}   ${one.text.value} ${unit}`;
  };
  const nearest = (event) => {
    const box = svg.getBoundingClientRect();
    const time = start + ((event.clientX - box.left) / box.width * width - kLeft) / (width - kLeft - kRight) * (end - start);
    let best = 0;
    values.forEach((one, i) => { if (Math.abs(one.time - time) < Math.abs(values[best].time - time)) best = i; });
    show(best);
  };
  const keys = { ArrowLeft: () => at - 1, ArrowRight: () => at + 1, Home: () => 0, End: () => values.length - 1 };
  const svg = build("svg", {
    class: "plot", viewBox: `0 0 ${width} ${kHeight}`, role: "img", tabindex: 0, "data-key": "plot",
    "aria-label": `Course of ${name}: ${values.length} samples from ${values[0].text.time} to ` +
      `${values[values.length - 1].text.time}, lowest ${lowest}, highest ${highest} ${unit}. Arrow keys read single samples.`,
    pointermove: nearest, pointerdown: nearest,
    keydown: (event) => { if (keys[event.key]) { event.preventDefault(); show(keys[event.key]()); } },
  });
  for (const mark of marks) {
    svg.append(build("line", { class: "grid", x1: kLeft, x2: width - kRight, y1: y(mark), y2: y(mark) }),
      build("text", { x: kLeft - 8, y: y(mark) + 4, "text-anchor": "end" }, markText(mark)));
  }
  const sameDay = values[0].text.time.slice(0, 10) === values[values.length - 1].text.time.slice(0, 10);
  const labels = [["start", start], ...(width > 560 ? [["middle", (start + end) / 2]] : []), ["end", end]]
    .slice(0, values.length === 1 ? 1 : 3);
  for (const [anchor, time] of labels) {
    const text = localText(time);
    svg.append(build("text", { x: x(time), y: kHeight - 8, "text-anchor": anchor },
      sameDay && anchor !== "start" ? text.slice(11) : text));
  }
  svg.append(build("path", { class: "course", d: values.map((one, i) =>
    `${i === 0 ? "M" : "L"}${x(one.time).toFixed(1)} ${y(one.value).toFixed(1)}`).join("") }));
  if (values.length < 60) {
    for (const one of values) svg.append(build("circle", { class: "dot", r: 2.5, cx: x(one.time), cy: y(one.value) }));
  }
  svg.append(cursor, dot);
  return [svg, reading];
}

function pointView(sn, dblink) {
  const course = livePart(
    () => Promise.all([api(gatewayPath(sn) + "/points"),
      api(`${gatewayPath(sn)}/points/${encodeURIComponent(dblink)}/history?limit=1000`)]),
    ([points, samples]) => {
      const point = points.find((one) => one.dblink === dblink);
      if (!point) return empty("This point has sent nothing.");
      return [
        build("section", { class: "panel" },
          build("div", { class: "row between" },
            build("h2", null, point.name || dblink),
            build("span", { class: "small" }, `channel ${point.channel}, device ${point.device}, `, build("code", null, dblink))),
          build("p", { class: "big" }, orDash(point.value), " ", point.unit),
          build("p", { class: "under" }, point.time ? "sampled " + point.time : ""),
          plot(samples, point.unit, point.name)),
        build("section", { class: "panel" },
          build("h2", null, "Newest samples"),
          table("Newest samples", ["Sampled", "Value"], samples.slice(-20).reverse().map((sample) =>
            [{ number: sample.time }, { number: [build("b", null, sample.value), " " + point.unit] }]), "narrow")),
      ];
    });
  return gatewayFrame(sn, "points", [course.place], [course]);
}

// ---- alarms, recalls, files ----------------------------------------------------------------------

function alarmsView(sn) {
  const list = livePart(() => api(gatewayPath(sn) + "/alarms?limit=200"), (alarms) => (alarms.length === 0
    ? empty("No alarms.")
    : build("div", { class: "panel" }, table("Alarms", ["Time", "Point", "Value", "Threshold", "Device", "Type, flag"],
      alarms.map((alarm) => [
        { number: alarm.time },
        build("a", { href: `#/gateway/${encodeURIComponent(sn)}/point/${alarm.dblink}`, "data-key": "alarm " + alarm.id },
          alarm.name || alarm.dblink),
        { number: build("b", null, alarm.value + " " + alarm.unit) },
        { number: alarm.threshold + " " + alarm.unit },
        `channel ${alarm.channel}, device ${alarm.device}`,
        `${alarm.type}, ${alarm.flag}`])))));
  return gatewayFrame(sn, "alarms", [list.place], [list]);
}

const kRecallStates = { waiting: ["waits for the gateway", "warn"], fetched: ["fetched by the gateway", "warn"], served: ["served", "good"] };

function recallsView(sn) {
  const now = Date.now() / 1000 - new Date().getTimezoneOffset() * 60;
  const from = build("input", { type: "datetime-local", step: 1, required: true, value: localText(now - 3600).replace(" ", "T") });
  const to = build("input", { type: "datetime-local", step: 1, required: true, value: localText(now).replace(" ", "T") });
  const whole = (input) => (input.value.length === 16 ? input.value + ":00" : input.value).replace("T", " ");
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    act(() => api(gatewayPath(sn) + "/recalls", {
      method: "POST", body: JSON.stringify({ start: whole(from), end: whole(to) }) }), "Recall queued.");
  } },
  field("From", from), field("To", to), build("button", null, "Ask for this range"),
  build("p", { class: "hint" }, "In the gateway's local time. The gateway sends the range again when it next asks for recalls."));
  const list = livePart(() => api(gatewayPath(sn) + "/recalls"), (recalls) => (recalls.length === 0
    ? empty("Nothing was recalled yet.")
    : build("div", { class: "panel" }, table("Recalls", ["From", "To", "State", "Asked", ""], recalls.map((recall) => [
      { number: recall.start }, { number: recall.end },
      build("span", null, badge(...kRecallStates[recall.state]),
        recall.finished ? build("div", { class: "small" }, moment(recall.finished)) : ""),
      moment(recall.asked),
      recall.finished ? "" : button("Cancel", `Cancel the recall from ${recall.start} to ${recall.end}`,
        () => api(`${gatewayPath(sn)}/recalls/${recall.id}`, { method: "DELETE" }), "Recall cancelled.")])))));
  return gatewayFrame(sn, "recalls", [form, list.place], [list]);
}

const kFileStates = { offered: ["offered", "warn"], begun: ["download begun", "warn"], done: ["done", "good"],
  damaged: ["arrived damaged", "bad"], withdrawn: ["withdrawn", ""] };
const kFileTypes = { 0: "update package", 1: "configuration file", 9: "plain file" };

function filesView(sn) {
  const file = build("input", { type: "file", required: true });
  const name = build("input", { required: true, maxlength: 48, pattern: "[A-Za-z0-9][A-Za-z0-9._+\\-]*", autocomplete: "off" });
  const path = build("input", { pattern: "/[A-Za-z0-9._+\\-\\/]*", placeholder: "/opt/data", autocomplete: "off" });
  const pathField = field("Directory on the gateway", path);
  const type = build("select", null, Object.entries(kFileTypes).map(([number, text]) => build("option", { value: number }, text)));
  const showPath = () => { pathField.hidden = type.value !== "9"; path.required = type.value === "9"; };
  type.addEventListener("change", showPath);
  showPath();
  file.addEventListener("change", () => {
    if (file.files.length > 0) name.value = file.files[0].name.replace(/[^A-Za-z0-9._+-]/g, "_").replace(/^[^A-Za-z0-9]+/, "").slice(-48);
  });
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    const query = new URLSearchParams({ name: name.value, type: type.value });
    if (type.value === "9") query.set("path", path.value);
    act(() => api(`${gatewayPath(sn)}/files?${query}`, {
      method: "POST", headers: { "Content-Type": "application/octet-stream" }, body: file.files[0] }), "File offered.")
      .then((good) => { if (good) form.reset(); showPath(); });
  } },
  field("File", file), field("Name", name), field("Type", type), pathField, build("button", null, "Offer"),
  build("p", { class: "hint" }, "The gateway learns of it with its next real data and reports when it has it."));
  const list = livePart(() => api(gatewayPath(sn) + "/files"), (files) => (files.length === 0
    ? empty("No files were offered yet.")
    : build("div", { class: "panel" }, table("Files", ["Name", "State", "Type", "Size", "Offered", ""], files.map((one) => [
      build("div", null, one.name, build("div", { class: "small" }, one.path, " ", build("code", null, one.md5))),
      build("span", null, badge(...kFileStates[one.state]),
        one.finished ? build("div", { class: "small" }, moment(one.finished)) : ""),
      kFileTypes[one.type] || "type " + one.type,
      size(one.size), moment(one.offered),
      one.finished ? "" : button("Withdraw", "Withdraw the file " + one.name,
        () => api(`${gatewayPath(sn)}/files/${one.id}`, { method: "DELETE" }), "File withdrawn.")])))));
  return gatewayFrame(sn, "files", [form, list.place], [list]);
}

// ---- trace ---------------------------------------------------------------------------------------

const statusKind = (status) => (status === 0 || status >= 500 ? "bad" : status >= 400 && status !== 426 ? "warn" : "good");

function exchangeLine(entry) {
  const block = (title, text) => (text ? [build("h3", null, title), build("pre", null, text)] : []);
  return build("details", { class: "exchange", "data-key": "exchange " + entry.id },
    build("summary", { "data-key": "summary " + entry.id },
      build("span", { class: "small" }, clock(entry.time)),
      badge(entry.status || "no answer", statusKind(entry.status)),
      build("span", { class: "target" }, build("b", null, entry.method || "?"), " ", entry.target || entry.scheme),
      entry.fault ? badge(entry.fault, "bad") : null,
      build("span", { class: "note" }, entry.note)),
    build("p", { class: "small" }, `${entry.scheme} from ${entry.address}, ${entry.request_bytes} bytes in the body, ` +
      `${entry.answer_bytes} bytes answered after ${entry.milliseconds} ms`),
    block("Request head", entry.request_headers), block("Request body", entry.request_body),
    block("Answer", entry.answer_body));
}

function traceView() {
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

// ---- faults --------------------------------------------------------------------------------------

function faultsView() {
  const exchange = build("select", { required: true }), kind = build("select", { required: true });
  const value = build("input", { type: "number" }), count = build("input", { type: "number", min: 1, placeholder: "until cleared" });
  const valueName = document.createTextNode("Value"), meaning = build("p", { class: "hint" });
  const valueField = build("label", null, valueName, value);
  let menu = { exchanges: [], kinds: [] };
  const fit = () => {
    const chosen = menu.kinds.find((one) => one.name === kind.value);
    if (!chosen) return;
    meaning.textContent = `The server ${chosen.meaning}.`;
    valueField.hidden = !chosen.value;
    valueName.textContent = chosen.value || "";
    for (const [name, number] of [["min", chosen.lowest], ["max", chosen.highest]]) value.setAttribute(name, number ?? "");
    value.value = chosen.usual ?? "";
    const isTls = chosen.name.startsWith("tls-");
    for (const option of exchange.options) option.disabled = (option.value === "connection") !== isTls;
    if (exchange.selectedOptions[0]?.disabled !== false) exchange.value = isTls ? "connection" : "any";
  };
  kind.addEventListener("change", fit);
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    const body = { exchange: exchange.value, kind: kind.value };
    if (!valueField.hidden && value.value !== "") body.value = Number(value.value);
    if (count.value !== "") body.count = Number(count.value);
    act(() => api("/faults", { method: "POST", body: JSON.stringify(body) }), "Fault set.");
  } },
  field("Fault", kind), field("Exchange", exchange), valueField, field("How often", count),
  build("button", null, "Set"), meaning);
  const options = livePart(() => api("/fault-kinds"), (data) => {
    menu = data;
    kind.replaceChildren(...menu.kinds.map((one) => build("option", { value: one.name }, one.name)));
    exchange.replaceChildren(...menu.exchanges.map((one) => build("option", { value: one }, one)));
    fit();
    return [];
  });
  const list = livePart(() => api("/faults"), (faults) => (faults.length === 0
    ? empty("No faults are set: the server behaves.")
    : build("div", { class: "panel" },
      table("Faults that are set", ["Fault", "Exchange", "Value", "Left", "Happened", ""], faults.map((fault) => [
        build("b", null, fault.kind), fault.exchange, fault.value ?? "", fault.left ?? "no end", fault.happened,
        button("Clear", `Clear the fault ${fault.kind} for ${fault.exchange}`,
          () => api("/faults/" + fault.id, { method: "DELETE" }), "Fault cleared.")])),
      build("br"),
      build("button", { type: "button", class: "plain", "data-key": "clear all",
        click: () => act(() => api("/faults", { method: "DELETE" }), "All faults cleared.") }, "Clear all"))));
  return { title: "Faults", parts: [options, list], content: [build("h1", null, "Faults"),
    build("p", { class: "under" }, "What the server does wrong on demand. The first fault that fits a request happens."),
    form, options.place, list.place] };
}

// ---- the frame -----------------------------------------------------------------------------------

const kGatewayViews = { points: pointsView, alarms: alarmsView, recalls: recallsView, files: filesView, about: aboutView };

function chooseView() {
  const [name, sn, part, id] = location.hash.replace(/^#\/?/, "").split("/").map(decodeURIComponent);
  if (name === "trace") return traceView();
  if (name === "faults") return faultsView();
  if (name === "gateway" && sn && part === "point" && id) return pointView(sn, id);
  if (name === "gateway" && sn) return (kGatewayViews[part] || pointsView)(sn);
  return gatewaysView();
}

let view = null;

function open() {
  if (location.hash === "#main") return;
  const first = view === null;
  view = chooseView();
  document.title = view.title + " · corvenna-cloud";
  const main = document.getElementById("main");
  main.replaceChildren(...view.content);
  const section = location.hash.startsWith("#/trace") ? "#/trace" : location.hash.startsWith("#/faults") ? "#/faults" : "#/gateways";
  for (const link of document.querySelectorAll("header nav a")) {
    if (link.getAttribute("href") === section) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  if (!first) main.focus({ preventScroll: true });
  window.scrollTo(0, 0);
  refresh();
}

function showLive(text, kind) {
  const live = document.getElementById("live");
  if (live.textContent !== text) live.textContent = text;
  live.className = "live " + kind;
}

async function refreshFrame() {
  const [status, faults] = await Promise.all([api("/status"), api("/faults")]);
  const addresses = [status.http, status.https].filter((one) => one).map((one) => one + status.prefix);
  document.getElementById("addresses").textContent = `Gateways: ${addresses.join(" and ")} · version ${status.version}`;
  const count = document.getElementById("fault-count");
  count.hidden = faults.length === 0;
  count.textContent = faults.length;
  count.title = "faults are set";
}

async function refreshOnce() {
  const shown = view;
  try {
    await Promise.all([refreshFrame(), ...shown.parts.map((part) => part.refresh())]);
    showLive("live", "good");
  } catch (error) {
    showLive(error instanceof TypeError ? "server not reached" : error.message, "bad");
  }
  for (const one of document.querySelectorAll(".ago")) {
    const utc = one.dataset.utc;
    one.textContent = (one.dataset.before || "") + ago(utc);
    one.className = "ago badge " + contactKind(utc);
  }
  document.body.dataset.refreshed = String(Number(document.body.dataset.refreshed || 0) + 1);
}

let refreshing = Promise.resolve();

/** One at a time, so that an old answer never follows a newer one. */
function refresh() {
  refreshing = refreshing.then(refreshOnce);
  return refreshing;
}

let waiting = false;

async function poll() {
  if (document.hidden || waiting) return;
  waiting = true;
  await refresh();
  waiting = false;
}

window.addEventListener("hashchange", open);
window.addEventListener("resize", () => { view.parts.forEach((part) => part.forget()); refresh(); });
open();
setInterval(poll, kPollMilliseconds);
