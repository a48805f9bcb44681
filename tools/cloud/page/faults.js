// What the server does wrong on demand.

import { act, button, livePart } from "./live.js";
import { api, build, empty, field, table } from "./parts.js";

export function faultsView() {
  const exchange = build("select", { required: true }), kind = build("select", { required: true });
  const value = build("input", { type: "number" }), count = build("input", { type: "number", min: 1, placeholder: "until cleared" });
  const sn = build("input", { type: "search", maxlength: 64, placeholder: "all gateways", autocomplete: "off", spellcheck: false });
  const valueName = document.createTextNode("Value"), meaning = build("p", { class: "hint" });
  const valueField = build("label", null, valueName, value), snField = field("Serial number", sn);
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
    snField.hidden = isTls;  // a handshake tells none
    for (const option of exchange.options) option.disabled = (option.value === "connection") !== isTls;
    if (exchange.selectedOptions[0]?.disabled !== false) exchange.value = isTls ? "connection" : "any";
  };
  kind.addEventListener("change", fit);
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    const body = { exchange: exchange.value, kind: kind.value };
    if (!valueField.hidden && value.value !== "") body.value = Number(value.value);
    if (!snField.hidden && sn.value !== "") body.sn = sn.value;
    if (count.value !== "") body.count = Number(count.value);
    act(() => api("/faults", { method: "POST", body: JSON.stringify(body) }), "Fault set.");
  } },
  field("Fault", kind), field("Exchange", exchange), snField, valueField, field("How often", count),
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
      table("Faults that are set", ["Fault", "Exchange", "Gateway", "Value", "Left", "Happened", "Action"], faults.map((fault) => [
        build("b", null, fault.kind), fault.exchange, fault.sn ?? "all", fault.value ?? "", fault.left ?? "no end", fault.happened,
        button("Clear", `Clear the fault ${fault.kind} for ${fault.exchange}${fault.sn ? " of " + fault.sn : ""}`,
          () => api("/faults/" + fault.id, { method: "DELETE" }), "Fault cleared.")])),
      build("br"),
      build("button", { type: "button", class: "plain", "data-key": "clear all",
        click: () => act(() => api("/faults", { method: "DELETE" }), "All faults cleared.") }, "Clear all"))));
  return { title: "Faults", parts: [options, list], content: [build("h1", null, "Faults"),
    build("p", { class: "under" }, "What the server does wrong on demand. The first fault that fits a request happens."),
    form, options.place, list.place] };
}
