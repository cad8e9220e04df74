"use strict";

// What a plot shows, in words: above it for all readers, and for those who can't see it.
const captions = {
  bitRate(tracks) {
    const parts = tracks.map((track) => {
      const values = track.bit_rate.values;
      const most = values.reduce((a, b) => Math.max(a, b), 0);
      const average = track.duration > 0 ? track.bytes * 8 / 1000 / track.duration : 0;
      return `${plots.trackName(track)}: ${format.bitRate(average)} on average, ${format.bitRate(most)} at most`;
    });
    const step = tracks[0].bit_rate.step;
    return `One value for every ${step === 1 ? "second" : format.counted(step, "second")}. ${parts.join("; ")}.`;
  },

  interleaving(report) {
    const lines = "Where in the file the data of each moment lies. Tracks whose lines run close together can be read in one go.";
    if (report.seeks === null) return lines;
    if (report.seeks.count === 0) return `${lines} A host that plays the file never has to seek.`;
    const shown = report.seeks.count === report.seeks.shown.length ? ""
      : `, of which the first ${format.count(report.seeks.shown.length)} are marked`;
    return `${lines} A host that plays the file seeks ${format.counted(report.seeks.count, "time")}${shown}.`;
  },

  sizes(track) {
    const point = track.sizes.samples_per_point;
    const group = point === 1 ? "" : ` Each point stands for ${format.counted(point, "sample")}: the largest and the smallest.`;
    const all = track.key_frames === track.samples ? "every one a key frame" : format.counted(track.key_frames, "key frame");
    const rest = track.samples_left_out === 0 ? ""
      : ` Not looked at: ${format.counted(track.samples_left_out, "further sample")}.`;
    return `${format.counted(track.samples, "sample")}, ${all}.${group}${rest}`;
  },
};
