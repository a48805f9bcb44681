// How things stand: what needs a look, and what came last.

import { alarmTable } from "./alarms.js";
import { sparkline } from "./chart.js";
import { livePart } from "./live.js";
import { ago, api, build, contactKind, empty, gatewayLink, reading, table } from "./parts.js";

const since = (utc, kind) => build("span", { class: "ago badge " + (kind || contactKind(utc)),
  "data-kind": kind || "", "data-utc": utc || "" }, ago(utc));

function figure(number, text, href, kind) {
  return build("a", { class: "panel card figure " + kind, href, "data-key": "figure " + text },
    build("b", null, number), " ", text);
}

function figures(overview) {
  return build("div", { class: "cards figures" },
    figure(overview.gateways, overview.gateways === 1 ? "gateway" : "gateways", "#/gateways", ""),
    figure(overview.overdue, "overdue", "#/gateways/overdue", overview.overdue ? "bad" : "good"),
    figure(overview.active_alarms, overview.active_alarms === 1 ? "active alarm" : "active alarms", "#/alarms",
      overview.active_alarms ? "bad" : "good"));
}

function section(title, content, shown, total, href) {
  return build("section", { class: "panel" }, build("h2", null, title), content,
    total > shown ? build("p", null, build("a", { href, "data-key": "all " + title }, `All ${total}`)) : null);
}

function overdueTable(gateways) {
  return table("Overdue gateways", ["Gateway", "Serial number", "Last contact"], gateways.map((gateway) => [
    build("a", { href: gatewayLink(gateway.sn, "points"), "data-key": "overdue " + gateway.sn }, gateway.name || gateway.sn),
    gateway.sn, since(gateway.last_contact, "bad")]));
}

function recentPoint(sn, point) {
  const last = point.samples.at(-1);
  return build("li", null,
    build("a", { href: gatewayLink(sn, "point", point.dblink), "data-key": `recent ${sn} ${point.dblink}` },
      point.name || point.dblink),
    sparkline(point.samples, point.name || point.dblink),
    build("span", { class: "value" }, last ? reading(last.value, point.unit) : ""));
}

function recentCard(gateway) {
  return build("section", { class: "panel" },
    build("div", { class: "row between" },
      build("h3", null, build("a", { href: gatewayLink(gateway.sn, "points"), "data-key": "recent " + gateway.sn },
        gateway.name || gateway.sn)),
      since(gateway.last_contact)),
    build("ul", { class: "recent" }, gateway.points.map((point) => recentPoint(gateway.sn, point))));
}

export function homeView() {
  const overview = livePart(async () => {
    const { now, ...rest } = await api("/overview");
    return rest;
  }, (data) => [
    figures(data),
    data.alarms.length ? section("Active alarms", alarmTable("Active alarms", data.alarms, true, "home"),
      data.alarms.length, data.active_alarms, "#/alarms") : null,
    data.overdue_gateways.length ? section("Overdue gateways", overdueTable(data.overdue_gateways),
      data.overdue_gateways.length, data.overdue, "#/gateways/overdue") : null,
    build("h2", null, "Heard last"),
    data.recent.length ? build("div", { class: "cards" }, data.recent.map(recentCard))
      : build("div", { class: "panel" }, empty("No values have come yet.")),
  ].filter((one) => one));
  return { title: "Home", parts: [overview], content: [build("h1", null, "How things stand"), overview.place] };
}
