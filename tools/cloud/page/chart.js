// Courses over time, drawn by Dygraph, and the small lines of the home page.

import { build, kNotReported, localSeconds, localText } from "./parts.js";

/* global Dygraph */

const kSeries = 8;  // colours in style.css
const kDashes = [null, null, null, null, [7, 3], [7, 3], [7, 3], [7, 3]];
export const kMostPoints = kSeries;
export const kMostUnits = 2;  // an axis on either side

// The library's legend and titles set styles and markup; the page's rules let no markup do that,
// and texts of gateways must never be markup. Its handles are images of a kind that is not let in.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((one) => ![Dygraph.Plugins.Legend, Dygraph.Plugins.ChartLabels,
  Dygraph.Plugins.Annotations].includes(one));
Dygraph.Plugins.RangeSelector.prototype.createZoomHandles_ = function createZoomHandles() {
  const handle = () => build("canvas", { class: "zoom-handle", width: 13, height: 24, draggable: "true" });
  this.leftZoomHandle_ = handle();
  this.rightZoomHandle_ = handle();
};

export const unitsOf = (points) => [...new Set(points.map((point) => point.unit))];

/** A number as gateways spell it, as far as that makes sense. */
function numberText(value) {
  const amount = Math.abs(value);
  return amount !== 0 && (amount >= 1e15 || amount < 0.001) ? String(value) : value.toFixed(3);
}

const limitsOf = (buckets) => [buckets.reduce((least, one) => Math.min(least, one[0]), Infinity),
  buckets.reduce((most, one) => Math.max(most, one[1]), -Infinity)];

/** How many digits tell neighbours at an axis apart, 17 at most. */
function digitsOf(lowest, highest) {
  const amount = Math.max(Math.abs(lowest), Math.abs(highest)), span = Math.max(highest - lowest, Number.MIN_VALUE);
  return amount === 0 ? 3 : Math.min(17, Math.max(3, Math.ceil(Math.log10(amount) - Math.log10(span)) + 2));
}

/** The numbers of an axis: as short as they can be told apart. */
function axisOptions(points) {
  const buckets = points.flatMap((point) => point.buckets.filter((one) => one !== null));
  const digits = digitsOf(...limitsOf(buckets));
  return {
    axisLabelWidth: digits > 6 ? 150 : 58,
    axisLabelFormatter(value) {
      const short = Number(value.toPrecision(digits));
      const amount = Math.abs(short);
      return digits <= 6 && amount !== 0 && (amount >= 1e6 || amount < 1e-3)
        ? short.toExponential().replace("e+", "e") : String(short);
    },
  };
}

/** Something that is on or off. */
const isSwitch = (buckets) => buckets.some((one) => one !== null) &&
  buckets.every((one) => one === null || (one[0] === 0 || one[0] === 1) && (one[1] === 0 || one[1] === 1));

const median = (numbers) => numbers.slice().sort((a, b) => a - b)[Math.floor(numbers.length / 2)];

/**
 * How many stretches may be without a sample before the course is broken: a slow gateway leaves
 * many of them empty, a fast one none.
 */
function usualDistance(buckets) {
  const places = buckets.flatMap((one, i) => (one === null ? [] : [i]));
  if (places.length < 3) return Infinity;
  const distance = median(places.slice(1).map((place, i) => place - places[i]));
  const samples = median(places.map((place) => buckets[place][3]));
  return 1.5 * distance / samples + 1;
}

/** Places at which the course is broken, right behind its last sample. */
function gapsOf(buckets) {
  const most = usualDistance(buckets), gaps = new Set();
  let last = null;
  buckets.forEach((one, i) => {
    if (one === null) return;
    if (last !== null && i - last > most) gaps.add(last + 1);
    last = i;
  });
  return gaps;
}

const kNothing = null, kBreak = [NaN, NaN, NaN];  // lines go on behind nothing and end at a break

