// Tables with sortable columns. Only the rows in view are elements, so tens of thousands are possible.

const TABLE_ROW = 28, TABLE_ROWS_PRINTED = 30;  // pixels; same as in page.css

function element(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

function compareValues(a, b) {
  if (a === b) return 0;
  if (a === null || a === undefined) return 1;
  if (b === null || b === undefined) return -1;
  return typeof a === "string" ? a.localeCompare(b) : a < b ? -1 : 1;
}

// "and 12 more", if a list is cut.
function moreText(count, shown, separator) {
  return count > shown ? separator + "and " + (count - shown) + " more" : "";
}

function moreRow(count, shown) {
  const row = element("tr");
  row.append(element("td", moreText(count, shown, "")));
  return row;
}

// A column has a title, the value to sort by, its text or element, and a class. `table` describes what a row is:
// isChosen(item) and choose(item). Names come from cameras, so they are only set as text content.
function makeTable(id, columns, table) {
  const scroll = document.getElementById(id), body = element("tbody"), head = element("tr");
  const made = element("table");
  made.append(element("thead"), body);
  made.tHead.append(head);
  scroll.append(made);
  const state = { items: [], sorted: [], by: table.by, down: table.down, printing: false, rows: new Map() };

  // Rows that stay in view stay the same elements, so that they keep the focus.
  const rowOf = (item, number) => {
    const row = state.rows.get(item) || tableRow(columns, table, item, number);
    if (table.choose) row.setAttribute("aria-selected", table.isChosen(item));
    return row;
  };
  const render = () => {
    const rows = Math.ceil((scroll.clientHeight || 400) / TABLE_ROW) + 10;
    const first = state.printing ? 0 : Math.max(0, Math.floor(scroll.scrollTop / TABLE_ROW) - 5);
    const items = state.sorted.slice(first, first + (state.printing ? TABLE_ROWS_PRINTED : rows));
    const shown = items.map((item, i) => [item, rowOf(item, first + i)]);
    state.rows = new Map(shown);
    const after = state.printing ? 0 : state.sorted.length - first - shown.length;
    const cut = state.printing && state.sorted.length > shown.length ? [moreRow(state.sorted.length, shown.length)] : [];
    const wanted = [...spacer(first), ...shown.map(([, row]) => row), ...spacer(after), ...cut];
    const focused = [...body.children].indexOf(document.activeElement);
    const isFirst = focused >= 0 && document.activeElement.rowIndex <= body.rows.length / 2;
    for (const child of [...body.children]) if (!wanted.includes(child)) child.remove();
    wanted.forEach((child, i) => { if (body.children[i] !== child) body.insertBefore(child, body.children[i] || null); });
    keepFocus(shown.map(([, row]) => row), focused >= 0, isFirst);
  };
  const sort = () => {
    const { value } = columns[state.by];
    state.sorted = [...state.items].sort((a, b) => (state.down ? -1 : 1) * compareValues(value(a), value(b)));
    state.rows.clear();
    columns.forEach((column, i) => head.cells[i].setAttribute("aria-sort", i !== state.by ? "none" : state.down ? "descending" : "ascending"));
    render();
  };
  columns.forEach((column, i) => {
    const cell = element("th", undefined, column.className), button = element("button", column.title);
    button.type = "button";
    button.addEventListener("click", () => {
      state.down = state.by === i ? !state.down : column.className === "number";
      state.by = i;
      sort();
    });
    cell.append(button);
    cell.scope = "col";
    head.append(cell);
  });
  scroll.addEventListener("scroll", render);
  window.addEventListener("beforeprint", () => { state.printing = true; render(); });
  window.addEventListener("afterprint", () => { state.printing = false; render(); });
  return {
    setItems(items) {
      state.items = items;
      made.setAttribute("aria-rowcount", items.length + 1);
      sort();
    },
    render,
    // Scrolls to an item that was chosen elsewhere.
    reveal(item) {
      const at = state.sorted.indexOf(item) * TABLE_ROW;
      if (at >= 0 && (at < scroll.scrollTop || at + 2 * TABLE_ROW > scroll.scrollTop + scroll.clientHeight)) scroll.scrollTop = at - 2 * TABLE_ROW;
      render();
    },
  };
}

// One row of a table can be reached with Tab, the arrow keys reach the others. A focused row that was removed, because it is no
// longer in view, passes the focus to the nearest one.
function keepFocus(rows, wasFocused, passToFirst) {
  if (rows.length === 0) return;
  const lost = wasFocused && !rows.includes(document.activeElement);
  if (lost) rows[passToFirst ? 0 : rows.length - 1].focus({ preventScroll: true });
  const reachable = rows.find((row) => row === document.activeElement) || rows.find((row) => row.getAttribute("aria-selected") === "true") || rows[0];
  for (const row of rows) if (row.className === "choice") row.tabIndex = row === reachable ? 0 : -1;
}

// One cell without a column span, which would count hidden columns.
function spacer(rows) {
  if (rows <= 0) return [];
  const made = element("tr", undefined, "spacer"), cell = element("td");
  cell.style.height = rows * TABLE_ROW + "px";
  made.setAttribute("aria-hidden", "true");
  made.append(cell);
  return [made];
}

function tableRow(columns, table, item, number) {
  const made = element("tr");
  for (const column of columns) {
    const content = column.content(item), cell = element("td", content instanceof Node ? undefined : content, column.className);
    if (content instanceof Node) cell.append(content);
    else cell.title = content;
    made.append(cell);
  }
  made.setAttribute("aria-rowindex", number + 2);
  if (!table.choose) return made;
  made.className = "choice";
  made.tabIndex = -1;
  made.addEventListener("click", () => table.choose(item));
  made.addEventListener("keydown", (event) => {
    if (event.key === "Enter" || event.key === " ") {
      event.preventDefault();
      table.choose(item);
    }
    const next = { ArrowDown: made.nextElementSibling, ArrowUp: made.previousElementSibling }[event.key];
    if (!next) return;
    event.preventDefault();
    made.tabIndex = -1;
    next.tabIndex = 0;
    next.focus();
  });
  return made;
}
