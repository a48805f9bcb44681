// The frame of the page, and which view is in it.

import { alarmsOfAllView, alarmsView } from "./alarms.js";
import { faultsView } from "./faults.js";
import { filesView } from "./files.js";
import { aboutView, pointsView } from "./gateway.js";
import { gatewaysView } from "./gateways.js";
import { homeView } from "./home.js";
import { follow, show } from "./live.js";
import { api } from "./parts.js";
import { pointView } from "./point.js";
import { recallsView } from "./recalls.js";
import { traceView } from "./trace.js";

const kGatewayViews = { points: pointsView, point: pointView, alarms: alarmsView, recalls: recallsView,
  files: filesView, about: aboutView };
const kViews = { home: homeView, gateways: gatewaysView, alarms: alarmsOfAllView, trace: traceView,
  faults: faultsView };

/** A part of the address; what is no percent escape stays as it is. */
function decoded(text) {
  try { return decodeURIComponent(text); } catch { return text; }
}

function chooseView() {
  const [name, ...rest] = location.hash.replace(/^#\/?/, "").split("/").map(decoded);
  if (name === "gateway" && rest[0]) return { section: "gateways", ...(kGatewayViews[rest[1]] || pointsView)(rest[0], ...rest.slice(2)) };
  const section = Object.hasOwn(kViews, name) ? name : "home";
  return { section, ...kViews[section](...rest) };
}

const frame = { async refresh() {
  const [status, faults] = await Promise.all([api("/status"), api("/faults")]);
  const addresses = [status.http, status.https].filter((one) => one).map((one) => one + status.prefix);
  document.getElementById("addresses").textContent = `Gateways: ${addresses.join(" and ")} · version ${status.version}`;
  const count = document.getElementById("fault-count");
  count.hidden = faults.length === 0;
  count.textContent = faults.length;
  count.title = "faults are set";
} };

function open() {
  if (location.hash === "#main") return;
  const view = chooseView();
  for (const link of document.querySelectorAll("header nav a")) {
    if (link.getAttribute("href") === "#/" + view.section) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  show(view, [frame]);
}

window.addEventListener("hashchange", open);
open();
follow();