/** Trends as the library's rows, each with what is known of it. */
function rowsOf(trends) {
  const start = localSeconds(trends.from), end = localSeconds(trends.to);
  const series = trends.points.map((point) => ({ ...point, gaps: gapsOf(point.buckets), isSwitch: isSwitch(point.buckets) }));
  const rows = [];
  const length = Math.max(0, ...series.map((one) => one.buckets.length));
  for (let i = 0; i < length; i += 1) {
    const cells = series.map((one) => {
      const bucket = one.buckets[i];
      if (bucket === null) return one.gaps.has(i) ? kBreak : kNothing;
      const [lowest, highest, mean] = bucket;
      return [lowest, one.isSwitch ? Math.round(mean) : mean, highest];
    });
    if (cells.some((cell) => cell !== kNothing)) {
      const from = start + i * trends.seconds, to = Math.min(from + trends.seconds - 1, end);
      rows.push({ time: Math.floor((from + to) / 2), from, to, cells, buckets: series.map((one) => one.buckets[i]) });
    }
  }
  return rows;
}

/** Rows of the whole range with finer ones in their place. */
function merged(rows, fine) {
  if (!fine) return rows;
  const from = localSeconds(fine.from), to = localSeconds(fine.to);
  return [...rows.filter((row) => row.time < from), ...rowsOf(fine), ...rows.filter((row) => row.time > to)];
}

function bucketText(bucket, unit) {
  const [lowest, highest, mean, samples] = bucket;
  const behind = unit ? " " + unit : "";
  return lowest === highest ? numberText(mean) + behind
    : `${numberText(mean)}${behind} (mean of ${samples}, ${numberText(lowest)} to ${numberText(highest)})`;
}

const stretchText = ({ from, to }) => localText(from) + (to > from ? " to " + localText(to).slice(11) : "");

const style = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function colours(number) {
  return {
    colors: Array.from({ length: number }, (_, i) => style("--series-" + i)),
    gridLineColor: style("--line"), axisLineColor: style("--line"),
    rangeSelectorPlotStrokeColor: style("--soft"), rangeSelectorPlotFillColor: style("--soft"),
    rangeSelectorPlotFillGradientColor: style("--panel"),
    rangeSelectorBackgroundStrokeColor: style("--line"), rangeSelectorForegroundStrokeColor: style("--accent"),
  };
}

function seriesOptions(points) {
  const units = unitsOf(points);
  return Object.fromEntries(points.map((point, i) => ["s" + i, {
    axis: units.indexOf(point.unit) === 1 ? "y2" : "y",
    stepPlot: isSwitch(point.buckets), strokePattern: kDashes[i],
  }]));
}

function axesOf(points) {
  const [left, right = left] = unitsOf(points);
  const of = (unit) => axisOptions(points.filter((point) => point.unit === unit));
  return { x: { pixelsPerLabel: 80 }, y: of(left), y2: { ...of(right), independentTicks: true } };
}

/** A press and drag zooms, two presses show all again; touch scrolls the page and reads values. */
const kMouse = Object.fromEntries(Object.entries(Dygraph.defaultInteractionModel)
  .filter(([name]) => !name.startsWith("touch")));

const kScheme = matchMedia("(prefers-color-scheme: dark)");

/** A chart of up to kMostPoints points. onWindow hears which seconds are looked at. */
export class Chart {
  constructor(onWindow) {
    this.onWindow = onWindow;
    this.canvas = build("div", { class: "canvas" });
    this.plot = build("div", { class: "plot", role: "img", tabindex: 0, "data-key": "plot",
      keydown: (event) => this.pressed(event) }, this.canvas);
    this.reading = build("p", { class: "reading", "aria-live": "polite" });
    this.nothing = build("p", { class: "empty", hidden: true }, "No numbers to draw in this range.");
    this.place = build("div", null, this.plot, this.nothing, this.reading, this.tools());
    this.dygraph = null;
    this.selected = null;
    this.recolour = () => this.dygraph?.updateOptions(colours(this.trends.points.length));
    kScheme.addEventListener("change", this.recolour);
  }

  close() {
    kScheme.removeEventListener("change", this.recolour);
    this.dygraph?.destroy();
    this.dygraph = null;
  }

