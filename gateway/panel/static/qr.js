// QR codes of bytes, versions 1 to 15, error correction level M, as squares that are dark or not.

// By version: error correction bytes of a block, and blocks.
const ecBytes = [10, 16, 26, 18, 24, 16, 18, 22, 22, 26, 30, 22, 22, 24, 24];
const ecBlocks = [1, 1, 1, 2, 2, 4, 4, 4, 5, 5, 5, 8, 9, 9, 10];
const generatorBits = 0x11d; // of the field of 256
const formatBits = 0x537, formatMask = 0x5412, versionBits = 0x1f25;

function times(left, right) {
  let product = 0;
  for (let bit = 7; bit >= 0; bit--) {
    product = (product << 1) ^ ((product >> 7) * generatorBits);
    if ((right >> bit) & 1) product ^= left;
  }
  return product;
}

function generator(degree) {
  const result = new Array(degree - 1).fill(0).concat(1);
  let root = 1;
  for (let at = 0; at < degree; at++) {
    for (let each = 0; each < degree; each++) result[each] = times(result[each], root) ^ (result[each + 1] ?? 0);
    root = times(root, 2);
  }
  return result;
}

function correction(data, divisor) {
  const rest = divisor.map(() => 0);
  for (const byte of data) {
    const factor = byte ^ rest.shift();
    rest.push(0);
    divisor.forEach((each, at) => (rest[at] ^= times(each, factor)));
  }
  return rest;
}

// Bytes that a version holds, data and correction together.
function capacity(version) {
  const aligned = version < 2 ? 0 : Math.floor(version / 7) + 2;
  let bits = (16 * version + 128) * version + 64;
  if (aligned > 0) bits -= (25 * aligned - 10) * aligned - 55;
  return Math.floor((version >= 7 ? bits - 36 : bits) / 8);
}

function dataBytes(version) {
  return capacity(version) - ecBytes[version - 1] * ecBlocks[version - 1];
}

function dataOf(bytes, version) {
  const bits = [];
  const put = (value, count) => { for (let bit = count - 1; bit >= 0; bit--) bits.push((value >> bit) & 1); };
  put(4, 4);
  put(bytes.length, version < 10 ? 8 : 16);
  bytes.forEach((byte) => put(byte, 8));
  const room = dataBytes(version) * 8;
  put(0, Math.min(4, room - bits.length));
  put(0, (8 - (bits.length % 8)) % 8);
  for (let filler = 0xec; bits.length < room; filler ^= 0xec ^ 0x11) put(filler, 8);
  return Array.from({ length: room / 8 }, (_, at) => parseInt(bits.slice(8 * at, 8 * at + 8).join(""), 2));
}

// Data and correction of all blocks, interleaved.
function codewords(data, version) {
  const blocks = ecBlocks[version - 1], divisor = generator(ecBytes[version - 1]);
  const short = Math.floor(data.length / blocks), longer = data.length % blocks, parts = [];
  for (let block = 0, at = 0; block < blocks; block++) {
    const length = short + (block >= blocks - longer ? 1 : 0);
    parts.push(data.slice(at, at + length));
    at += length;
  }
  const corrections = parts.map((part) => correction(part, divisor)), all = [];
  for (let at = 0; at <= short; at++) for (const part of parts) if (at < part.length) all.push(part[at]);
  for (let at = 0; at < divisor.length; at++) for (const each of corrections) all.push(each[at]);
  return all;
}

function alignments(version) {
  if (version === 1) return [];
  const count = Math.floor(version / 7) + 2, last = 4 * version + 10;
  const step = 2 * Math.ceil((4 * version + 4) / (2 * count - 2));
  return [6, ...Array.from({ length: count - 1 }, (_, at) => last - step * at).reverse()];
}

class Drawing {
  constructor(version) {
    this.version = version;
    this.size = 4 * version + 17;
    this.dark = Array.from({ length: this.size }, () => new Array(this.size).fill(false));
    this.fixed = Array.from({ length: this.size }, () => new Array(this.size).fill(false));
  }

