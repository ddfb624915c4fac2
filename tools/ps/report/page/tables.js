// The tables of gaps, damaged files, cameras and files.

function fileState(file) {
  if (file.faults === 0) return element("span", "verified", "good");
  return element("span", plural(file.faults, "fault") + (file.repairable ? ", repairable: " : ": ") + file.fault, "bad");
}

// The date is shown if it is not that of the period.
function timeColumn(title, view, value) {
  return { title, className: "time", value, content: (item) => value(item) === null ? "" : shortTimeText(view.zone, value(item), view.period.from) };
}

function makeTables(view) {
  const cameraOf = (file) => file.camera === null ? "" : view.data.cameras[file.camera].label;
  const file = { isChosen: (one) => one === view.file, choose: (one) => chooseFile(view, one) };
  const path = { title: "Path", className: "path", value: (one) => one.path, content: (one) => one.path };
  const state = { title: "Verify", className: "wide", value: (one) => -one.faults, content: fileState };
  const camera = { title: "Camera", className: "name", value: cameraOf, content: cameraOf };
  const length = (one) => one.first === null ? null : one.last - one.first;

  const gaps = makeTable("gaps", [
    { title: "Camera", className: "name", value: (gap) => gap.camera.label, content: (gap) => gap.camera.label },
    timeColumn("From", view, (gap) => gap.begin), timeColumn("To", view, (gap) => gap.end),
    { title: "Length", className: "number", value: (gap) => gap.length, content: (gap) => lengthText(gap.length) },
    { title: "What became of it", className: "wide", value: (gap) => gap.outcome, content: outcomeText },
  ], {
    by: 3, down: true, choose: (gap) => chooseGap(view, gap),
    isChosen: (gap) => view.gap !== null && view.gap.camera === gap.camera && view.gap.begin === gap.begin,
  });
  const damaged = makeTable("damaged", [camera, path, timeColumn("First", view, (one) => one.first), state], { by: 2, down: false, ...file });
  const cameras = makeTable("overview", [
    { title: "Camera", className: "name", value: (one) => one.camera.label, content: (one) => cameraName(one.camera) },
    { title: "Id", className: "id", value: (one) => one.camera.id, content: (one) => one.camera.id },
    { title: "Recorded", className: "number", value: (one) => one.recorded, content: (one) => percentText(one.recorded, one.recorded + one.missing) },
    { title: "Missing", className: "number", value: (one) => one.missing, content: (one) => one.missing > 0 ? lengthText(one.missing) : "none" },
    { title: "Gaps", className: "number", value: (one) => one.gaps.length, content: (one) => String(one.gaps.length) },
    { title: "Longest", className: "number", value: (one) => one.longest ? one.longest.length : 0, content: (one) => one.longest ? lengthText(one.longest.length) : "none" },
    { title: "Current", className: "number", value: (one) => one.current, content: (one) => one.current > 0 ? lengthText(one.current) : "none" },
    { title: "Damaged", className: "number", value: (one) => one.faulty.length, content: (one) => String(one.faulty.length) },
  ], { by: 3, down: true, isChosen: (one) => one.camera === view.camera, choose: (one) => chooseCamera(view, one.camera) });
  const files = makeTable("files", [
    path, camera, timeColumn("First", view, (one) => one.first),
    { title: "Length", className: "number", value: length, content: (one) => length(one) === null ? "" : lengthText(length(one)) },
    { title: "Frames", className: "number", value: (one) => one.frames, content: (one) => String(one.frames) },
    { title: "Size", className: "number", value: (one) => one.bytes, content: (one) => sizeText(one.bytes) }, state,
  ], { by: 2, down: false, ...file });
  const outliers = makeTable("outliers", [path, timeColumn("First", view, (one) => one.first)], { by: 1, down: false });
  return { gaps, damaged, cameras, files, outliers };
}

function sharedText(camera) {
  return "shares its id with " + camera.sharesIdWith.map((name) => name || "(no name)").join(", ") + ": they overwrite each other's recordings of the same second";
}

function cameraName(camera) {
  const made = element("span", camera.label);
  if (camera.sharesIdWith.length === 0) return made;
  made.title = sharedText(camera);
  made.prepend(element("span", "⚠ ", "flag"));
  return made;
}

// Fills the tables with what the period and the filter leave.
function showTables(view, tables) {
  const { data, coverage } = view;
  const cameraOf = (file) => file.camera === null ? null : data.cameras[file.camera];
  const cameras = coverage.cameras.filter((one) => view.cameras.includes(one.camera));
  const gaps = cameras.flatMap((one) => one.gaps);
  const damaged = coverage.faulty.filter((file) => matches(view, cameraOf(file), file));
  const files = data.files.filter((file) => isInPeriod(file, view.period) && matches(view, cameraOf(file), file));
  tables.gaps.setItems(gaps);
  tables.damaged.setItems(damaged);
  tables.cameras.setItems(cameras);
  tables.files.setItems(files);
  tables.outliers.setItems(data.outliers);
  const counts = { gaps: gaps.length, damaged: damaged.length, overview: cameras.length, files: files.length, outliers: data.outliers.length };
  for (const [id, count] of Object.entries(counts)) document.getElementById(id + "-count").textContent = count;
  for (const id of ["gaps", "damaged", "outliers"]) document.getElementById(id + "-section").hidden = counts[id] === 0;
}
