// The address keeps the view, so that a copied address shows the same: #camera=00A10380&t=...&from=...&to=...

function writeAddress(view) {
  const parts = new URLSearchParams(), { period, camera, marked } = view;
  if (period.kind !== "given") parts.set("period", period.kind + "," + period.first);
  if (camera) parts.set("camera", camera.number + "," + camera.id);
  if (view.instant !== null) parts.set("t", commandTime(view.instant));
  parts.set("from", commandTime(Math.round(view.from)));
  parts.set("to", commandTime(Math.round(view.to)));
  if (marked) parts.set("marked", commandTime(marked.from) + "," + commandTime(marked.to));
  if (view.find !== "") parts.set("find", view.find);
  if (view.faultyOnly) parts.set("damaged", "1");
  if (view.zone === view.utc) parts.set("utc", "1");
  history.replaceState(null, "", "#" + parts);
}

// Restores what of the address still exists.
function readAddress(view) {
  const parts = new URLSearchParams(location.hash.slice(1)), list = (name) => (parts.get(name) || "").split(",");
  view.zone = parts.has("utc") ? view.utc : view.data.zone;
  view.find = parts.get("find") || "";
  view.faultyOnly = parts.has("damaged");
  const [kind, first] = list("period");
  if (["day", "week", "month"].includes(kind) && Number.isSafeInteger(Number(first || "x")) && view.period.kind !== "given") choosePeriod(view, kind, Number(first));
  filter(view);
  const [number, id] = list("camera"), wanted = id === undefined ? number : id;
  const cameras = view.cameras.filter((one) => one.id === wanted || one.names.includes(wanted));
  const camera = cameras.find((one) => one.number === Number(number)) || cameras[0];
  const at = Date.parse(parts.get("t")), from = Date.parse(parts.get("from")), to = Date.parse(parts.get("to"));
  if (camera) at > 0 ? chooseAt(view, camera, at) : chooseCamera(view, camera);
  const [begin, end] = list("marked").map((text) => Date.parse(text));
  if (begin <= end) mark(view, begin, end);
  if (from < to) setRange(view, from, to);
  else if (at > 0) show(view, at, at);
}
