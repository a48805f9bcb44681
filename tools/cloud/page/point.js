// The course of one or more points of a gateway over a range of time.

import { Chart, kMostPoints, kMostUnits, unitsOf } from "./chart.js";
import { gatewayFrame } from "./gateway.js";
import { redraw, refresh } from "./live.js";
import { api, build, empty, field, gatewayLink, gatewayPath, localSeconds, localText, orDash, reading, table, timeField,
  timeText } from "./parts.js";

const kRanges = { hour: ["Last hour", 3600], day: ["Last day", 86400], week: ["Last week", 604800] };
const kStretches = 1441;  // of a long range; of an hour every second is one
const kFreshMilliseconds = 30000;  // recalled samples change a course without a new last value
const kNewest = 20;
const kAxes = ["left", "right"];  // of the units in their order
const kFromTo = /^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d~\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$/;

const nameOf = (point) => point.name || point.dblink;
const pointsLink = (sn, dblinks, range) => gatewayLink(sn, "point", dblinks.join(","), range);

/** The times to show: those that were chosen, or so long before the newest sample. */
function limitsOf(range, points) {
  if (!Object.hasOwn(kRanges, range)) {
    const [from, to] = range.split("~");
    return { from, to };
  }
  const to = points.map((point) => point.time).filter((time) => time).sort().at(-1);
  return to === undefined ? {} : { from: localText(localSeconds(to) - kRanges[range][1]), to };
}

function trendsOf(sn, points, { from, to }) {
  const seconds = localSeconds(to) - localSeconds(from);
  return api(`${gatewayPath(sn)}/trends?${new URLSearchParams({
    points: points.map((point) => point.dblink).join(","), from, to,
    buckets: seconds <= 3600 ? 3601 : kStretches,
  })}`);
}

// ---- what stands around the chart ----------------------------------------------------------------

function rangeForm(sn, dblinks, range) {
  const [start, end] = Object.hasOwn(kRanges, range) ? ["", ""] : range.split("~");
  const from = timeField(start), to = timeField(end);
  const form = build("form", { class: "range", submit: (event) => {
    event.preventDefault();
    location.hash = pointsLink(sn, dblinks, [from, to].map(timeText).join("~"));
  } }, field("From", from), field("To", to), build("button", { class: "plain", "data-key": "show range" }, "Show"));
  return {
    form,
    /** What is shown stands in the fields until somebody writes there. */
    fill(limits) {
      if (form.dataset.filled || !limits.from) return;
      form.dataset.filled = "yes";
      from.value = limits.from.replace(" ", "T");
      to.value = limits.to.replace(" ", "T");
    },
  };
}

function rangeLinks(sn, dblinks, range) {
  return build("nav", { "aria-label": "Range of time" }, Object.entries(kRanges).map(([name, [text]]) =>
    build("a", { href: pointsLink(sn, dblinks, name), "data-key": "range " + name,
      "aria-current": name === range ? "page" : null }, text)));
}

function legendEntry(sn, dblinks, range, units, point, i) {
  const others = dblinks.filter((one) => one !== point.dblink);
  return build("li", null,
    build("span", { class: "swatch series-" + i }),
    build("div", null, build("b", null, nameOf(point)), build("div", { class: "small" },
      point.device_name ? point.device_name + ", " : "", `channel ${point.channel}, device ${point.device}, `,
      build("code", null, point.dblink), units.length > 1 ? `, ${kAxes[units.indexOf(point.unit)]} axis` : "")),
    build("div", { class: "latest" }, build("span", null, reading(point.value, point.unit)),
      build("div", { class: "small" }, orDash(point.time))),
    others.length === 0 ? null : build("a", { href: pointsLink(sn, others, range), class: "small",
      "aria-label": "Remove " + nameOf(point), "data-key": "remove " + point.dblink }, "Remove"));
}

/** The points that can be drawn beside those that are: at most two units have an axis. */
function adder(sn, dblinks, range, chosen, all) {
  if (chosen.length >= kMostPoints) return null;
  const units = unitsOf(chosen);
  const fits = all.filter((point) => !dblinks.includes(point.dblink) &&
    (units.includes(point.unit) || units.length < kMostUnits));
  if (fits.length === 0) return null;
  const text = (point) => nameOf(point) + (point.unit ? ` [${point.unit}]` : "") + " – " +
    (point.device_name || `channel ${point.channel}, device ${point.device}`);
  const select = build("select", { "data-key": "other point" },
    fits.map((point) => build("option", { value: point.dblink }, text(point))));
  return build("form", { class: "adder", submit: (event) => {
    event.preventDefault();
    location.hash = pointsLink(sn, [...dblinks, select.value], range);
  } }, field("Another point in this chart", select), build("button", { class: "plain", "data-key": "add point" }, "Add"));
}

/** Points with the names of their devices. */
async function pointsWithDevices(sn) {
  const [points, devices] = await Promise.all([api(gatewayPath(sn) + "/points"), api(gatewayPath(sn) + "/devices")]);
  const names = new Map(devices.map((device) => [device.channel * 256 + device.device, device.name]));
  return points.map((point) => ({ ...point, device_name: names.get(point.channel * 256 + point.device) || "" }));
}

