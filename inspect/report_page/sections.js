"use strict";

// The parts of the page that are text. Each function returns the contents of a section.
const sections = {
  facts(report) {
    const rows = report.facts.map((fact) => dom.make("tr", {},
      dom.make("th", {scope: "row"}, fact.name), dom.make("td", {class: "text"}, fact.value)));
    return [dom.make("table", {}, dom.make("tbody", {}, ...rows))];
  },

  chapters(report) {
    if (report.chapters.length === 0 && report.other_chapters.length === 0) {
      return [dom.make("p", {class: "none"}, "The file has no chapters.")];
    }
    return [
      report.chapters.length === 0 ? null : sections.readChapters(report.chapters),
      ...report.other_chapters.flatMap(sections.otherChapters),
    ];
  },

  // In the file, and as the plug-in tells them; the former only where the file has any.
  readChapters(chapters) {
    const inFile = chapters.some((chapter) => chapter.file !== null);
    const told = chapters.some((chapter) => chapter.plugin !== null);
    const columns = [{name: "", class: "number"}];
    if (inFile) columns.push({name: "Start in the file", class: "time"}, {name: "Title in the file", class: "text"});
    if (told) columns.push({name: "Start as told", class: "time"}, {name: "Title as told", class: "text"});
    const cells = (mark) => mark === null ? [null, null] : [format.clock(mark.start), dom.orNone(mark.title)];
    const rows = chapters.map((chapter, i) => [
      String(i + 1), ...(inFile ? cells(chapter.file) : []), ...(told ? cells(chapter.plugin) : []),
    ]);
    return dom.table(columns, rows);
  },

  // A list that the plug-in does not read.
  otherChapters(list) {
    const columns = [{name: "", class: "number"}, {name: "Start", class: "time"}, {name: "Title", class: "text"}];
    const rows = list.chapters.map((chapter, i) => [
      String(i + 1), format.clock(chapter.start), dom.orNone(chapter.title),
    ]);
    return [
      dom.make("h3", {}, "Not read by the plug-in: ", dom.make("span", {class: "path"}, list.path)),
      dom.table(columns, rows),
    ];
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

  // What a host does not get of a file that plays.
  losses(report) {
    return [dom.make("ul", {}, ...report.losses.map((loss) => dom.make("li", {}, loss)))];
  },

  check(report) {
    if (report.findings.length === 0) return [dom.make("p", {}, "No faults.")];
    const items = report.findings.map((finding) => dom.make("li", {},
      dom.make("span", {class: `mark ${finding.severity}`}, finding.severity), " ",
      finding.track === null ? null : `track ${finding.track}: `, finding.message));
    return [dom.make("ul", {class: "findings"}, ...items)];
  },
};
