"use strict";

// Puts the page together from the data that stands in it.
(() => {
  const report = JSON.parse(document.getElementById("data").textContent);
  const main = document.querySelector("main");
  const links = dom.make("ul", {});

  function section(id, title, contents, width = "wide") {
    main.append(dom.make("section", {id, class: width}, dom.make("h2", {}, title),
      ...contents.filter((part) => part !== null)));
    links.append(dom.make("li", {}, dom.make("a", {href: `#${id}`}, title)));
  }

  // A section with plots, each under a title of its own; drawn once it stands in the page.
  function plotSection(id, title, hint, figures) {
    if (figures.length === 0) {
      section(id, title, [dom.make("p", {class: "none"}, "There are no samples to plot.")]);
      return;
    }
    const drawn = figures.map(({name, words, describe}) => ({
      describe, name, words,
      place: dom.make("div", {class: "plot", role: "img", "aria-label": `${title}: ${words}`}),
    }));
    section(id, title, [
      ...drawn.flatMap(({name, words, place}) => [
        name === null ? null : dom.make("h3", {}, name), dom.make("p", {class: "quiet"}, words), place,
      ]),
      dom.make("p", {class: "hint"}, hint),
    ]);
    for (const {place, describe} of drawn) plots.add(place, describe);
  }

  document.title = `${report.file} – velainspect`;
  document.getElementById("name").textContent = report.file;
  const outcome = document.getElementById("outcome");
  outcome.textContent = report.outcome.sentence;
  outcome.className = report.outcome.plays ? "good" : "bad";
  document.querySelector("nav").append(links);

  section("facts", "Facts", sections.facts(report), "half");
  section("covers", "Pictures", sections.covers(report), "half");
  section("check", "Check", sections.check(report));
  if (report.losses.length > 0) section("losses", "Not delivered", sections.losses(report));
  section("chapters", "Chapters", sections.chapters(report));
  section("tags", "Tags", sections.tags(report));

  const withSamples = report.tracks.filter((track) => track.samples > 0);
  const zoom = "Drag across a plot to zoom in, double-click to see all.";
  plotSection("bit-rate", "Bit rate", zoom, withSamples.length === 0 ? [] : [{
    name: null,
    words: captions.bitRate(withSamples),
    describe: () => plots.bitRates(report),
  }]);
  plotSection("interleaving", "Interleaving", zoom, withSamples.length === 0 ? [] : [{
    name: null,
    words: captions.interleaving(report),
    describe: () => plots.interleaving(report),
  }]);
  plotSection("sizes", "Sample sizes", zoom, withSamples.map((track, i) => ({
    name: plots.trackName(track),
    words: captions.sizes(track),
    describe: () => plots.sampleSizes(track, i),
  })));

  section("boxes", "Boxes", boxTree.section(report));
  document.querySelector("footer").textContent =
    `Written by ${report.program}. The page is complete in itself and loads nothing.`;

  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => plots.redrawAll());
})();
