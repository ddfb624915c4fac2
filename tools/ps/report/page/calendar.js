// The day picker: a month of days, coloured by the time that all cameras miss together.

function shareClass(share) {
  if (share === 0) return "full";
  return share < 0.01 ? "short" : share < 0.2 ? "some" : "much";
}

function dayButton(view, day) {
  const { data, known } = view, whole = dayPeriod(data.zone, day);
  const part = { from: Math.max(whole.from, known.from), to: Math.min(whole.to, known.to) };
  const number = new Date(day * DAY).getUTCDate();
  const made = element("button", number);
  made.type = "button";
  made.disabled = part.from >= part.to;
  if (made.disabled) return made;
  const missing = data.cameras.reduce((sum, camera) => sum + missingIn(camera, part), 0);
  const share = missing / ((part.to - part.from) * Math.max(1, data.cameras.length));
  made.className = shareClass(share);
  made.title = periodText("day", { first: day, count: 1 }, data.now) + ": " + (missing === 0 ? "no gaps" : lengthText(missing) + " missing");
  made.setAttribute("aria-label", made.title);
  made.setAttribute("aria-pressed", view.period.first <= day && day < view.period.first + view.period.count);
  made.addEventListener("click", () => choosePeriod(view, "day", day));
  return made;
}

function showCalendar(view) {
  document.getElementById("periods").hidden = view.period.kind === "given";
  if (view.period.kind === "given") return;
  const month = periodDays("month", view.period.first);
  document.getElementById("month").textContent = periodText("month", month, view.data.now);
  const days = [];
  for (let i = 0; i < (month.first + 3) % 7; ++i) days.push(element("span"));
  for (let i = 0; i < month.count; ++i) days.push(dayButton(view, month.first + i));
  const grid = document.getElementById("days"), focused = [...grid.children].indexOf(document.activeElement);
  grid.replaceChildren(...days);
  if (focused >= 0 && days[focused]) days[focused].focus();
  for (const kind of ["day", "week", "month"]) document.getElementById("by-" + kind).setAttribute("aria-pressed", view.period.kind === kind);
}