function samplesTable(chosen, histories) {
  const times = new Map();
  histories.forEach((samples, i) => {
    for (const { time, value, again } of samples) {
      const key = `${time} ${again}`;
      if (!times.has(key)) times.set(key, { time, values: Array(chosen.length).fill(null) });
      times.get(key).values[i] = value;
    }
  });
  const rows = [...times].sort(([a], [b]) => (a < b ? 1 : -1)).slice(0, kNewest).map(([, row]) => row);
  return build("section", { class: "panel" },
    build("h2", null, "Newest samples"),
    rows.length === 0 ? empty("None in this range.") : table("Newest samples", ["Sampled", ...chosen.map(nameOf)],
      rows.map((row) => [{ number: row.time },
        ...row.values.map((value, i) => ({ number: value === null ? "" : reading(value, chosen[i].unit) }))]),
      chosen.length < 3 ? "narrow" : "wide"));
}

// ---- the view ------------------------------------------------------------------------------------

/** Fetches a course when it may be another one, and the finer part that is looked at. */
class Course {
  constructor(sn) {
    this.sn = sn;
    this.window = null;
    this.key = "";
    this.since = 0;
    this.chart = new Chart((window) => {
      this.window = window;
      clearTimeout(this.delay);
      this.delay = setTimeout(refresh, 200);
    });
  }

  close() {
    clearTimeout(this.delay);
    this.chart.close();
  }

  async refresh(points, limits) {
    const key = JSON.stringify([limits, this.window, points.map((point) => [point.time, point.received])]);
    if (key === this.key && Date.now() - this.since < kFreshMilliseconds) return;
    const [trends, fine] = await Promise.all([trendsOf(this.sn, points, limits), this.fine(points)]);
    this.key = key;
    this.since = Date.now();
    this.chart.draw(trends, fine);
  }

  fine(points) {
    if (this.window === null) return null;
    const [from, to] = this.window.map(localText);
    return trendsOf(this.sn, points, { from, to });
  }
}

/** Draws a place again when its data differ from the last ones. */
function drawer() {
  const drawn = new Map();
  return (place, data, content) => {
    const text = JSON.stringify(data);
    if (drawn.get(place) !== text) redraw(place, [content(data)].flat().filter((one) => one));
    drawn.set(place, text);
  };
}

const newestSamples = (sn, points, limits) => Promise.all(points.map((point) =>
  api(`${gatewayPath(sn)}/points/${encodeURIComponent(point.dblink)}/history?${
    new URLSearchParams({ ...limits, limit: kNewest })}`)));

/** What changes with the server's data: everything but the range and the way to choose it. */
function coursePart(sn, dblinks, range, places, form, course) {
  const draw = drawer();
  return {
    close() { course.close(); },
    async refresh() {
      const all = await pointsWithDevices(sn);
      const chosen = dblinks.map((one) => all.find((point) => point.dblink === one)).filter((one) => one);
      places.panel.hidden = places.newest.hidden = chosen.length === 0;
      draw(places.note, chosen.length, (length) => (length ? [] : empty("This point has sent nothing.")));
      const limits = limitsOf(range, chosen);
      if (!limits.from || chosen.length === 0) return;
      draw(places.legend, chosen, (points) => build("ul", { class: "legend" },
        points.map((point, i) => legendEntry(sn, dblinks, range, unitsOf(points), point, i))));
      draw(places.choice, all.map(({ time, value, received, ...lasting }) => lasting),
        (points) => adder(sn, dblinks, range, chosen, points));
      form.fill(limits);
      places.download.href = `api${gatewayPath(sn)}/samples.csv?${
        new URLSearchParams({ points: chosen.map((point) => point.dblink).join(","), ...limits })}`;
      const [samples] = await Promise.all([newestSamples(sn, chosen, limits), course.refresh(chosen, limits)]);
      draw(places.newest, samples, (histories) => samplesTable(chosen, histories));
    },
  };
}

export function pointView(sn, ids = "", wanted = "hour") {
  const range = Object.hasOwn(kRanges, wanted) || kFromTo.test(wanted) ? wanted : "hour";
  const dblinks = [...new Set(ids.split(","))].slice(0, kMostPoints);
  const form = rangeForm(sn, dblinks, range), course = new Course(sn);
  const places = {
    note: build("div"), legend: build("div"), choice: build("div", { class: "choice" }), newest: build("div"),
    download: build("a", { class: "button", download: true, "data-key": "export" }, "Export as CSV"),
  };
  places.panel = build("section", { class: "panel" }, places.legend,
    build("div", { class: "row between end" }, rangeLinks(sn, dblinks, range), form.form), course.chart.place,
    build("div", { class: "row between end" }, places.choice, places.download));
  const part = coursePart(sn, dblinks, range, places, form, course);
  return gatewayFrame(sn, "points", [places.note, places.panel, places.newest], [part], "point " + sn);
}
