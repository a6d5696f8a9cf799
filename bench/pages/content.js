// What the pages are filled with: text and pictures from random numbers with a fixed beginning, so
// that they are the same at every load and need no files.
"use strict";

let state = 1;
function random() { // at least 0, below 1
  state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
  return state / 4294967296;
}
const pick = list => list[Math.floor(random() * list.length)];

const subjects = ["The river", "A small harbour", "Every second train", "The old library",
  "Most of the harvest", "A clock without hands", "The road to the north", "Our neighbour's map",
  "The winter of that year", "A letter from the mill", "The lighthouse", "What the council built"];
const verbs = ["carries", "reaches", "was older than", "has changed", "still crosses", "hardly knows",
  "stands beside", "was measured against", "takes its name from", "was paid for with", "outlived"];
const objects = ["the stone bridge", "four villages and a market", "the first survey",
  "a field of barley", "the salt road", "three hundred barrels", "the bell of the upper town",
  "what the maps had promised", "a garden behind the wall", "the long quay", "twelve pairs of oxen"];
const ends = ["until the ice comes", "in spite of the tax", "as the chronicle has it",
  "and nobody remembers why", "on an ordinary Tuesday", "between two floods",
  "at a price of 14 shillings", "for the better part of 60 years", "which surprised the miller"];
const joints = [". ", ". ", ", and so ", "; ", ", although "];

function sentences(count) {
  let text = "";
  for (let i = 0; i < count; i++) {
    const subject = pick(subjects);
    const inside = text !== "" && !text.endsWith(". ");
    text += `${inside ? subject.charAt(0).toLowerCase() + subject.slice(1) : subject} ${pick(verbs)} `
      + `${pick(objects)} ${pick(ends)}${i + 1 < count ? pick(joints) : "."}`;
  }
  return text;
}

// An element with what stands in it: texts and other elements.
function make(name, attributes, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

// Waves of several lengths, one over the other, make light and shade; grain as of a camera's sensor
// makes it a photograph, of which no two pixels agree.
function photo(width, height) {
  const canvas = make("canvas", { width, height });
  const context = canvas.getContext("2d");
  const image = context.createImageData(width, height);
  const waves = [];
  for (let i = 0; i < 24; i++) {
    const length = 400 / (1 + i);
    const angle = random() * Math.PI;
    waves.push({ x: Math.cos(angle) / length, y: Math.sin(angle) / length, phase: random() * 6.3,
      channel: i % 3, height: 36 / Math.sqrt(1 + i) });
  }
  const horizon = height * (0.4 + 0.2 * random());
  for (let y = 0, at = 0; y < height; y++) {
    for (let x = 0; x < width; x++, at += 4) {
      const light = [110, 120, 130];
      for (const wave of waves) {
        const part = wave.height * Math.sin(wave.x * x + wave.y * y + wave.phase);
        for (let c = 0; c < 3; c++) light[c] += c === wave.channel ? part : part / 2;
      }
      const shade = y < horizon ? 1.3 - 0.3 * y / horizon : 0.8;
      const grain = 10 * (random() - 0.5);
      for (let c = 0; c < 3; c++) image.data[at + c] = light[c] * shade + grain;
      image.data[at + 3] = 255;
    }
  }
  context.putImageData(image, 0, 0);
  return canvas;
}
