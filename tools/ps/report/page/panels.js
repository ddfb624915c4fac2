// The verdict, the list of cameras beside the time line, and what is known about the selection.

const WORST_CAMERAS = 5;

function showVerdict(view) {
  const { coverage, period, data } = view;
  const verdict = document.getElementById("verdict");
  verdict.className = colourOfVerdict(coverage);
  verdict.textContent = verdictText(labelOf(view, period), coverage);
  document.title = verdict.textContent;
  const kept = period.kind !== "given" && dayPeriod(data.zone, period.first, period.count).from < period.from ? "; earlier recordings are not kept" : "";
  const silent = coverage.cameras.length > 0 && data.now - data.newest > DAY && data.to === null;
  document.getElementById("silent").textContent = silent ? "Nothing was recorded since " + timeText(view.zone, data.newest) + "." : "";
  document.getElementById("period").textContent = coverage.cameras.length === 0 ? ""
    : timeText(view.zone, period.from) + " to " + timeText(view.zone, period.to) + " " + view.zone.nameIn(period.from, period.to) + kept;
  const worst = coverage.cameras.filter((one) => one.incomplete).slice(0, WORST_CAMERAS);
  document.getElementById("worst").replaceChildren(...worst.map((one) => {
    const item = element("li"), button = element("button", undefined, "link");
    button.type = "button";
    button.append(element("bdi", one.camera.label), ": " + lengthText(one.missing) + " missing");
    button.addEventListener("click", () => { chooseGap(view, one.longest); document.getElementById("line").focus(); });
    item.append(button, " " + shortTimeText(view.zone, one.longest.begin, period.from) + " to " + shortTimeText(view.zone, one.longest.end, one.longest.begin) +
      (one.longest.outcome === "missing" ? "" : ", " + outcomeText(one.longest)));
    return item;
  }));
}

// Explains the colours that are on the page, and no others.
function showLegend(view) {
  const texts = { type1: "recorded, type 1", type3: "recorded, type 3", other: "recorded, another type" };
  const used = new Set();
  for (const camera of view.data.cameras) {
    for (const kind of KINDS) if (camera.levels[0][kind].some((length) => length > 0)) used.add(kind);
    for (const part of camera.parts) used.add(part.outcome);
    if (camera.gaps.count > 0) used.add("missing");
    if (camera.faultyFiles.length > 0) used.add("fault");
  }
  if (dayPeriod(view.data.zone, dayOf(view.data.zone, view.known.from)).from < view.known.from) used.add("unkept");
  const all = { ...texts, ...OUTCOME_TEXTS, fault: "damaged file", unkept: "not kept" };
  document.getElementById("legend").replaceChildren(...Object.keys(all).filter((name) => used.has(name)).map((name) => {
    const item = element("li");
    item.append(element("i", "", name), all[name]);
    return item;
  }));
}

function showCameraList(view) {
  const list = document.getElementById("cameras"), focused = [...list.children].findIndex((item) => item.contains(document.activeElement));
  list.replaceChildren(...view.cameras.map((camera) => {
    const item = element("li"), button = element("button");
    button.type = "button";
    button.title = camera.label + " " + camera.id;
    button.append(cameraName(camera));
    if (camera.faultyFiles.length > 0) button.append(element("span", " ▾" + camera.faultyFiles.length, "bad"));
    button.setAttribute("aria-pressed", camera === view.camera);
    button.addEventListener("click", () => chooseCamera(view, camera));
    item.append(button);
    return item;
  }));
  if (focused >= 0 && list.children[focused]) list.children[focused].firstChild.focus();
}

function revealRow(view) {
  const button = document.querySelector("#cameras button[aria-pressed=true]"), rows = document.getElementById("rows");
  if (!button) return;
  const top = button.parentElement.offsetTop - rows.offsetTop;
  if (top < rows.scrollTop || top + ROW > rows.scrollTop + rows.clientHeight) rows.scrollTop = top - rows.clientHeight / 2;
}

const SPOKEN_CAMERAS = 200, SPOKEN_GAPS = 20;

// The same as the time line in words, for readers of the screen.
function showLineTable(view) {
  const body = document.querySelector("#line-table tbody");
  const cameras = view.coverage.cameras.filter((one) => view.cameras.includes(one.camera));
  body.replaceChildren(...cameras.slice(0, SPOKEN_CAMERAS).map((one) => {
    const row = element("tr"), name = element("th", one.camera.label);
    name.scope = "row";
    const gaps = one.gaps.slice(0, SPOKEN_GAPS).map((gap) => timeText(view.zone, gap.begin) + ", " + gapText(gap));
    row.append(name, element("td", percentText(one.recorded, one.recorded + one.missing)), element("td", (gaps.join("; ") || "none") + moreText(one.gaps.length, SPOKEN_GAPS, "; ")),
      element("td", String(one.faulty.length)));
    return row;
  }));
  if (cameras.length > SPOKEN_CAMERAS) body.append(moreRow(cameras.length, SPOKEN_CAMERAS));
}

