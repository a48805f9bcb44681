// The gateways: cards, searched and in pages.

import { livePart, refresh } from "./live.js";
import { ago, badge, build, contactKind, count, empty, field, gatewayLink, listPart, pager } from "./parts.js";

const kCards = 60;  // of a page

function gatewayCard(gateway) {
  const badges = [
    gateway.overdue ? badge("overdue", "bad") : null,
    gateway.active_alarms ? badge(count(gateway.active_alarms, "active alarm"), "bad") : null,
    gateway.recalls_waiting ? badge(count(gateway.recalls_waiting, "recall", "waiting"), "warn") : null,
    gateway.files_waiting ? badge(count(gateway.files_waiting, "file", "waiting"), "warn") : null,
  ];
  return build("a", {
    class: "panel card", href: gatewayLink(gateway.sn, "points"), "data-key": "gateway " + gateway.sn,
  },
  build("h2", null, gateway.name || gateway.sn),
  build("div", { class: "sn" }, gateway.sn, gateway.site ? " · " + gateway.site : ""),
  build("div", { class: "row" },
    build("span", { class: "ago badge " + contactKind(gateway.last_contact),
      "data-utc": gateway.last_contact || "" }, ago(gateway.last_contact)), badges),
  build("ul", { class: "numbers" },
    [["device", gateway.devices], ["point", gateway.points], ["alarm", gateway.alarms]]
      .map(([name, number]) => build("li", null, count(number, name)))));
}

const nobody = () => build("div", { class: "panel" }, empty("No gateway has called yet."),
  build("p", { class: "small" }, "Gateways find this server at the addresses at the foot of the page."));

export function gatewaysView(state) {
  const isOverdueOnly = state === "overdue";
  const wanted = { search: "", offset: 0 };
  let delay = null;
  const go = (offset) => () => { wanted.offset = offset; refresh(); };
  const search = build("input", { type: "search", autocomplete: "off", placeholder: "serial number, name, station, owner, room",
    input: () => {
      clearTimeout(delay);
      delay = setTimeout(() => { wanted.search = search.value; go(0)(); }, 250);
    } });
  const list = livePart(
    () => listPart("/gateways", { ...wanted, state: isOverdueOnly ? "overdue" : "all", limit: kCards }),
    ({ rows, total }) => {
      if (total === 0) {
        if (wanted.search) return empty(`No ${isOverdueOnly ? "overdue " : ""}gateway has this in its texts.`);
        return isOverdueOnly ? empty("No gateway is overdue.") : nobody();
      }
      const { offset } = wanted;
      const pages = () => (total <= kCards ? null : pager(offset, rows.length, total, "Gateways",
        offset > 0 ? go(Math.max(0, offset - kCards)) : null, offset + rows.length < total ? go(offset + kCards) : null));
      return [pages(), build("div", { class: "cards" }, rows.map(gatewayCard))].filter((one) => one);
    });
  const states = [["", "All"], ["/overdue", "Overdue"]];
  return { title: "Gateways", parts: [list], key: "gateways",
    content: [build("h1", null, "Gateways"),
      build("div", { class: "row end panel" }, field("Search", search),
        build("nav", { "aria-label": "Which gateways" }, states.map(([part, text]) => build("a", { href: "#/gateways" + part,
          "data-key": text, "aria-current": (part !== "") === isOverdueOnly ? "page" : null }, text)))),
      list.place] };
}