  fix(x, y, dark) {
    if (x < 0 || y < 0 || x >= this.size || y >= this.size) return;
    this.dark[y][x] = Boolean(dark);
    this.fixed[y][x] = true;
  }

  rings(centreX, centreY, reach, isLight) {
    for (let y = -reach; y <= reach; y++)
      for (let x = -reach; x <= reach; x++) this.fix(centreX + x, centreY + y, !isLight(Math.max(Math.abs(x), Math.abs(y))));
  }

  drawFixed() {
    const last = this.size - 1;
    for (let at = 0; at < this.size; at++) { this.fix(6, at, at % 2 === 0); this.fix(at, 6, at % 2 === 0); }
    for (const [x, y] of [[3, 3], [last - 3, 3], [3, last - 3]]) this.rings(x, y, 4, (ring) => ring === 2 || ring === 4);
    const places = alignments(this.version), end = places.length - 1;
    places.forEach((x, i) => places.forEach((y, j) => {
      const isCorner = (i === 0 && j === 0) || (i === 0 && j === end) || (i === end && j === 0);
      if (!isCorner) this.rings(x, y, 2, (ring) => ring === 1);
    }));
    this.drawFormat(0);
    if (this.version >= 7) this.drawVersion();
  }

  drawFormat(mask) {
    let rest = mask; // level M is 00
    for (let at = 0; at < 10; at++) rest = (rest << 1) ^ ((rest >> 9) * formatBits);
    const bits = ((mask << 10) | rest) ^ formatMask, bit = (at) => (bits >> at) & 1, last = this.size - 1;
    for (let at = 0; at <= 5; at++) this.fix(8, at, bit(at));
    this.fix(8, 7, bit(6)); this.fix(8, 8, bit(7)); this.fix(7, 8, bit(8));
    for (let at = 9; at < 15; at++) this.fix(14 - at, 8, bit(at));
    for (let at = 0; at < 8; at++) this.fix(last - at, 8, bit(at));
    for (let at = 8; at < 15; at++) this.fix(8, this.size - 15 + at, bit(at));
    this.fix(8, this.size - 8, true);
  }

  drawVersion() {
    let rest = this.version;
    for (let at = 0; at < 12; at++) rest = (rest << 1) ^ ((rest >> 11) * versionBits);
    const bits = (this.version << 12) | rest;
    for (let at = 0; at < 18; at++) {
      const far = this.size - 11 + (at % 3), near = Math.floor(at / 3);
      this.fix(far, near, (bits >> at) & 1);
      this.fix(near, far, (bits >> at) & 1);
    }
  }

  // Bits go up and down in columns of two, from the right, past what is fixed.
  drawData(words) {
    let at = 0;
    for (let right = this.size - 1; right >= 1; right -= 2) {
      if (right === 6) right = 5;
      for (let step = 0; step < this.size; step++)
        for (const x of [right, right - 1]) {
          const y = ((right + 1) & 2) === 0 ? this.size - 1 - step : step;
          if (this.fixed[y][x]) continue;
          this.dark[y][x] = at < words.length * 8 && ((words[at >> 3] >> (7 - (at & 7))) & 1) === 1;
          at++;
        }
    }
  }

  // Any mask can be read; this one breaks up large fields.
  mask() {
    for (let y = 0; y < this.size; y++)
      for (let x = 0; x < this.size; x++) if (!this.fixed[y][x] && (x + y) % 2 === 0) this.dark[y][x] = !this.dark[y][x];
  }
}

// Rows of true (dark) and false, without the quiet zone; null for a text that is too long.
export function qrSquares(text) {
  const bytes = [...new TextEncoder().encode(text)];
  let version = 1;
  while (version <= ecBytes.length && dataBytes(version) < bytes.length + (version < 10 ? 2 : 3)) version++;
  if (version > ecBytes.length) return null;
  const drawing = new Drawing(version);
  drawing.drawFixed();
  drawing.drawData(codewords(dataOf(bytes, version), version));
  drawing.mask();
  return drawing.dark;
}