function factsOf(view) {
  const { camera, gap, part, file, zone } = view;
  if (gap) return [timeText(zone, gap.begin) + " to " + timeText(zone, gap.end), gapText(gap)];
  if (part) return [timeText(zone, part.begin) + " to " + timeText(zone, part.end) + ": recovered, " + lengthText(part.end - part.begin), ...factsOf({ ...view, part: null })];
  if (file) {
    const times = file.first === null ? "no frame" : timeText(zone, file.first) + " to " + timeText(zone, file.last);
    return [element("code", file.path), times + ", " + plural(file.frames, "frame") + ", " + plural(file.keys, "key frame") + ", " + sizeText(file.bytes), fileState(file)];
  }
  if (!camera) return ["No camera is selected."];
  const one = view.coverage.cameras.find((coverage) => coverage.camera === camera);
  const facts = ["id " + (camera.id || "unknown") + ", " + plural(camera.files.length, "file") + ", " +
    lengthText(one.recorded) + " recorded and " + (one.missing > 0 ? lengthText(one.missing) : "nothing") + " missing in the period"];
  if (camera.sharesIdWith.length > 0) facts.push(element("span", sharedText(camera), "flag"));
  return facts;
}

function showSelection(view) {
  const { camera, gap, file } = view;
  document.getElementById("chosen-heading").textContent = (camera ? camera.label : "Camera") + (gap ? ", gap" : view.part ? ", recovered time" : file ? ", recording" : "");
  document.getElementById("facts").replaceChildren(...factsOf(view).flatMap((fact, i) => i === 0 ? [fact] : [element("br"), fact]));
  showCurves(file, view);
  showCommand(view);
}

// A command that exports the marked range or the selected recording, to be copied.
function exportCommand(view) {
  const marked = view.marked && view.marked.to > view.marked.from ? view.marked : null;
  const range = marked || (view.part && { from: view.part.begin, to: view.part.end }) || (view.file && view.file.first !== null ? { from: view.file.first, to: view.file.last + 1 } : null);
  if (!range || !view.camera) return "";
  const files = view.camera.files.filter((file) => file.first !== null && file.first < range.to && file.last >= range.from);
  if (files.length === 0) return "";
  const named = view.camera.sharesIdWith.length === 0 ? view.camera.id : view.camera.names[0] || "";
  const ambiguous = view.camera.sharesIdWith.length > 0 && (named === "" || view.camera.sharesIdWith.includes(named));
  const folders = ambiguous ? files.map((file) => file.path) : files.map((file) => file.path.replace(/(?:[/\\]\d\d){3}[/\\][^/\\]*$/, "").replace(/[/\\]\d{4}$/, "") || ".");
  const paths = [...new Set(folders)].map((path) => path.startsWith("-") ? "./" + path : path);
  const stem = (view.camera.label + " " + timeText(view.data.zone, range.from)).replace(/[^\w.-]+/g, "-").replace(/^[-.]+/, "").slice(0, 100);
  return ["norvanepi-ps export", ...paths.map(shellWord), named !== "" && !ambiguous ? "--camera " + shellWord(named) : "",
    "--from " + commandTime(range.from), "--to " + commandTime(range.to), "-o " + shellWord(stem + ".mp4")].filter((part) => part !== "").join(" ");
}

// What replaces the bytes of a path that are not UTF-8.
const REPLACED = "\ufffd";

function showCommand(view) {
  const whole = exportCommand(view), command = whole.includes(REPLACED) ? "" : whole;
  document.getElementById("export").hidden = command === "";
  document.getElementById("command").textContent = command;
  document.getElementById("no-command").hidden = whole === command;
}

async function copyCommand() {
  const command = document.getElementById("command");
  getSelection().selectAllChildren(command);
  try {
    await navigator.clipboard.writeText(command.textContent);
    document.getElementById("copied").textContent = "copied";
  } catch {
    document.getElementById("copied").textContent = "selected; copy it with the keyboard";
  }
}

function showAccounts(view) {
  const { data, period } = view, sums = new Map();
  const lost = [...data.cameras.map((camera) => [camera.label + " " + camera.id, camera.parts]), ...data.lostElsewhere];
  for (const [label, parts] of lost) {
    for (const part of parts) {
      const length = Math.min(part.end, period.to) - Math.max(part.begin, period.from);
      if (length <= 0) continue;
      const sum = sums.get(label) || { lost: 0, reasons: new Map() };
      sum.lost += length;
      sum[part.outcome] = (sum[part.outcome] || 0) + length;
      if (part.reason) sum.reasons.set(part.reason, (sum.reasons.get(part.reason) || 0) + length);
      sums.set(label, sum);
    }
  }
  document.getElementById("lost-section").hidden = sums.size === 0;
  document.querySelector("#accounts tbody").replaceChildren(...[...sums].map(([label, sum]) => {
    const made = element("tr");
    made.append(element("td", label, "name"), element("td", lengthText(sum.lost), "number"));
    for (const outcome of OUTCOMES) made.append(element("td", percentText(sum[outcome] || 0, sum.lost), "number"));
    made.append(element("td", [...sum.reasons].map(([reason, length]) => reason + " (" + lengthText(length) + ")").join("; "), "wide"));
    return made;
  }));
}
