// Parts of the page that follow the server: what is shown is asked for again and again.

import { ago, build, contactKind, empty } from "./parts.js";

const kPollMilliseconds = 2000;

function say(text, kind) {
  const message = build("div", { class: "message " + (kind || "") }, text);
  document.getElementById("messages").append(message);
  setTimeout(() => message.remove(), kind === "bad" ? 9000 : 4000);
}

/** Does something, says how it went, and shows what is new. */
export async function act(work, success) {
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

export function button(text, label, work, success) {
  return build("button", {
    type: "button", class: "plain small", "aria-label": label, "data-key": label,
    click: () => act(work, success),
  }, text);
}

// ---- parts that are drawn again when their data change -------------------------------------------

/** Puts new content into a place; focus and opened details stay with what has the same key. */
export function redraw(place, content) {
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
export function livePart(fetchData, draw) {
  const place = build("div", null, empty("loading"));
  let last = null;
  return {
    place,
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

// ---- the view that is shown ----------------------------------------------------------------------

let view = null;
let always = [];  // what every page has

/**
 * Shows a view: its content now, its parts as soon as their data are there. The same place with
 * other settings keeps focus and scrolling.
 */
export function show(next, frameParts) {
  const before = view, main = document.getElementById("main");
  view = next;
  always = frameParts;
  document.title = view.title + " · corvenna-cloud";
  for (const part of before ? before.parts : []) part.close?.();
  redraw(main, view.content);
  const isSamePlace = before !== null && before.key !== undefined && before.key === view.key;
  if (!isSamePlace) {
    if (before !== null) main.focus({ preventScroll: true });
    window.scrollTo(0, 0);
  }
  refresh();
}

function showLive(text, kind) {
  const live = document.getElementById("live");
  if (live.textContent !== text) live.textContent = text;
  live.className = "live " + kind;
}

async function refreshOnce() {
  const shown = view;
  try {
    await Promise.all([...always, ...shown.parts].map((part) => part.refresh()));
    showLive("live", "good");
  } catch (error) {
    showLive(error instanceof TypeError ? "server not reached" : error.message, "bad");
  }
  for (const one of document.querySelectorAll(".ago")) {
    const utc = one.dataset.utc;
    one.textContent = (one.dataset.before || "") + ago(utc);
    one.className = "ago badge " + (one.dataset.kind || contactKind(utc));
  }
  document.body.dataset.refreshed = String(Number(document.body.dataset.refreshed || 0) + 1);
}

let refreshing = Promise.resolve();

/** One at a time, so that an old answer never follows a newer one. */
export function refresh() {
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

export const follow = () => setInterval(poll, kPollMilliseconds);
