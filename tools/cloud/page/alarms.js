// Alarms of one gateway or of all: those that last first, then all in pages.

import { gatewayFrame } from "./gateway.js";
import { livePart, refresh } from "./live.js";
import { badge, build, empty, gatewayLink, gatewayPath, listPart, pager, reading, table } from "./parts.js";

const kRows = 50;  // of a page

const deviceText = (alarm) => (alarm.device_name ? alarm.device_name + ", " : "") +
  `channel ${alarm.channel}, device ${alarm.device}`;

/** @param kind makes the keys of its links its own. */
export function alarmTable(caption, alarms, hasGateways, kind) {
  const headings = ["Time", "What", "Point", "Value", "Threshold", "Device", ...(hasGateways ? ["Gateway"] : [])];
  return table(caption, headings, alarms.map((alarm) => [
    { number: alarm.time },
    build("div", null, badge(alarm.active ? "active" : alarm.flag_text, alarm.active ? "bad" : ""),
      build("div", { class: "small" }, alarm.type_text)),
    build("a", { href: gatewayLink(alarm.sn, "point", alarm.dblink), "data-key": `${kind} alarm ${alarm.id}` },
      alarm.name || alarm.dblink),
    { number: reading(alarm.value, alarm.unit) },
    { number: `${alarm.threshold} ${alarm.unit}` },
    deviceText(alarm),
    ...(hasGateways ? [build("a", { href: gatewayLink(alarm.sn, "alarms"), "data-key": `${kind} gateway of ${alarm.id}` },
      alarm.gateway_name || alarm.sn)] : []),
  ]));
}

function activeAlarms(path, hasGateways) {
  return livePart(() => listPart(path, { state: "active", limit: kRows }), ({ rows, total }) =>
    build("section", { class: "panel" }, build("h2", null, "Active alarms"),
      rows.length === 0 ? empty("No alarm is active.") : alarmTable("Active alarms", rows, hasGateways, "active"),
      total > rows.length ? build("p", { class: "small" }, `The last ${rows.length} of ${total}.`) : null));
}

/** Pages go from id to id, so that new alarms move nothing. */
function allAlarms(path, hasGateways) {
  const befores = [];  // where the pages before this one ended
  const fetchPage = () => listPart(path, { limit: kRows, ...(befores.length ? { before: befores.at(-1) } : {}) });
  const back = () => { befores.pop(); refresh(); };
  return livePart(fetchPage, ({ rows, total }) => {
    const first = befores.length * kRows;
    const on = () => { befores.push(rows.at(-1).id); refresh(); };
    const pages = total <= kRows ? null : pager(first, rows.length, total, "Alarms",
      first > 0 ? back : null, rows.length === kRows && first + kRows < total ? on : null);
    return build("section", { class: "panel" }, build("h2", null, "All alarms"), pages,
      rows.length === 0 ? empty("No alarms.") : alarmTable("All alarms", rows, hasGateways, "any"));
  });
}

export function alarmsView(sn) {
  const path = gatewayPath(sn) + "/alarms";
  const parts = [activeAlarms(path, false), allAlarms(path, false)];
  return gatewayFrame(sn, "alarms", parts.map((part) => part.place), parts);
}

export function alarmsOfAllView() {
  const parts = [activeAlarms("/alarms", true), allAlarms("/alarms", true)];
  return { title: "Alarms", parts, content: [build("h1", null, "Alarms"), parts.map((part) => part.place)].flat() };
}
