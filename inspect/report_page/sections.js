"use strict";

// The parts of the page that are text. Each function returns the contents of a section.
const sections = {
  facts(report) {
    const rows = report.facts.map((fact) => dom.make("tr", {},
      dom.make("th", {scope: "row"}, fact.name), dom.make("td", {class: "text"}, fact.value)));
    return [dom.make("table", {}, dom.make("tbody", {}, ...rows))];
  },

  chapters(report) {
    if (report.chapters.length === 0) {
      return [dom.make("p", {class: "none"}, "The file has no chapters.")];
    }
    const columns = [
      {name: "", class: "number"},
      {name: "Start in the file", class: "time"}, {name: "Title in the file", class: "text"},
      {name: "Start as played", class: "time"}, {name: "Title as played", class: "text"},
    ];
    const rows = report.chapters.map((chapter, i) => [
      String(i + 1),
      chapter.file ? format.clock(chapter.file.start) : null,
      chapter.file ? dom.orNone(chapter.file.title) : null,
      chapter.plugin ? format.clock(chapter.plugin.start) : null,
      chapter.plugin ? dom.orNone(chapter.plugin.title) : null,
    ]);
    return [dom.table(columns, rows)];
  },

  tags(report) {
    if (report.tags.length === 0) return [dom.make("p", {class: "none"}, "The file has no tags.")];
    const columns = [
      {name: "Item", class: "path"}, {name: "In the file", class: "text"},
      {name: "Tag", class: "text"}, {name: "As the plug-in tells it", class: "text"},
    ];
    const told = (tag) => tag.told === null ? dom.make("span", {class: "none"}, "not told") : tag.told;
    return [dom.table(columns, report.tags.map((tag) => [tag.item, tag.raw, tag.name, told(tag)]))];
  },

  covers(report) {
    if (report.covers.length === 0) return [dom.make("p", {class: "none"}, "The file has no picture.")];
    const figures = report.covers.map((cover) => dom.make("figure", {},
      cover.image === null ? dom.make("p", {class: "none"}, cover.left_out)
        : dom.make("img", {src: cover.image, alt: `Picture at ${cover.path}`}),
      dom.make("figcaption", {}, `${cover.kind}, ${format.bytes(cover.bytes)}, `,
        dom.make("span", {class: "path"}, cover.path))));
    return [dom.make("div", {class: "covers"}, ...figures)];
  },

  check(report) {
    if (report.findings.length === 0) return [dom.make("p", {}, "Nothing is wrong with the file.")];
    const items = report.findings.map((finding) => dom.make("li", {},
      dom.make("span", {class: `mark ${finding.severity}`}, finding.severity), " ",
      finding.message,
      finding.path === null ? null : dom.make("div", {class: "path quiet"}, finding.path)));
    return [dom.make("ul", {class: "findings"}, ...items)];
  },
};
