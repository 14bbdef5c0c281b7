// SPDX-License-Identifier: MIT
// Makes elements. What comes from a stream goes in as text: nothing here reads markup.

// attributes: "class" and the like; functions are listeners ("click")
function make(name, attributes, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(attributes || {})) {
        if (typeof value === "function")
            element.addEventListener(key, value);
        else if (value === true)
            element.setAttribute(key, "");
        else if (value !== false && value !== null && value !== undefined)
            element.setAttribute(key, value);
    }
    element.append(
        ...children.flat(Infinity).filter((child) => child !== null && child !== undefined));
    return element;
}

// A text out of a stream: its direction marks reach no further than the text itself.
function quoted(text) { return make("bdi", {class: "quoted"}, String(text)); }

let lastId = 0;

function newId(prefix) { return `${prefix}-${++lastId}`; }

// A part of the report with a heading.
function section(title, ...children) {
    const id = newId("part");
    return make("section", {"aria-labelledby": id}, make("h2", {id}, title), ...children);
}

function button(text, onClick, attributes) {
    return make("button", {type: "button", click: onClick, ...attributes}, text);
}

// A list of terms and what they mean here; entries without a value are left out.
function facts(entries) {
    const list = make("dl", {class: "facts"});
    for (const [term, value] of entries) {
        if (value === null || value === undefined || value === "") continue;
        list.append(make("div", {}, make("dt", {}, term), make("dd", {}, value)));
    }
    return list;
}

// What stands beside a row that says how many more there are.
function leftOut(count, what) {
    return count > 0 ?
        make("p", {class: "note"}, `${grouped(count)} ${what} are not in this page.`) :
        null;
}
