"use strict";

/* Drawing on canvases: the strip of a night and the spectrogram of one chunk. Knows no DOM but the canvas it is given. */

const Mel = { bands: 20, frames: 1201, columns: 4, seconds: 30 };

/* Dark violet over red to pale yellow, even steps in lightness: stops of red, green, blue. */
const rampStops = [[6, 4, 26], [45, 17, 96], [114, 31, 129], [183, 55, 121], [241, 96, 93], [254, 176, 120], [252, 253, 191]];

function rampColour(value) {
  const at = Math.min(Math.max(value, 0), 1) * (rampStops.length - 1);
  const low = Math.min(Math.floor(at), rampStops.length - 2);
  return rampStops[low].map((from, i) => Math.round(from + (rampStops[low + 1][i] - from) * (at - low)));
}

const ramp = Array.from({ length: 256 }, (_, i) => rampColour(i / 255));

/* The values between which nearly all others lie, so that one loud movement does not darken the night. */
function contrast(values) {
  const sorted = Float32Array.from(values).sort();
  if (sorted.length === 0) {
    return [0, 1];
  }
  const low = sorted[Math.floor(sorted.length * 0.02)];
  const high = sorted[Math.floor((sorted.length - 1) * 0.998)];
  return high > low ? [low, high] : [low, low + 1];
}

/* Fits the pixels of a canvas to its size on the screen and returns its context. */
function prepared(canvas) {
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.max(1, Math.round(canvas.clientWidth * scale));
  canvas.height = Math.max(1, Math.round(canvas.clientHeight * scale));
  return canvas.getContext("2d");
}

function hatch(context, ink, ground) {
  const tile = document.createElement("canvas");
  tile.width = tile.height = 8;
  const on = tile.getContext("2d");
  on.fillStyle = ground;
  on.fillRect(0, 0, 8, 8);
  on.strokeStyle = ink;
  on.lineWidth = 1.5;
  on.beginPath();
  for (const shift of [-8, 0, 8]) {
    on.moveTo(shift, 8);
    on.lineTo(shift + 8, 0);
  }
  on.stroke();
  return context.createPattern(tile, "repeat");
}

/* night: {expected, gaps: pairs of numbers, levels: Map of number to 80 bytes, twice: Set of numbers}. Below the levels a
   lane says what arrived; there every gap is at least a few pixels wide, however long the night. */
function drawNight(canvas, night, selected, colours) {
  const context = prepared(canvas);
  const { width, height } = canvas;
  const lane = Math.round(height / 12);
  context.clearRect(0, 0, width, height);
  if (night.expected === 0) {
    return;
  }
  const all = [];
  for (const levels of night.levels.values()) {
    for (const level of levels) {
      all.push(level);
    }
  }
  const [low, high] = contrast(all);
  drawLevels(context, height - lane, night, low, high);
  context.fillStyle = colours.good;
  context.fillRect(0, height - lane, width, lane);
  drawGaps(context, lane, night, colours);
  const x = (number) => (number / night.expected) * width;
  context.fillStyle = colours.twice;
  for (const number of night.twice) {
    context.fillRect(x(number), height - lane, Math.max(4, x(1)), lane);
  }
  if (selected !== null) {
    context.strokeStyle = colours.accent;
    context.lineWidth = 3;
    context.strokeRect(x(selected) - 1.5, 1.5, Math.max(4, x(1)) + 3, height - 3);
  }
}

function drawLevels(context, height, night, low, high) {
  const { width } = context.canvas;
  const image = context.createImageData(width, height);
  for (let x = 0; x < width; ++x) {
    const place = (x / width) * night.expected;
    const levels = night.levels.get(Math.floor(place));
    if (!levels) {
      continue;
    }
    const column = Math.floor((place % 1) * Mel.columns);
    for (let y = 0; y < height; ++y) {
      const band = Math.floor(((height - 1 - y) / height) * Mel.bands);
      const value = (levels[band * Mel.columns + column] - low) / (high - low);
      const colour = ramp[Math.round(Math.min(Math.max(value, 0), 1) * 255)];
      image.data.set([colour[0], colour[1], colour[2], 255], (y * width + x) * 4);
    }
  }
  context.putImageData(image, 0, 0);
}

function drawGaps(context, lane, night, colours) {
  const { width, height } = context.canvas;
  const pattern = hatch(context, colours.gap, colours.gapGround);
  for (const [first, last] of night.gaps) {
    const from = (first / night.expected) * width;
    const wide = ((last + 1) / night.expected) * width - from;
    context.fillStyle = wide < 8 ? colours.gap : pattern;
    context.fillRect(from, 0, Math.max(wide, 2), height - lane);
    context.fillStyle = colours.gap;
    context.fillRect(from, height - lane, Math.max(wide, 4), lane);
  }
}

/* The floats of a .npy file of one chunk, in decibels. */
function decibelsOf(buffer) {
  const view = new DataView(buffer);
  const begin = 10 + view.getUint16(8, true);
  const values = new Float32Array(Mel.bands * Mel.frames);
  for (let i = 0; i < values.length; ++i) {
    const power = view.getFloat32(begin + i * 4, true);
    values[i] = 10 * Math.log10(Math.max(Number.isFinite(power) ? power : 0, 1e-10));
  }
  return values;
}

/* Returns the decibels that the darkest and the brightest colour stand for. */
function drawChunk(canvas, decibels) {
  const [low, high] = contrast(decibels);
  const picture = document.createElement("canvas");
  picture.width = Mel.frames;
  picture.height = Mel.bands;
  const on = picture.getContext("2d");
  const image = on.createImageData(Mel.frames, Mel.bands);
  for (let band = 0; band < Mel.bands; ++band) {
    for (let frame = 0; frame < Mel.frames; ++frame) {
      const value = (decibels[band * Mel.frames + frame] - low) / (high - low);
      const colour = ramp[Math.round(Math.min(Math.max(value, 0), 1) * 255)];
      image.data.set([colour[0], colour[1], colour[2], 255], ((Mel.bands - 1 - band) * Mel.frames + frame) * 4);
    }
  }
  on.putImageData(image, 0, 0);
  const context = prepared(canvas);
  context.imageSmoothingEnabled = false;
  context.drawImage(picture, 0, 0, canvas.width, canvas.height);
  return [low, high];
}