  tools() {
    const tool = (text, label, work) => build("button", { type: "button", class: "plain small", "aria-label": label,
      "data-key": label, click: work }, text);
    return build("div", { class: "row tools", role: "group", "aria-label": "Part of the range" },
      tool("−", "Zoom out", () => this.zoom(2, 0)), tool("+", "Zoom in", () => this.zoom(0.5, 0)),
      tool("‹", "Earlier", () => this.zoom(1, -0.5)), tool("›", "Later", () => this.zoom(1, 0.5)),
      tool("Whole range", "Whole range", () => this.dygraph?.resetZoom()));
  }

  /** Widens what is looked at and moves it by a part of its width, within the whole range. */
  zoom(factor, move) {
    if (!this.dygraph) return;
    const [first, last] = this.whole(), [from, to] = this.dygraph.xAxisRange();
    const width = Math.min(last - first, Math.max(2000, (to - from) * factor));
    const wanted = (from + to) / 2 + move * (to - from) - width / 2;
    const start = Math.min(Math.max(wanted, first), last - width);
    this.dygraph.updateOptions({ dateWindow: [start, start + width] });
    this.looksAt(start, start + width);
  }

  whole() {
    const first = localSeconds(this.trends.from) * 1000, last = localSeconds(this.trends.to) * 1000;
    return [first, Math.max(last, first + 1000)];
  }

  looksAt(start, end) {
    const [first, last] = this.whole();
    const isAll = start <= first && end >= last;
    this.onWindow(isAll ? null : [Math.floor(Math.max(start, first) / 1000), Math.ceil(Math.min(end, last) / 1000)]);
  }

  /** @param fine trends of a part of the range, null when the whole is looked at. */
  draw(trends, fine) {
    const hadRange = this.trends ? this.whole() : null;
    this.trends = trends;
    const all = merged(rowsOf(trends), fine);
    this.rows = all.filter((row) => row.buckets.some((one) => one !== null));
    this.plot.hidden = this.rows.length === 0;
    this.nothing.hidden = this.rows.length > 0;
    if (this.rows.length === 0) {
      this.reading.textContent = "";
      return;
    }
    this.drawRows(all, hadRange);
    this.plot.setAttribute("aria-label", this.description());
    this.show(this.selected === null ? this.rows.length - 1 : this.nearest(this.selected), this.selected !== null);
  }

  /** The range's ends are rows too, so that the range is seen as wide as it is. */
  drawRows(all, hadRange) {
    const [first, last] = this.whole(), number = this.trends.points.length;
    const bare = (time) => [new Date(time), ...Array(number).fill(kNothing)];
    const file = all.map((row) => [new Date(row.time * 1000), ...row.cells]);
    if (file[0][0] > first) file.unshift(bare(first));
    if (file.at(-1)[0] < last) file.push(bare(last));
    const options = { file, series: seriesOptions(this.trends.points), axes: axesOf(this.trends.points),
      drawPoints: this.rows.length < 60 };
    if (!this.dygraph) {
      this.create(options, [first, last]);
      return;
    }
    const [from, to] = this.dygraph.xAxisRange();
    const wasWhole = from <= hadRange[0] && to >= hadRange[1];
    this.dygraph.updateOptions({ ...options, dateWindow: wasWhole ? [first, last] : [from, to] });
  }

  create({ file, ...options }, dateWindow) {
    const number = this.trends.points.length;
    this.dygraph = new Dygraph(this.canvas, file, {
      ...options, ...colours(number), dateWindow, labels: ["time", ...this.trends.points.map((_, i) => "s" + i)],
      labelsUTC: true, customBars: true, connectSeparatedPoints: true, drawGapEdgePoints: true,
      strokeWidth: 2, pointSize: 2.5, highlightCircleSize: 5, fillAlpha: 0.2, axisLabelFontSize: 13, yRangePad: 12,
      showRangeSelector: true, rangeSelectorHeight: 36, rangeSelectorAlpha: 0.5, interactionModel: kMouse,
      zoomCallback: (start, end) => this.looksAt(start, end),
      highlightCallback: (event, time) => this.read(this.nearest(time / 1000)),
    });
    this.canvas.querySelector(".dygraph-roller")?.remove();  // a field for averages, hidden and without a name
  }

