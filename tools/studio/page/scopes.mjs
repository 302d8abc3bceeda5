// Histogram and vectorscope of the pixels that are shown.

const kSamples = 200_000;  // pixels looked at, at most

// Every n-th pixel of a picture, so that at most kSamples are.
export function* samples({ data }) {
  const pixels = data.length / 4, step = Math.max(1, Math.ceil(pixels / kSamples));
  for (let at = 0; at < data.length; at += 4 * step) yield at;
}

const luma = (data, at) => 0.299 * data[at] + 0.587 * data[at + 1] + 0.114 * data[at + 2];

// {red, green, blue, luma: 256 counts each, clipped: share with a channel of 254 or more}
export function histogramOf(picture) {
  const counts = { red: new Uint32Array(256), green: new Uint32Array(256), blue: new Uint32Array(256), luma: new Uint32Array(256) };
  const { data } = picture;
  let clipped = 0, number = 0, sum = 0;
  const pixels = data.length / 4, step = 4 * Math.max(1, Math.ceil(pixels / kSamples));
  for (let at = 0; at < data.length; at += step) {
    const r = data[at], g = data[at + 1], b = data[at + 2], y = luma(data, at);
    ++counts.red[r];
    ++counts.green[g];
    ++counts.blue[b];
    ++counts.luma[Math.round(y)];
    clipped += r >= 254 || g >= 254 || b >= 254 ? 1 : 0;
    sum += y;
    ++number;
  }
  return { ...counts, clipped: clipped / number, mean: sum / number };
}

function sized(canvas) {
  const ratio = devicePixelRatio, width = Math.round(canvas.clientWidth * ratio), height = Math.round(canvas.clientHeight * ratio);
  if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, { width, height });
  return { width, height, context: canvas.getContext("2d") };
}

const colour = (canvas, name) => getComputedStyle(canvas).getPropertyValue(name);

export function drawHistogram(canvas, histogram) {
  const { width, height, context } = sized(canvas);
  if (!width) return;
  context.clearRect(0, 0, width, height);
  context.globalCompositeOperation = colour(canvas, "--scope-blend").trim() || "source-over";
  const channels = ["red", "green", "blue"];
  const top = Math.max(...channels.map((name) => [...histogram[name]].sort((a, b) => b - a)[4])) || 1;
  for (const name of channels) {
    context.fillStyle = colour(canvas, `--scope-${name}`);
    context.beginPath();
    context.moveTo(0, height);
    histogram[name].forEach((count, level) => context.lineTo((level / 255) * width, height - Math.min(count / top, 1) * (height - 4)));
    context.lineTo(width, height);
    context.fill();
  }
  context.globalCompositeOperation = "source-over";
  canvas.setAttribute("aria-label",
    `Histogram: mean ${Math.round(histogram.mean)}, ${(100 * histogram.clipped).toFixed(1)} percent clipped`);
}

// U to the right, V upwards, as engineers know it; skin lies along the line to the upper left.
const kMarks = { R: [-0.169, 0.5], Mg: [0.331, 0.419], B: [0.5, -0.081], Cy: [0.169, -0.5], G: [-0.331, -0.419], Yl: [-0.5, 0.081] };

function drawGraticule(context, size, canvas) {
  const middle = size / 2;
  context.strokeStyle = colour(canvas, "--scope-grid");
  context.lineWidth = devicePixelRatio;
  context.beginPath();
  for (const radius of [0.25, 0.5, 0.75, 1]) {
    context.moveTo(middle + middle * radius * 0.95, middle);
    context.arc(middle, middle, middle * radius * 0.95, 0, 2 * Math.PI);
  }
  context.moveTo(middle, middle);
  const skin = (123 * Math.PI) / 180;
  context.lineTo(middle + Math.cos(skin) * middle * 0.95, middle - Math.sin(skin) * middle * 0.95);
  context.stroke();
  context.fillStyle = colour(canvas, "--scope-text");
  context.font = `${10 * devicePixelRatio}px system-ui, sans-serif`;
  context.textAlign = "center";
  context.textBaseline = "middle";
  for (const [name, [u, v]] of Object.entries(kMarks)) context.fillText(name, middle + u * size * 0.84, middle - v * size * 0.84);
}

export function drawVectorscope(canvas, picture) {
  const { width, height, context } = sized(canvas), size = Math.min(width, height);
  if (!size) return;
  const { data } = picture, cells = 128, counts = new Uint32Array(cells * cells), sums = new Float32Array(cells * cells * 3);
  for (const at of samples(picture)) {
    const r = data[at], g = data[at + 1], b = data[at + 2];
    const u = -0.168736 * r - 0.331264 * g + 0.5 * b, v = 0.5 * r - 0.418688 * g - 0.081312 * b;
    const cell = Math.min(cells - 1, ((128 - v) * cells) >> 8) * cells + Math.min(cells - 1, ((u + 128) * cells) >> 8);
    ++counts[cell];
    sums[3 * cell] += r;
    sums[3 * cell + 1] += g;
    sums[3 * cell + 2] += b;
  }
  const dots = new ImageData(cells, cells), top = Math.log1p(Math.max(...counts));
  counts.forEach((count, cell) => {
    if (!count) return;
    for (let c = 0; c < 3; ++c) dots.data[4 * cell + c] = Math.min(255, 40 + sums[3 * cell + c] / count);
    dots.data[4 * cell + 3] = 90 + 165 * (Math.log1p(count) / top);
  });
  const small = new OffscreenCanvas(cells, cells);
  small.getContext("2d").putImageData(dots, 0, 0);
  context.clearRect(0, 0, width, height);
  context.save();
  context.translate((width - size) / 2, (height - size) / 2);
  drawGraticule(context, size, canvas);
  context.drawImage(small, 0, 0, size, size);
  context.restore();
}
