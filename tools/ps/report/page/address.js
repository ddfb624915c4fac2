// The address keeps the view, so that a copied address shows the same: #camera=00A10380&t=...&from=...&to=...

function writeAddress(view) {
  const parts = new URLSearchParams();
  if (view.period.kind !== "given") parts.set("period", view.period.kind + "," + view.period.first);
  if (view.camera) parts.set("camera", view.camera.number + "," + view.camera.id);
  if (view.instant !== null) parts.set("t", commandTime(view.instant));
  parts.set("from", commandTime(Math.round(view.from)));
  parts.set("to", commandTime(Math.round(view.to)));
  history.replaceState(null, "", "#" + parts);
}

// Restores what of the address still exists.
function readAddress(view) {
  const parts = new URLSearchParams(location.hash.slice(1));
  const [kind, first] = (parts.get("period") || "").split(",");
  if (["day", "week", "month"].includes(kind) && view.period.kind !== "given") choosePeriod(view, kind, Number(first));
  const [number, id] = (parts.get("camera") || "").split(",");
  const wanted = id === undefined ? number : id;
  const cameras = view.data.cameras.filter((one) => one.id === wanted || one.names.includes(wanted));
  const camera = cameras.find((one) => one.number === Number(number)) || cameras[0];
  const at = Date.parse(parts.get("t")), from = Date.parse(parts.get("from")), to = Date.parse(parts.get("to"));
  if (camera) at > 0 ? chooseAt(view, camera, at) : chooseCamera(view, camera);
  if (from < to) setRange(view, from, to);
  else if (at > 0) show(view, at, at);
}