  description() {
    const [first, last] = [this.rows[0].time, this.rows.at(-1).time].map(localText);
    const limits = this.trends.points.map((point) => {
      const buckets = point.buckets.filter((one) => one !== null);
      const [lowest, highest] = limitsOf(buckets);
      return buckets.length ? `${point.name || point.dblink}, lowest ${numberText(lowest)}, highest ${numberText(highest)} ${point.unit}`
        : `${point.name || point.dblink}, no numbers`;
    });
    return `Course from ${first} to ${last}: ${limits.join("; ")}. Arrow keys read single values, + and - zoom.`;
  }

  nearest(time) {
    let best = 0;
    this.rows.forEach((row, i) => { if (Math.abs(row.time - time) < Math.abs(this.rows[best].time - time)) best = i; });
    return best;
  }

  read(index) {
    this.at = Math.min(this.rows.length - 1, Math.max(0, index));
    const row = this.rows[this.at];
    this.selected = row.time;
    const texts = this.trends.points.flatMap((point, i) => (row.buckets[i]
      ? [(this.trends.points.length > 1 ? (point.name || point.dblink) + " " : "") + bucketText(row.buckets[i], point.unit)] : []));
    this.reading.textContent = `${stretchText(row)}   ${texts.join(", ")}`;
  }

  /** Reads a row, and marks it in the drawing. */
  show(index, isMarked) {
    const before = this.selected;
    this.read(index);
    if (!isMarked) this.selected = before;
    else this.dygraph.setSelection(this.dygraph.getRowForX(this.rows[this.at].time * 1000));
  }

  pressed(event) {
    const ways = {
      ArrowLeft: () => this.show(this.at - 1, true), ArrowRight: () => this.show(this.at + 1, true),
      Home: () => this.show(0, true), End: () => this.show(this.rows.length - 1, true),
      "+": () => this.zoom(0.5, 0), "-": () => this.zoom(2, 0),
    };
    if (!this.dygraph || !Object.hasOwn(ways, event.key)) return;
    event.preventDefault();
    ways[event.key]();
  }
}

// ---- small lines ---------------------------------------------------------------------------------

const kWidth = 120, kHeight = 28, kEdge = 3;

/** The last values of a point; values that are no numbers break the line. */
export function sparkline(samples, name) {
  const values = samples.map((sample) => ({ time: localSeconds(sample.time),
    value: sample.value === kNotReported ? NaN : Number(sample.value) }));
  const numbers = values.map((one) => one.value).filter(Number.isFinite);
  if (numbers.length === 0) return build("span", { class: "small" }, "no numbers");
  const lowest = Math.min(...numbers), highest = Math.max(...numbers);
  const start = values[0].time, end = values.at(-1).time;
  // Halves, because the difference of two large numbers may be none.
  const part = (value, from, to) => (to / 2 - from / 2 > 0 ? (value / 2 - from / 2) / (to / 2 - from / 2) : 0.5);
  const x = (one) => (kEdge + part(one.time, start, end) * (kWidth - 2 * kEdge)).toFixed(1);
  const y = (one) => (kHeight - kEdge - part(one.value, lowest, highest) * (kHeight - 2 * kEdge)).toFixed(1);
  let isBroken = true, path = "";
  for (const one of values) {
    if (Number.isFinite(one.value)) path += `${isBroken ? "M" : "L"}${x(one)} ${y(one)}${isBroken ? "h.01" : ""}`;
    isBroken = !Number.isFinite(one.value);
  }
  return build("svg", { class: "sparkline", viewBox: `0 0 ${kWidth} ${kHeight}`, role: "img",
    "aria-label": `Last values of ${name}: ${numberText(lowest)} to ${numberText(highest)}` },
  build("path", { d: path }));
}
