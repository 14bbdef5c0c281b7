// SPDX-License-Identifier: MIT
// Tables that sort by any column and show only what filters let through.

// caption   what the table lists
// columns   {title, value(row), cell(row), right}: value sorts and, without a cell, is shown
// filters   of makeFilters; empty for none
function dataTable(caption, columns, rows, filters = null) {
    const body = make("tbody");
    const shown = make("p", {class: "note", role: "status"});
    let order = {column: null, descending: false};

    function fill() {
        const passed = filters ? rows.filter(filters.lets) : rows.slice();
        if (order.column) sortRows(passed, order.column.value, order.descending);
        body.replaceChildren(...passed.map((row) => rowOf(columns, row)));
        shown.textContent =
            filters ? `${grouped(passed.length)} of ${grouped(rows.length)} shown` : "";
    }

    const headings = columns.map(
        (column) => heading(column, () => {
            const again = order.column === column;
            order = {column, descending: again ? !order.descending : Boolean(column.right)};
            headings.forEach((th) => th.removeAttribute("aria-sort"));
            headings[columns.indexOf(column)].setAttribute(
                "aria-sort", order.descending ? "descending" : "ascending");
            fill();
        }));
    if (filters) filters.onChange(fill);
    fill();
    const table = make(
        "table", {}, make("caption", {}, caption), make("thead", {}, make("tr", {}, headings)),
        body);
    return make(
        "div", {class: "table"}, filters ? filters.form : null, filters ? shown : null,
        scrollable(caption, table));
}

// Wide things scroll by themselves, so that the page does not.
function scrollable(name, content) {
    return make("div", {class: "scroll", role: "region", "aria-label": name, tabindex: 0}, content);
}

function heading(column, sort) {
    return make(
        "th", {scope: "col", class: column.right ? "right" : null},
        button(column.title, sort, {class: "sort"}));
}

function rowOf(columns, row) {
    return make("tr", {}, columns.map((column, i) => {
        const content = column.cell ? column.cell(row) : column.value(row);
        const known = isKnown(content) && content !== "" ? content : kNothing;
        const name = i === 0 ? "th" : "td";
        return make(
            name, {scope: i === 0 ? "row" : null, class: column.right ? "right" : null}, known);
    }));
}

// Rows without a value come last either way.
function sortRows(rows, valueOf, descending) {
    rows.sort((a, b) => {
        const x = valueOf(a);
        const y = valueOf(b);
        if (!isKnown(x) || !isKnown(y)) return isKnown(y) - isKnown(x);
        const order = typeof x === "string" ? x.localeCompare(y, "en") : x - y;
        return descending ? -order : order;
    });
}

// texts   row -> what the search looks in
// choices [{label, options: [[value, text]], has(row, value)}]
// marks   [{label, has(row)}]: boxes to tick
function makeFilters({texts, choices = [], marks = []}) {
    const search = make("input", {type: "search", spellcheck: "false", autocomplete: "off"});
    const selects = choices.map(
        (choice) => make(
            "select", {}, make("option", {value: ""}, "all"),
            choice.options.map(([value, text]) => make("option", {value}, text))));
    const boxes = marks.map(() => make("input", {type: "checkbox"}));
    const controls = [search, ...selects, ...boxes];

    const form = make(
        "div", {class: "filters", role: "search"}, labelled("Find", search),
        choices.map((choice, i) => labelled(choice.label, selects[i])),
        marks.map((mark, i) => make("label", {class: "tick"}, boxes[i], mark.label)));

    const lets = (row) => {
        const wanted = search.value.trim().toLowerCase();
        if (wanted && !texts(row).toLowerCase().includes(wanted)) return false;
        return choices.every(
                   (choice, i) => !selects[i].value || choice.has(row, selects[i].value)) &&
            marks.every((mark, i) => !boxes[i].checked || mark.has(row));
    };
    return {form, lets, onChange: (f) => controls.forEach((c) => c.addEventListener("input", f))};
}

function labelled(text, control) { return make("label", {}, make("span", {}, text), control); }
