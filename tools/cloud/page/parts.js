// What views are made of: elements, texts, and what the server says.
//
// Everything that comes from a gateway enters the page as the text of a node or as an attribute's
// value, never as markup: build() is the only place that makes elements.

const kSvg = "http://www.w3.org/2000/svg";

// ---- building ------------------------------------------------------------------------------------

export function build(tag, attributes, ...children) {
  const isSvg = ["svg", "path"].includes(tag);
  const element = isSvg ? document.createElementNS(kSvg, tag) : document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value === null || value === undefined || value === false) continue;
    if (typeof value === "function") element.addEventListener(name, value);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

export const badge = (text, kind) => build("span", { class: "badge " + (kind || "") }, text);
export const empty = (text) => build("p", { class: "empty" }, text);

/** A table whose cells carry their heading, so that a wide one can become a list on a phone. */
export function table(caption, headings, rows, kind = "wide") {
  const cell = (content, i) => {
    const isNumber = content !== null && typeof content === "object" && content.number !== undefined;
    return build("td", { "data-label": headings[i], class: isNumber ? "number" : null },
      build("div", null, isNumber ? content.number : content));
  };
  return build("table", { class: kind, "aria-label": caption },
    build("thead", null, build("tr", null, headings.map((text) => build("th", { scope: "col" }, text)))),
    build("tbody", null, rows.map((row) => build("tr", null, row.map(cell)))));
}

/** Which part of a list is shown, with the ways to the parts beside it. */
export function pager(first, shown, total, what, earlier, later) {
  const step = (text, way) => build("button", { type: "button", class: "plain small", "data-key": text,
    disabled: way === null, click: way }, text);
  return build("nav", { class: "row pager", "aria-label": "Pages of " + what },
    build("span", { class: "small" }, `${what} ${first + 1} to ${first + shown} of ${total}`),
    step("Previous", earlier), step("Next", later));
}

export function field(label, input) {
  return build("label", null, label, input);
}

/** A field for a time of the gateway's clock. */
export function timeField(text) {
  return build("input", { type: "datetime-local", step: 1, required: true, value: text.replace(" ", "T") });
}

/** What is in it, with the seconds that browsers leave out when they are 0. */
export function timeText(input) {
  return (input.value.length === 16 ? input.value + ":00" : input.value).replace("T", " ");
}

// ---- texts ---------------------------------------------------------------------------------------

export function ago(utc) {
  if (!utc) return "never";
  const seconds = Math.max(0, Math.round((Date.now() - Date.parse(utc)) / 1000));
  if (seconds < 60) return seconds + " s ago";
  if (seconds < 3600) return Math.floor(seconds / 60) + " min ago";
  if (seconds < 172800) return Math.floor(seconds / 3600) + " h ago";
  return Math.floor(seconds / 86400) + " days ago";
}

export function contactKind(utc) {
  if (!utc) return "";
  const seconds = (Date.now() - Date.parse(utc)) / 1000;
  return seconds < 600 ? "good" : seconds < 86400 ? "warn" : "bad";
}

/** A time of the server in this browser's zone, spelt like the gateways' times. */
function hereText(utc) {
  const time = Date.parse(utc);
  return localText(time / 1000 - new Date(time).getTimezoneOffset() * 60);
}
export const moment = (utc) => build("time", { datetime: utc, title: utc }, hereText(utc));
export const clock = (utc) => hereText(utc).slice(11);
export const count = (number, what, more) => `${number} ${what}${number === 1 ? "" : "s"}${more ? " " + more : ""}`;
export const orDash = (text) => (text === null || text === "" ? "–" : text);
export const size = (bytes) => (bytes < 10000 ? bytes + " bytes"
  : bytes < 10e6 ? Math.round(bytes / 1000) + " kB" : Math.round(bytes / 1e6) + " MB");

/** "2024-03-05 07:08:09" as seconds on the gateway's own clock. */
export const localSeconds = (text) => Date.parse(text.replace(" ", "T") + "Z") / 1000;
export const localText = (seconds) => new Date(seconds * 1000).toISOString().slice(0, 19).replace("T", " ");

/** What gateways write for a point whose host has no value; the server leaves it out of trends. */
export const kNotReported = "-1.000";
const isReported = (value) => value !== null && value !== "" && value !== kNotReported;
/** A value with its unit. */
export const reading = (value, unit) => (isReported(value) ? [build("b", null, value), unit ? " " + unit : ""]
  : build("span", { class: "small" }, "no value"));

// ---- talking to the server -----------------------------------------------------------------------

async function request(path, options) {
  const answer = await fetch("api" + path, options);
  if (!answer.ok) {
    const text = await answer.text();
    let reason = text.trim();
    try { reason = JSON.parse(text).error || reason; } catch { /* no JSON */ }
    throw Object.assign(new Error(reason || answer.statusText), { status: answer.status });
  }
  return answer;
}

export async function api(path, options) {
  const answer = await request(path, options);
  return answer.status === 204 ? null : answer.json();
}

/** A part of a list, and how long the whole is. */
export async function listPart(path, parameters) {
  const answer = await request(path + "?" + new URLSearchParams(parameters));
  return { rows: await answer.json(), total: Number(answer.headers.get("X-Total-Count")) };
}

export const gatewayPath = (sn) => "/gateways/" + encodeURIComponent(sn);
export const gatewayLink = (sn, ...more) => "#/gateway/" + [sn, ...more].map(encodeURIComponent).join("/");
