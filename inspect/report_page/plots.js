"use strict";

// The plots. All have the time in seconds as their horizontal axis.
const plots = {
  drawn: [],

  // Distances between the ticks of the time axis that are round on a clock.
  clockSteps: [
    0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30,
    ...[1, 2, 5, 10, 15, 30].map((minutes) => 60 * minutes),
    ...[1, 2, 5, 10, 20, 50, 100, 200, 500, 1000].map((hours) => 3600 * hours),
  ],

  color(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
  },

  trackColor(i) {
    return plots.color(`--series-${i % 4}`);
  },

  trackName(track) {
    return `${track.kind} (trak[${track.index}])`;
  },

  // Draws into `place` what describe() returns: {series, data, height, axis, value}.
  add(place, describe) {
    const entry = {place, describe, chart: null};
    plots.drawn.push(entry);
    plots.draw(entry);
    new ResizeObserver(() => {
      const width = place.clientWidth;
      if (width > 0 && entry.chart.width !== width) entry.chart.setSize({width, height: entry.chart.height});
    }).observe(place);
  },

  draw(entry) {
    const wanted = entry.describe();
    const grid = {stroke: plots.color("--grid"), width: 1};
    const axis = {stroke: plots.color("--quiet"), grid, ticks: grid, font: "12px system-ui, sans-serif"};
    const options = {
      width: entry.place.clientWidth,
      height: wanted.height,
      padding: [8, 28, 0, 0],  // the label of the last tick needs room at the right
      scales: {x: {time: false}, y: {range: (chart, low, high) => [0, high > 0 ? high * 1.05 : 1]}},
      axes: [
        {...axis, values: (chart, ticks) => ticks.map((tick) => format.clock(tick, plots.decimals(ticks))),
          incrs: plots.clockSteps, space: 80},
        {...axis, values: (chart, ticks) => ticks.map(wanted.axis), size: plots.axisWidth},
      ],
      bands: wanted.bands ?? [],
      series: [{label: "time", value: (chart, time) => time === null ? "–" : format.clock(time)}, ...wanted.series],
      cursor: {drag: {x: true, y: false}},
      legend: {live: true},
    };
    const old = entry.chart;
    entry.chart = new uPlot(options, wanted.data, entry.place);
    if (old !== null) old.destroy();
  },

  // Room for the longest label, in pixels.
  axisWidth(chart, labels) {
    const longest = (labels ?? []).reduce((most, label) => Math.max(most, label.length), 0);
    return 20 + 7 * longest;
  },

  // Enough decimals to tell the ticks apart.
  decimals(ticks) {
    const step = ticks.length > 1 ? ticks[1] - ticks[0] : 1;
    return step >= 1 ? 0 : step >= 0.1 ? 1 : step >= 0.01 ? 2 : 3;
  },

  redrawAll() {
    for (const entry of plots.drawn) plots.draw(entry);
  },

  line(label, color, value, more) {
    return {label, stroke: color, width: 1.5, points: {show: false}, spanGaps: true,
      value: (chart, shown) => shown === null || shown === undefined ? "–" : value(shown), ...more};
  },

  dots(label, color, value, size) {
    return {label, stroke: color, fill: color, width: 0, paths: () => null,
      points: {show: true, size, stroke: color, fill: color},
      value: (chart, shown) => shown === null || shown === undefined ? "–" : value(shown)};
  },

  bitRates(report) {
    const tracks = report.tracks.filter((track) => track.bit_rate.values.length > 0);
    return {
      height: 260,
      axis: (kilobits) => `${format.count(kilobits)} kbit/s`,
      series: tracks.map((track, i) => plots.line(plots.trackName(track), plots.trackColor(i), format.bitRate,
        {paths: uPlot.paths.stepped({align: 1})})),
      data: uPlot.join(tracks.map((track) => {
        // The last value lasts as long as the others.
        const values = [...track.bit_rate.values, track.bit_rate.values[track.bit_rate.values.length - 1]];
        return [values.map((value, i) => i * track.bit_rate.step), values];
      })),
    };
  },

  interleaving(report) {
    const tracks = report.tracks.filter((track) => track.place.time.length > 0);
    const parts = tracks.map((track) => [track.place.time, track.place.offset]);
    const series = tracks.map((track, i) => plots.line(plots.trackName(track), plots.trackColor(i), format.bytes));
    if (report.seeks !== null && report.seeks.shown.length > 0) {
      parts.push(plots.rising(report.seeks.shown.map((seek) => [seek.time, seek.to])));
      series.push(plots.dots("seek to", plots.color("--seek"), format.bytes, 7));
    }
    return {height: 320, axis: format.bytes, series, data: uPlot.join(parts)};
  },

  // Pairs as two lists; of several at one time the last stays, as one time has one place in a plot.
  rising(pairs) {
    const byTime = new Map(pairs);
    const times = [...byTime.keys()].sort((a, b) => a - b);
    return [times, times.map((time) => byTime.get(time))];
  },

  sampleSizes(track, i) {
    const sizes = track.sizes;
    const color = plots.trackColor(i);
    const series = [plots.line(sizes.samples_per_point === 1 ? "size" : "largest", color, format.bytes)];
    const parts = [[sizes.time, sizes.largest]];
    const bands = [];
    if (sizes.samples_per_point > 1) {
      series.push(plots.line("smallest", color, format.bytes, {dash: [4, 4]}));
      parts.push([sizes.time, sizes.smallest]);
      bands.push({series: [1, 2], fill: `${color}40`});
    }
    if (sizes.key_time.length > 0) {
      series.push(plots.dots("key frame", plots.color("--key"), format.bytes, 6));
      parts.push([sizes.key_time, sizes.key_size]);
    }
    return {height: 220, axis: format.bytes, series, bands, data: uPlot.join(parts)};
  },
};
