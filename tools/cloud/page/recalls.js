// Ranges of time that a gateway is asked to send again.

import { gatewayFrame } from "./gateway.js";
import { act, button, livePart } from "./live.js";
import { api, badge, build, count, empty, field, gatewayPath, localText, moment, table, timeField, timeText } from "./parts.js";

const kRecallStates = { waiting: ["waits for the gateway", "warn"],
  fetched: ["fetched by the gateway", "warn"], served: ["reported done", "good"] };
const kCountedSamples = 10000;  // the server counts no further

/** The gateway's word, and beside it what the server knows by itself. */
function recallState(recall) {
  const came = recall.samples >= kCountedSamples ? kCountedSamples + " samples or more" : count(recall.samples, "sample");
  const [text, kind] = kRecallStates[recall.state];
  const isEmpty = recall.state === "served" && recall.samples === 0;
  return build("span", null, badge(text, isEmpty ? "warn" : kind),
    build("div", { class: "small" }, `${came} of this range ${recall.samples === 1 ? "is" : "are"} here`),
    recall.finished ? build("div", { class: "small" }, moment(recall.finished)) : null);
}

export function recallsView(sn) {
  const now = Date.now() / 1000 - new Date().getTimezoneOffset() * 60;
  const from = timeField(localText(now - 3600)), to = timeField(localText(now));
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    act(() => api(gatewayPath(sn) + "/recalls", {
      method: "POST", body: JSON.stringify({ start: timeText(from), end: timeText(to) }) }), "Recall queued.");
  } },
  field("From", from), field("To", to), build("button", null, "Ask for this range"),
  build("p", { class: "hint" }, "In the gateway's local time. The gateway sends the range again when it next asks for recalls."));
  const list = livePart(() => api(gatewayPath(sn) + "/recalls"), (recalls) => (recalls.length === 0
    ? empty("Nothing was recalled yet.")
    : build("div", { class: "panel" }, table("Recalls", ["From", "To", "State", "Asked", "Action"], recalls.map((recall) => [
      { number: recall.start }, { number: recall.end },
      recallState(recall),
      moment(recall.asked),
      recall.finished ? "" : button("Cancel", `Cancel the recall from ${recall.start} to ${recall.end}`,
        () => api(`${gatewayPath(sn)}/recalls/${recall.id}`, { method: "DELETE" }), "Recall cancelled.")])))));
  return gatewayFrame(sn, "recalls", [form, list.place], [list]);
}
