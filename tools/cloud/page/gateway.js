// One gateway: its frame, its devices and what it tells about itself.

import { act, livePart, redraw } from "./live.js";
import { ago, api, badge, build, contactKind, empty, gatewayLink, gatewayPath, moment, orDash, reading, table } from "./parts.js";

const kTabs = [["points", "Devices"], ["alarms", "Alarms"], ["recalls", "Recalls"],
  ["files", "Files"], ["about", "About"]];

function headOf(gateway) {
  const kind = gateway.overdue ? "bad" : "";
  return [
    build("div", { class: "row between" },
      build("h1", null, gateway.name || gateway.sn),
      build("span", { class: "ago badge " + (kind || contactKind(gateway.last_contact)), "data-kind": kind,
        "data-utc": gateway.last_contact || "", "data-before": gateway.overdue ? "overdue, last contact " : "last contact " },
      "last contact " + ago(gateway.last_contact))),
    build("p", { class: "under" }, gateway.sn, gateway.site ? " · " + gateway.site : "",
      gateway.version ? " · version " + gateway.version.trim() : ""),
  ];
}

const unknownGateway = (sn) => [
  build("h1", null, "Unknown gateway"),
  build("div", { class: "panel" },
    build("p", null, "No gateway with the serial number ", build("b", null, sn), " has called, or it was forgotten."),
    build("p", { class: "small" }, "This page changes by itself as soon as it calls."),
    build("p", null, build("a", { href: "#/gateways" }, "All gateways"))),
];

/** A view of one gateway below its name and tabs. A gateway that nobody knows has neither. */
export function gatewayFrame(sn, current, content, parts, key) {
  const head = build("div", null, empty("loading"));
  const tabs = build("nav", { class: "tabs", "aria-label": "Gateway" }, kTabs.map(([name, text]) =>
    build("a", { href: gatewayLink(sn, name), "data-key": "tab " + name,
      "aria-current": name === current ? "page" : null }, text)));
  const known = [head, tabs, ...content];
  const place = build("div", null, known);
  let isKnown = true, last = null;
  const frame = {
    async refresh() {
      const gateway = await api(gatewayPath(sn)).catch((error) => {
        if (error.status === 404) return null;
        throw error;
      });
      if (isKnown !== (gateway !== null)) {
        isKnown = gateway !== null;
        redraw(place, isKnown ? known : unknownGateway(sn));
      }
      if (!isKnown) return;
      const text = JSON.stringify(gateway);
      if (text !== last) redraw(head, headOf(gateway));
      last = text;
      await Promise.all(parts.map((part) => part.refresh()));
    },
    close() { for (const part of parts) part.close?.(); },
  };
  return { title: sn, key, content: [place], parts: [frame] };
}

const isStatusPoint = (point) => point.dblink.slice(4) === "0100" && point.name === "Comm_Status";

function devicePanel(sn, device, points) {
  const status = points.find(isStatusPoint);
  const down = status && Number(status.value) < 0.1;
  const rows = points.filter((point) => !isStatusPoint(point)).map((point) => [
    build("a", { href: gatewayLink(sn, "point", point.dblink),
      "data-key": "point " + point.dblink }, point.name || point.dblink),
    { number: reading(point.value, point.unit) },
    { number: orDash(point.time) },
    build("code", { class: "small" }, point.dblink),
  ]);
  return build("section", { class: "panel" },
    build("div", { class: "row between" },
      build("h2", null, device.name || `Device ${device.device}`),
      build("div", { class: "row" },
        build("span", { class: "small" }, `channel ${device.channel}, device ${device.device}`),
        status ? build("a", { href: gatewayLink(sn, "point", status.dblink),
          "data-key": "status " + status.dblink },
        badge(down ? "line down" : "line up", down ? "bad" : "good")) : null)),
    device.description ? build("p", { class: "under" }, device.description) : null,
    rows.length === 0 ? empty(down ? "The line to this device is down." : "No values yet.")
      : table("Points of " + (device.name || "device " + device.device),
        ["Point", "Value", "Sampled", "Data id"], rows));
}

export function pointsView(sn) {
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

export function aboutView(sn) {
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
