// Lists and tables. Names come from cameras, so they are only set as text content.

const FILES_AT_ONCE = 200;

function element(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

function row(cells) {
  const made = element("tr");
  for (const cell of cells) {
    const [content, className] = Array.isArray(cell) ? cell : [cell, ""];
    const td = element("td", content instanceof Node ? undefined : content, className);
    if (content instanceof Node) td.append(content);
    made.append(td);
  }
  return made;
}

function fill(id, rows) {
  document.querySelector("#" + id + " tbody").replaceChildren(...rows);
}

// Makes a row selectable by click and by Enter.
function choosable(made, chosen, choose) {
  made.className = "choice";
  made.tabIndex = 0;
  made.setAttribute("aria-selected", chosen);
  made.addEventListener("click", choose);
  made.addEventListener("keydown", (event) => { if (event.key === "Enter") choose(); });
  return made;
}

function foldText(camera) {
  return "shares its id with " + camera.sharesIdWith.map((name) => name || "(no name)").join(", ") + ": they overwrite each other's recordings of the same second";
}

function showSummary(data) {
  const faulty = data.files.filter((file) => file.faults > 0).length;
  const bytes = data.files.reduce((sum, file) => sum + file.bytes, 0);
  document.getElementById("summary").textContent = data.cameras.length + " cameras, " + data.files.length + " files of " + sizeText(bytes) +
    (faulty === 0 ? ", all verified" : ", " + faulty + " with faults");
  for (const [name, text] of [["type1", "type 1"], ["type3", "type 3"], ["other", "another type"], ["gap", "nothing recorded; paler bars contain short gaps"]]) {
    const item = element("li");
    item.append(element("i", "", name), text);
    document.getElementById("legend").append(item);
  }
}

function showCameraList(view) {
  document.getElementById("cameras").replaceChildren(...view.cameras.map((camera) => {
    const item = element("li"), button = element("button", camera.label);
    button.type = "button";
    button.title = camera.label + " " + camera.id;
    button.setAttribute("aria-pressed", camera === view.camera);
    if (camera.sharesIdWith.length > 0) button.prepend(element("span", "⚠ ", "flag"));
    button.addEventListener("click", () => chooseCamera(view, camera));
    item.append(button);
    return item;
  }));
}

function dayRow([day, covered]) {
  const meter = element("meter");
  meter.max = DAY;
  meter.value = covered;
  return row([dayText(day), meter, [percentText(covered, DAY), "number"]]);
}

function showCamera(view) {
  const camera = view.camera;
  document.getElementById("chosen-heading").textContent = camera ? camera.label : "Camera";
  const facts = document.getElementById("camera-facts");
  facts.replaceChildren(camera ? "id " + (camera.id || "unknown") + ", " + camera.files.length + " files, " + lengthText(camera.covered) + " recorded" : "");
  if (camera && camera.sharesIdWith.length > 0) facts.append(element("br"), element("span", foldText(camera), "flag"));
  fill("days", camera ? camera.days.map(dayRow) : []);
  fill("gaps", camera ? camera.gaps.map(([begin, length]) => row(["from " + timeText(begin), "to " + timeText(begin + length), [lengthText(length), "number"]])) : []);
}

function verdict(file) {
  if (file.faults === 0) return element("span", "verified", "good");
  return element("span", file.faults + (file.faults === 1 ? " fault" : " faults") + (file.mendable ? ", repairable: " : ": ") + file.fault, "bad");
}

function showFile(view) {
  const file = view.file, facts = document.getElementById("file-facts");
  if (file) {
    facts.replaceChildren(element("code", file.path), element("br"),
      file.first === null ? "no frame" : timeText(file.first) + " to " + timeText(file.last) + " UTC, " + file.frames + " frames, " + file.keys + " key frames, " + sizeText(file.bytes),
      element("br"), verdict(file));
  } else {
    facts.textContent = "Choose a bar of the time line or a row of the table.";
  }
  showCurves(file);
}

function showOverview(view) {
  fill("overview", view.cameras.map((camera) => {
    const [level] = camera.levels;
    const end = level.count > 0 ? level.end[level.count - 1] : null;
    const made = row([camera.label, camera.id, [camera.begin === null ? "" : timeText(camera.begin), "time"], [end === null ? "" : timeText(end), "time"],
      [lengthText(camera.covered), "number"], [end === null ? "" : percentText(camera.covered, end - camera.begin + 1), "number"],
      [camera.gaps.length > 0 ? lengthText(camera.gaps[0][1]) : "none", "number"], [camera.files.length, "number"], [camera.faulty, camera.faulty > 0 ? "number bad" : "number"]]);
    if (camera.sharesIdWith.length > 0) made.cells[0].append(element("br"), element("small", foldText(camera), "flag"));
    return choosable(made, camera === view.camera, () => chooseCamera(view, camera));
  }));
}

function fileRow(view, data, file) {
  const made = row([[file.path, "path"], data.cameras[file.camera].label, [file.first === null ? "" : timeText(file.first), "time"],
    [file.first === null ? "" : lengthText(file.last - file.first), "number"], [file.frames, "number"], [sizeText(file.bytes), "number"], verdict(file)]);
  return choosable(made, file === view.file, () => chooseFile(view, data, file));
}

function showFiles(view, data, most) {
  const found = data.files.filter((file) => matches(view, data.cameras[file.camera], file));
  fill("files", found.slice(0, most).map((file) => fileRow(view, data, file)));
  document.getElementById("file-count").textContent = Math.min(most, found.length) + " of " + found.length + " shown";
  document.getElementById("more").hidden = found.length <= most;
}

function showAccounts(data) {
  document.getElementById("lost").hidden = data.accounts.length === 0;
  const sum = (parts) => parts.reduce((all, part) => all + part[1], 0);
  fill("accounts", data.accounts.map((account) => {
    const camera = data.cameras.find((one) => one.id === account.id);
    const share = (part) => [percentText(part, account.lost), "number"];
    const why = account.refused.concat(account.failed).map(([reason, length]) => reason + " (" + lengthText(length) + ")").join("; ");
    return row([(camera ? camera.label + " " : "") + account.id, [lengthText(account.lost), "number"], share(account.recovered), share(account.notOnCamera),
      share(sum(account.refused)), share(sum(account.failed)), why]);
  }));
}
