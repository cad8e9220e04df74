"use strict";

// Makes elements. Text only ever becomes a text node, so what a file says can't turn into markup.
const dom = {
  // make("td", {class: "text"}, "words", otherElement, ...)
  make(name, attributes, ...children) {
    const element = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
    element.append(...children.filter((child) => child !== null));
    return element;
  },

  // A value that may be missing.
  orNone(text) {
    return text === null || text === "" ? dom.make("span", {class: "none"}, "none") : text;
  },

  // A text that would make its row very high scrolls inside it.
  cell(content) {
    if (content === null) return "";
    if (typeof content !== "string" || content.length < 400) return content;
    return dom.make("div", {class: "long", tabindex: "0"}, content);
  },

  // columns: [{name, class}]; rows: lists of texts or elements, null where there is nothing.
  table(columns, rows) {
    const head = columns.map((column) => dom.make("th", {scope: "col", class: column.class}, column.name));
    const body = rows.map((row) => dom.make("tr", {},
      ...row.map((cell, i) => dom.make("td", {class: columns[i].class}, dom.cell(cell)))));
    const tall = rows.length > 12 ? "frame tall" : "frame";
    return dom.make("div", {class: tall, tabindex: "0"}, dom.make("table", {},
      dom.make("thead", {}, dom.make("tr", {}, ...head)), dom.make("tbody", {}, ...body)));
  },
};
