"use strict";

// Numbers as a person reads them.
const format = {
  count(number) {
    return number.toLocaleString("en");
  },

  // "1 packet", "2 packets"
  counted(number, one, several = `${one}s`) {
    return `${format.count(number)} ${number === 1 ? one : several}`;
  },

  bytes(number) {
    const units = ["bytes", "kB", "MB", "GB", "TB"];
    let unit = 0;
    let shown = number;
    while (Math.abs(shown) >= 1000 && unit + 1 < units.length) {
      shown /= 1000;
      ++unit;
    }
    return `${unit === 0 ? shown : shown.toPrecision(3)} ${units[unit]}`;
  },

  // Seconds as h:mm:ss, with as many decimals as are asked for.
  clock(seconds, decimals = 3) {
    if (seconds === null) return "unknown";
    const scale = 10 ** decimals;
    const units = Math.round(Math.abs(seconds) * scale);
    const whole = Math.floor(units / scale);
    const pad = (number, width) => String(number).padStart(width, "0");
    const fraction = decimals === 0 ? "" : "." + pad(units % scale, decimals);
    const sign = seconds < 0 ? "-" : "";
    return `${sign}${Math.floor(whole / 3600)}:${pad(Math.floor(whole / 60) % 60, 2)}:${pad(whole % 60, 2)}${fraction}`;
  },

  bitRate(kilobits) {
    return `${kilobits.toFixed(kilobits < 10 ? 2 : 0)} kbit/s`;
  },
};
