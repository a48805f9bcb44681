// Files that are offered to a gateway.

import { gatewayFrame } from "./gateway.js";
import { act, button, livePart } from "./live.js";
import { api, badge, build, empty, field, gatewayPath, moment, size, table } from "./parts.js";

const kFileStates = { offered: ["offered", "warn"], begun: ["download begun", "warn"],
  done: ["reported done", "good"], damaged: ["reported damaged", "bad"], withdrawn: ["withdrawn", ""] };
const kFileTypes = { 0: "update package", 1: "configuration file", 9: "plain file" };

export function filesView(sn) {
  const file = build("input", { type: "file", required: true });
  const name = build("input", { required: true, maxlength: 48, pattern: "[A-Za-z0-9][A-Za-z0-9._+\\-]*", autocomplete: "off" });
  const path = build("input", { pattern: "/[A-Za-z0-9._+\\-\\/]*", placeholder: "/opt/data", autocomplete: "off" });
  const pathField = field("Directory on the gateway", path);
  const type = build("select", null, Object.entries(kFileTypes).map(([number, text]) => build("option", { value: number }, text)));
  const showPath = () => { pathField.hidden = type.value !== "9"; path.required = type.value === "9"; };
  type.addEventListener("change", showPath);
  showPath();
  file.addEventListener("change", () => {
    if (file.files.length > 0) name.value = file.files[0].name.replace(/[^A-Za-z0-9._+-]/g, "_").replace(/^[^A-Za-z0-9]+/, "").slice(-48);
  });
  const form = build("form", { class: "panel", submit: (event) => {
    event.preventDefault();
    const query = new URLSearchParams({ name: name.value, type: type.value });
    if (type.value === "9") query.set("path", path.value);
    act(() => api(`${gatewayPath(sn)}/files?${query}`, {
      method: "POST", headers: { "Content-Type": "application/octet-stream" }, body: file.files[0] }), "File offered.")
      .then((good) => { if (good) form.reset(); showPath(); });
  } },
  field("File", file), field("Name", name), field("Type", type), pathField, build("button", null, "Offer"),
  build("p", { class: "hint" }, "The gateway learns of it with its next real data and reports when it has it."));
  const list = livePart(() => api(gatewayPath(sn) + "/files"), (files) => (files.length === 0
    ? empty("No files were offered yet.")
    : build("div", { class: "panel" }, table("Files", ["Name", "State", "Type", "Size", "Offered", "Action"], files.map((one) => [
      build("div", null, one.name, build("div", { class: "small" }, one.path, " ", build("code", null, one.md5))),
      build("span", null, badge(...kFileStates[one.state]),
        one.finished ? build("div", { class: "small" }, moment(one.finished)) : ""),
      kFileTypes[one.type] || "type " + one.type,
      size(one.size), moment(one.offered),
      one.finished ? "" : button("Withdraw", "Withdraw the file " + one.name,
        () => api(`${gatewayPath(sn)}/files/${one.id}`, { method: "DELETE" }), "File withdrawn.")])))));
  return gatewayFrame(sn, "files", [form, list.place], [list]);
}
